// Runs the program as a person does, in a scratch folder.
#pragma once
#include "scratch.h"
#include <sys/wait.h>

struct outcome {
    int code;
    std::string out, err;
};

class Program : public testing::Test {
  protected:
    // Runs `vokra ARGS` through the shell, in the scratch folder.
    outcome run(const std::string &args, const std::string &before = "") const
    {
        const std::string err = folder / "stderr", out = folder / "stdout";
        const std::string command = "cd '" + folder.name() + "' && " + before + " '" VOKRA_BIN_DIR "/vokra' " +
                                    args + " >'" + out + "' 2>'" + err + "'";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read(out), read(err)};
    }
    static std::string read(const std::string &name)
    {
        std::ifstream in(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    scratch_folder folder;
    const std::string picture = "'" VOKRA_SOURCE_DIR "/examples/pictures/harbour.png'";
};

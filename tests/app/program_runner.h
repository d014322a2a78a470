// Runs the program as a person does, in a scratch folder.
#pragma once
#include "scratch.h"
#include <algorithm>
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
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, bytes_of(out), bytes_of(err)};
    }
    // What it writes; it must end with this code.
    std::string output(const std::string &args, int code = 0, const std::string &before = "") const
    {
        const outcome o = run(args, before);
        EXPECT_EQ(o.code, code) << args << "\n" << o.err;
        return o.out;
    }
    void tells(const std::string &args, const std::vector<std::string> &words) const
    {
        const std::string out = output(args);
        for (const std::string &each : words)
            EXPECT_NE(out.find(each), std::string::npos) << args << ": " << each << "\n" << out;
    }
    // The cells of the npy file that it writes, whose name is its last word.
    std::string cells(const std::string &args) const
    {
        output(args + " cells.npy");
        const std::string all = bytes_of(folder / "cells.npy");
        return all.substr(std::min<size_t>(all.size(), 128)); // behind the header
    }
    struct failing {
        std::string args;
        int code;
        std::vector<std::string> said;
    };
    // Each run ends with its code, and says this in so many lines at most.
    void expect(const std::vector<failing> &rows, long lines, const std::string &verb = "") const
    {
        for (const auto &[args, code, said] : rows) {
            const outcome o = run(verb + args);
            EXPECT_EQ(o.code, code) << args << "\n" << o.err;
            for (const std::string &words : said)
                EXPECT_NE(o.err.find(words), std::string::npos) << args << "\n" << o.err;
            EXPECT_LE(std::count(o.err.begin(), o.err.end(), '\n'), lines) << args << "\n" << o.err;
        }
    }
    scratch_folder folder;
    const std::string picture = "'" VOKRA_SOURCE_DIR "/examples/pictures/harbour.png'";
};

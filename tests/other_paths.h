// Runs tests again on the other instruction sets of the machine. The set is chosen once
// in a process, so each has a process of its own.
#pragma once
#include <cstdio>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

inline std::vector<const char *> paths_of_machine()
{
    std::vector<const char *> paths = {"plain"};
#if defined(__x86_64__)
    if (__builtin_cpu_supports("x86-64-v2"))
        paths.push_back("v2");
    if (__builtin_cpu_supports("x86-64-v3"))
        paths.push_back("v3");
    if (__builtin_cpu_supports("x86-64-v4"))
        paths.push_back("v4");
#else
    paths.push_back("neon");
#endif
    return paths;
}

// Gives what the tests that `filter` names printed.
inline std::string run_on_path(const char *isa, const std::string &filter)
{
    char self[4096] = {};
    EXPECT_GT(readlink("/proc/self/exe", self, sizeof self - 1), 0);
    const std::string command =
        std::string("VOKRA_ISA=") + isa + " '" + self + "' --gtest_filter='" + filter + "' 2>&1";
    FILE *pipe = popen(command.c_str(), "r");
    std::string output;
    for (char line[4096]; pipe && std::fgets(line, sizeof line, pipe); output += line)
        ;
    EXPECT_EQ(pipe ? pclose(pipe) : -1, 0) << isa << ":\n" << output;
    EXPECT_EQ(output.find(" 0 tests ran"), std::string::npos) << "no test is named " << filter;
    return output;
}

inline void run_on_every_path(const std::string &filter)
{
    for (const char *isa : paths_of_machine())
        run_on_path(isa, filter);
}

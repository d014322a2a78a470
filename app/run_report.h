// What `vokra run` tells of a run besides the reports of its boxes: progress, the
// summary, the profile, and what is alive. All of it goes to standard error.
#pragma once
#include <map>
#include <string>

#include <zan/base.h>

namespace program {

// Counters that the progress and the summary are made of.
struct run_figures {
    long frames, errors;
    double seconds; // since the run began
    double ms;      // of the patch's own time since then
};
std::string as_json(const run_figures &f, const char *state); // one line
std::string as_text(const run_figures &f);

// What is alive, and how long the queues are.
struct run_stats {
    std::map<std::string, long> objects; // by class
    long matrices = 0, bytes = 0;        // with a name, and their cells
    long names = 0;                      // that objects of the library stand under
    long resident = 0;                   // kilobytes of the process
    static run_stats now();
};
void print_stats(const run_stats &start, const run_stats &end);

// The bytes that a message moves: those of the matrix that it names.
long message_bytes(symbol *selector, long argc, atom *argv);
void print_profile();

} // namespace program

// What the verbs that take a patch share: reading it, its arguments and folders from the
// command line, and what its findings say.
#pragma once
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <zan/patch.h>

#include "program.h"

namespace program {

class patch {
  public:
    explicit patch(const std::string &name); // "-" is standard input
    ~patch() { zan_patch_free(p_); }
    patch(const patch &) = delete;
    patch &operator=(const patch &) = delete;
    zan_patch *get() const { return p_; }

    std::vector<zan_finding> findings() const;
    // The exit code that its findings ask for; a file comes ahead of a class.
    exit_code verdict() const;
    std::vector<std::string> box_names() const;

  private:
    zan_patch *p_;
};

// "FILE:LINE: BOX (CLASS): text", as a finding or a report is told.
std::string told(const zan_place *place, const std::string &text);
// A word of the command line as a number or symbol.
atom atom_of(const std::string &word);
std::vector<atom> atoms_of(const std::vector<std::string> &words);
// The option --path of a verb: folders that are searched in their order.
void add_path_option(CLI::App *verb);
// How many folders --path has given so far.
long path_count();

// The names of the library's classes, sorted; of what patches can have as boxes; and what a
// box of a class does, or "" (verb_classes.cpp).
std::vector<std::string> class_names();
std::vector<std::string> box_names();
std::string digest_of(zan_class *c);
// Loads the packs of the search folders, for verbs that name functors and classes of theirs.
void load_packs();

} // namespace program

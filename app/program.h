// What every verb of the program shares: exit codes, the failure that ends a verb, and
// the reports that the host and the library send while it runs.
#pragma once
#include <stdexcept>
#include <string>
#include <vector>

#include <zan/base.h>

namespace program {

enum exit_code {
    done = 0,
    work_reported_errors = 1,
    wrong_use = 2,
    file_trouble = 3,
    class_missing = 4,
    failed_running = 5,
    interrupted = 130
};

// Ends the verb: one line to standard error, and this exit code.
struct failure : std::runtime_error {
    failure(exit_code c, const std::string &text) : std::runtime_error(text), code(c) {}
    exit_code code;
};

// Sends what is reported to standard error from now on, and counts the errors.
void hear_reports();
long error_count();

// Keeps errors back during its life, so that a verb can say them in a line of its own.
class quiet_reports {
  public:
    quiet_reports();
    ~quiet_reports();
    // The last error that came, or `otherwise`.
    std::string last(const std::string &otherwise) const;
};

// The texts of an array of symbols that the host gave out, and which goes back to it.
std::vector<std::string> texts_of(long count, symbol **names);

// "; did you mean ...?" with the nearest of `known` to a word that isn't among them,
// empty when none is near.
std::string did_you_mean(const std::string &word, const std::vector<std::string> &known);

} // namespace program

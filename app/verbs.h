// The verbs of the program. Each declares its own arguments and what it runs.
#pragma once
#include <CLI/CLI.hpp>

namespace program {

void add_convert(CLI::App &app);
void add_info(CLI::App &app);
void add_op(CLI::App &app);
void add_expr(CLI::App &app);
void add_noise(CLI::App &app);
void add_la(CLI::App &app);
void add_classes(CLI::App &app);
void add_help(CLI::App &app);
// check, fmt, graph, paths. `code` becomes what the verb ended with.
void add_patch_verbs(CLI::App &app, int &code);
// Likewise.
void add_run(CLI::App &app, int &code);

} // namespace program

// The program `vokra`: one verb a task. Data goes to standard output, everything else
// to standard error; the exit codes are those of program.h.
#include <algorithm>
#include <cstdio>
#include <exception>

#include <vokra/vokra.h>
#include <zan/host.h>

#include "program.h"
#include "verbs.h"

namespace {

// What is wrong with a verb's words. What it doesn't know is an option or one word too many.
std::string complaint(const CLI::App &app, const CLI::App &verb, const CLI::ParseError &e)
{
    const std::vector<std::string> left = app.remaining(true);
    if (e.get_exit_code() != int(CLI::ExitCodes::ExtrasError) || left.empty())
        return e.what();
    const auto option = std::find_if(left.begin(), left.end(), [](const auto &w) { return w.starts_with("-"); });
    if (option == left.end())
        return left[0] + " is one word too many";
    std::vector<std::string> known;
    for (const CLI::Option *o : verb.get_options())
        for (const std::string &name : o->get_lnames())
            known.push_back("--" + name);
    return "there is no option " + *option + program::did_you_mean(*option, known);
}

// `code` is what the verb ended with, 0 when it doesn't say.
int run(CLI::App &app, const int &code, int argc, char **argv)
{
    try {
        std::vector<std::string> verbs;
        for (const CLI::App *verb : app.get_subcommands({}))
            verbs.push_back(verb->get_name());
        if (argc > 1 && argv[1][0] != '-' && std::find(verbs.begin(), verbs.end(), argv[1]) == verbs.end())
            throw program::failure(program::wrong_use, std::string("there is no verb ") + argv[1] +
                                                           program::did_you_mean(argv[1], verbs) +
                                                           "; see vokra --help");
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        if (e.get_exit_code() == 0)
            return app.exit(e); // --help, --version
        const std::vector<CLI::App *> verb = app.get_subcommands();
        const std::string name = verb.empty() ? "" : verb[0]->get_name();
        std::fprintf(stderr, "vokra: %s%s; see vokra %s--help\n", name.empty() ? "" : (name + ": ").c_str(),
                     verb.empty() ? e.what() : complaint(app, *verb[0], e).c_str(),
                     name.empty() ? "" : (name + " ").c_str());
        return program::wrong_use;
    } catch (const program::failure &e) {
        std::fprintf(stderr, "vokra: %s\n", e.what());
        return e.code;
    } catch (const std::exception &e) {
        std::fprintf(stderr, "vokra: %s\n", e.what());
        return program::failed_running;
    }
    if (code != program::done)
        return code;
    return program::error_count() ? program::work_reported_errors : program::done;
}

} // namespace

int main(int argc, char **argv)
{
    zan_start();
    program::hear_reports();
    initialize();

    CLI::App app(
        "Processes matrices and pictures. A file is read by what it holds (PNG, JPEG, vkf, npy) and written "
        "by the ending of its name; - is standard input or output.\nExample: vokra convert photo.jpg "
        "small.png --dim 320 240 --interp",
        "vokra");
    app.set_version_flag("--version", VOKRA_VERSION);
    app.require_subcommand(1);
    int ended = program::done;
    program::add_run(app, ended);
    program::add_patch_verbs(app, ended);
    program::add_convert(app);
    program::add_info(app);
    program::add_op(app);
    program::add_expr(app);
    program::add_noise(app);
    program::add_la(app);
    program::add_classes(app);
    program::add_help(app);
    const int code = run(app, ended, argc, argv);
    zan_stop();
    return code;
}

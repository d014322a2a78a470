// vokra run: opens a patch and lets it run, in real time or as fast as it can.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <functional>
#include <memory>
#include <thread>
#include <unistd.h>

#include <vokra/vokra.h>

#include "patches.h"
#include "run_report.h"
#include "verbs.h"

namespace program {
namespace {

struct run_options {
    std::string patch, time, clock = "real", progress;
    std::vector<std::string> arguments, settings;
    std::vector<std::vector<std::string>> messages;
    long frames = 0;
    bool profile = false, stats = false;
};

// The words of a text, as a patch would read them.
std::vector<atom> atoms_in(const std::string &text)
{
    void *buffer = binbuf_new();
    std::vector<atom> atoms;
    long argc = 0;
    atom *argv = nullptr;
    if (!binbuf_settext(buffer, text.c_str(), long(text.size())) && !binbuf_getatoms(buffer, &argc, &argv))
        for (long i = 0; i < argc; i++)
            if (argv[i].type >= argtype_long && argv[i].type <= argtype_obj)
                atoms.push_back(argv[i]);
    freeobject(buffer);
    return atoms;
}

// "500ms", "10s", "2m", "1h"; seconds when it says nothing. In milliseconds.
double milliseconds_of(const std::string &text)
{
    char *end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    constexpr struct {
        const char *unit;
        double ms;
    } units[] = {{"", 1e3}, {"s", 1e3}, {"ms", 1}, {"m", 60e3}, {"h", 3600e3}};
    if (end != text.c_str() && std::isfinite(number) && number >= 0)
        for (const auto &u : units)
            if (std::string(end) == u.unit)
                return number * u.ms;
    throw failure(wrong_use, "run: --for " + text + ": a time is a number with ms, s, m or h, as 500ms or 10s");
}

// What a name on the command line means: a box, or who receives under it.
void *find(const patch &p, const std::string &name, const char *option)
{
    symbol *s = gensym(name.c_str());
    if (void *box = zan_patch_find(p.get(), s))
        return box;
    const auto word = reinterpret_cast<uintptr_t>(s->thing); // may be a function just as well
    if (word >= 65536 && word % 16 == 0 && object_class(s->thing))
        return s->thing;
    throw failure(wrong_use, std::string("run: ") + option + ": the patch has no box " + name +
                                 did_you_mean(name, p.box_names()));
}

// box.attr=value
void set(const patch &p, const std::string &setting)
{
    const size_t equals = setting.find('=');
    const size_t dot = equals == std::string::npos ? equals : setting.rfind('.', equals);
    if (dot == std::string::npos || dot == 0 || dot + 1 == equals)
        throw failure(wrong_use, "run: --set " + setting + ": it is written box.attribute=value");
    void *box = find(p, setting.substr(0, dot), "--set");
    const std::string name = setting.substr(dot + 1, equals - dot - 1);
    symbol *attribute = gensym(name.c_str());
    if (!object_attr_usercanset(box, attribute)) {
        long count = 0;
        symbol **names = nullptr;
        object_attr_getnames(box, &count, &names);
        std::vector<std::string> known = texts_of(count, names);
        std::erase_if(known, [&](const auto &each) { return !object_attr_usercanset(box, gensym(each.c_str())); });
        throw failure(wrong_use, "run: --set " + setting + ": " + object_classname(box)->name +
                                     " has no attribute " + name + " to set" + did_you_mean(name, known));
    }
    std::vector<atom> values = atoms_in(setting.substr(equals + 1));
    zan_send(box, 0, attribute, long(values.size()), values.data());
}

// NAME MESSAGE..., each a word of the command line, or all of it in one.
void send(const patch &p, const std::vector<std::string> &words)
{
    std::vector<atom> atoms = words.size() == 1 ? atoms_in(words[0]) : atoms_of(words);
    symbol *name = atoms.empty() ? nullptr : atom_getsym(&atoms[0]);
    if (!name || atoms.size() < 2)
        throw failure(wrong_use, "run: --send: a name and a message are wanted, as --send photo read a.png");
    void *receiver = find(p, name->name, "--send");
    atom *argv = &atoms[1];
    long argc = long(atoms.size()) - 1;
    symbol *selector = atom_getsym(argv);
    if (selector)
        argv++, argc--;
    else
        selector = gensym(argc > 1 ? "list" : argv->type == argtype_float ? "float" : "int");
    zan_send(receiver, 0, selector, argc, argv);
}

// Hears the interrupt key, and tells the progress at intervals. The first interrupt ends
// the main loop, the second one the process.
class watcher {
  public:
    template <class Figures> watcher(const std::string &progress, Figures figures) : figures_(figures)
    {
        sigset_t signals = handled();
        pthread_sigmask(SIG_BLOCK, &signals, &before_); // for the threads to come as well
        thread_ = std::thread([this, progress] { watch(progress); });
    }
    ~watcher()
    {
        ends_ = true;
        pthread_kill(thread_.native_handle(), SIGUSR1);
        thread_.join();
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    watcher(const watcher &) = delete;
    watcher &operator=(const watcher &) = delete;
    bool was_interrupted() const { return interrupts_ > 0; }
    void tell(const std::string &progress, const char *state) const
    {
        const std::string line = progress == "json" ? as_json(figures_(), state) : "vokra: " + as_text(figures_());
        std::fprintf(stderr, "%s\n", line.c_str());
    }

  private:
    static sigset_t handled()
    {
        sigset_t signals;
        sigemptyset(&signals);
        for (int s : {SIGINT, SIGTERM, SIGUSR1})
            sigaddset(&signals, s);
        return signals;
    }
    void watch(const std::string &progress)
    {
        const sigset_t signals = handled();
        const timespec interval{0, 500000000};
        while (!ends_) {
            const int caught =
                progress.empty() ? sigwaitinfo(&signals, nullptr) : sigtimedwait(&signals, nullptr, &interval);
            if ((caught == SIGINT || caught == SIGTERM) && ++interrupts_ > 1)
                _exit(program::interrupted);
            if (caught == SIGINT || caught == SIGTERM)
                zan_quit();
            else if (caught < 0 && errno == EAGAIN)
                tell(progress, "running");
        }
    }
    std::function<run_figures()> figures_;
    std::thread thread_;
    std::atomic<bool> ends_{false};
    std::atomic<int> interrupts_{0};
    sigset_t before_{};
};

// Equal errors are told once while one lives, and counted.
struct merged_reports {
    merged_reports() { zan_merge_reports(1); }
    ~merged_reports() { zan_merge_reports(0); }
    merged_reports(const merged_reports &) = delete;
    merged_reports &operator=(const merged_reports &) = delete;
};

// Nothing begins any more; what is under way is finished.
void finish()
{
    zan_hold(1);
    for (int round = 0; round < 100 && zan_service(); round++)
        ;
}

int run(const run_options &o)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // what boxes print is seen when they print it
    const double length = o.time.empty() ? INFINITY : milliseconds_of(o.time);
    const bool is_virtual = o.clock == "virtual";
    zan_set_clock(is_virtual ? zan_clock_virtual : zan_clock_real);
    if (is_virtual)
        vok_rand_setseed(0); // from the clock, which now says 0 on every run
    const merged_reports merged;

    using steady = std::chrono::steady_clock;
    const auto began = steady::now();
    std::atomic<double> first_ms{systimer_gettime()};
    const watcher watch(o.progress, [&] {
        return run_figures{zan_frames(), error_count(),
                           std::chrono::duration<double>(steady::now() - began).count(),
                           systimer_gettime() - first_ms};
    });

    const patch p(o.patch);
    const std::vector<atom> arguments = atoms_of(o.arguments);
    zan_patch_open(p.get(), long(arguments.size()), arguments.data());
    const exit_code code = p.verdict();
    if (code != done && p.box_names().empty())
        return code;
    for (const std::string &setting : o.settings)
        set(p, setting);
    const run_stats at_start = run_stats::now();
    if (o.profile)
        zan_profile(1, message_bytes);
    zan_set_frame_limit(o.frames);
    first_ms = systimer_gettime();
    zan_patch_start(p.get());
    for (const auto &message : o.messages)
        send(p, message);
    zan_run_until(first_ms + length);
    finish();
    zan_profile(0, nullptr);
    if (!watch.was_interrupted() && zan_frames_left() > 0)
        object_error(nullptr, "the patch came to its end after %ld of %ld frames", zan_frames(), o.frames);
    const run_stats at_end = run_stats::now();
    zan_patch_close(p.get()); // files are closed, so that what goes wrong there is told and counted
    zan_merge_reports(1);     // tells what was counted
    if (o.profile)
        print_profile();
    if (o.stats)
        print_stats(at_start, at_end);
    if (!o.progress.empty() || watch.was_interrupted() || o.stats || o.profile)
        watch.tell(o.progress, watch.was_interrupted() ? "interrupted" : "done");
    return watch.was_interrupted() ? interrupted : code;
}

} // namespace

void add_run(CLI::App &app, int &code)
{
    auto o = std::make_shared<run_options>();
    CLI::App *verb = app.add_subcommand(
        "run",
        "Open a patch and let it run until its time or frames are over, a quit box ends it, nothing is left "
        "to do, or the interrupt key is pressed (once: what is under way is finished; twice: at once). A "
        "frame is one picture written by a frames box, or, in a patch without one, one beat of the metro.\n"
        "Example: vokra run fade.patch --clock virtual --frames 100 --set mix.op=absdiff");
    verb->add_option("patch", o->patch, "the patch, - for standard input")->required();
    verb->add_option("arguments", o->arguments, "what $1, $2... stand for in it");
    verb->add_option("--for", o->time, "how long, of the patch's time: 500ms, 10s, 2m, 1h")->type_name("TIME");
    verb->add_option("--frames", o->frames, "how many frames")->check(CLI::Range(1L, 1000000000L))->type_name("N");
    verb->add_option("--clock", o->clock, "real, or virtual: as fast as it can, the same on every run")
        ->check(CLI::IsMember({"real", "virtual"}))
        ->type_name("real|virtual");
    verb->add_option("--set", o->settings, "set an attribute of a box before the patch starts")
        ->expected(1)
        ->take_all()
        ->type_name("BOX.ATTRIBUTE=VALUE");
    verb->add_option("--send", o->messages,
                     "send a message to a box, or to a name that boxes receive at, when the "
                     "patch has started")
        ->type_name("NAME MESSAGE...");
    add_path_option(verb);
    verb->add_flag("--profile", o->profile, "tell the messages, time and bytes of each box and class at the end");
    verb->add_flag("--stats", o->stats, "tell what is alive at start and end, and how full the queues were");
    verb->add_option("--progress", o->progress, "tell how far it is twice a second")
        ->check(CLI::IsMember({"text", "json"}))
        ->type_name("text|json");
    verb->callback([o, &code] { code = run(*o); });
}

} // namespace program

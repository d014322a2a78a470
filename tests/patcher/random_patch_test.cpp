// Random patches: random boxes with random arguments, cords between any of them, and
// random messages, run in virtual time. Nothing may crash, hang or leak (this is meant to
// run under the sanitizers), and what a patch reports is the same when it runs again.
// VOKRA_RANDOM_PATCHES says how many (1000).
#include "boxes/box_tools.h"
#include <cmath>
#include <random>
#include <sstream>
#include <vokra/vokra.h>
#include <zan/patch.h>

namespace {

class generator {
  public:
    explicit generator(unsigned seed) : random_(seed)
    {
        for (const std::string &name : box_tools::box_names())
            (name.starts_with("vok.") ? operators_ : controls_).push_back(name);
    }
    std::string patch()
    {
        const long boxes = 2 + below(9);
        std::ostringstream text;
        text << "patch 1;\n";
        for (long i = 0; i < boxes; i++)
            text << "box b" << i << " " << box() << ";\n";
        text << "box beat metro " << 5 + below(20) << ";\ncord beat 0 b0 0;\n";
        for (long i = below(3 * boxes); i > 0; i--)
            text << "cord b" << below(boxes) << " " << below(3) << " b" << below(boxes) << " " << below(3)
                 << ";\n";
        if (below(2))
            text << "beat bang;\n";
        for (long i = below(12); i > 0; i--)
            text << "b" << below(boxes) << " " << message() << ";\n";
        return text.str();
    }
    std::string message()
    {
        switch (below(10)) {
        case 0: return "bang";
        case 1: return number();
        case 2: return number() + " " + number() + " " + number();
        case 3: return "vok_matrix " + name();
        case 4: return "dim " + size() + " " + (below(20) ? size() : "40000000000");
        case 5: return "type " + pick({"char", "long", "float32", "float64", "other"});
        case 6: return "planecount " + size();
        case 7: return word() + " " + number();
        case 8: return word() + " " + word();
        default: return word();
        }
    }
    long below(long n) { return long(random_() % (unsigned long)(n > 1 ? n : 1)); }

  private:
    std::string pick(const std::vector<std::string> &from) { return from[size_t(below(long(from.size())))]; }
    // None is so large that `repeat` would keep a run busy for long.
    std::string number()
    {
        return pick({"0", "1", "2", "3", "-1", "0.5", "-7.25", "-9223372036854775807", "255", "17"});
    }
    std::string size() { return pick({"1", "2", "4", "7", "16", "33", "0", "-1"}); }
    std::string name() { return pick({"one", "two", "nosuch"}); }
    std::string word()
    {
        return pick({"set",           "reset",     "stop",        "clear",    "adapt",   "outputmode",
                     "val",           "thru",      "name",        "start",    "read",    "list",
                     "symbol",        "append",    "summary",     "getstate", "dimlink", "interp",
                     "outputmatrix",  "attrindex", "importattrs", "setall",   "setcell", "getcell",
                     "fill",          "expr",      "usurp",       "in2_name", "op",      "exprfill",
                     "getattributes", "out_name"});
    }
    std::string box()
    {
        std::string text = pick(below(2) ? operators_ : controls_);
        if (below(2))
            text = pick({"vok.matrix one 4 char 8 8", "vok.op @op +", "vok.expr @expr in[0]+1", "trigger b i l",
                         "route 1 bang dim", "message set $1, bang", "send there", "receive there", "delay 3",
                         "metro 4", "gate 2", "pack 1 2.5 word"});
        for (long i = below(3); i > 0; i--)
            text += " " + pick({number(), size(), name(), word()});
        return below(4) ? text : text + " @" + word() + " " + number();
    }

    std::mt19937 random_;
    std::vector<std::string> controls_, operators_;
};

// What the patch reports while it runs for a short time.
std::vector<std::string> run(const std::string &text, unsigned seed)
{
    zan_set_clock(zan_clock_real); // time begins anew
    zan_set_clock(zan_clock_virtual);
    vok_rand_setseed(1);
    report_catcher reports;
    generator random(seed);
    zan_patch *p = zan_patch_parse("random", text.c_str(), -1);
    zan_patch_open(p, 0, nullptr);
    zan_set_frame_limit(20);
    zan_patch_start(p);
    for (int i = 0; i < 5; i++) {
        zan_run_until(10.0 * i);
        zan_patch_box box;
        if (!zan_patch_getbox(p, random.below(12), &box)) {
            const std::string message = random.message();
            atom a;
            atom_setlong(&a, random.below(5));
            zan_send(box.box, random.below(3), gensym(message.substr(0, message.find(' ')).c_str()),
                     random.below(2), &a);
        }
    }
    zan_patch_free(p);
    zan_set_frame_limit(0);
    while (zan_service())
        ;
    long ended = zan_run_until(INFINITY);
    if (ended == zan_ran_quit) // by a box, behind the last run
        ended = zan_run_until(INFINITY);
    EXPECT_EQ(ended, zan_ran_dry) << text; // nothing of it is left in the queues
    std::vector<std::string> told = reports.take();
    for (std::string &line : told) // automatic names, u and nine digits, differ from run to run
        for (size_t at = 0; (at = line.find('u', at)) != line.npos; at++)
            if (line.find_first_not_of("0123456789", at + 1) >= at + 10 && line.size() >= at + 10)
                line.replace(at, 10, "NAME");
    return told;
}

TEST(RandomPatches, NeitherCrashNorHangNorLeakAndRepeatThemselves)
{
    const scratch_folder folder;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.name()); // some boxes write files
    initialize();
    const char *wanted = std::getenv("VOKRA_RANDOM_PATCHES");
    const long count = wanted ? std::atol(wanted) : 1000;
    size_t told = 0;
    for (long seed = 1; seed <= count && !testing::Test::HasFailure(); seed++) {
        const std::string text = generator(unsigned(seed)).patch();
        const std::vector<std::string> once = run(text, unsigned(seed)); // what is made once is made here
        const long alive = zan_object_count(nullptr);
        const std::vector<std::string> again = run(text, unsigned(seed));
        EXPECT_EQ(zan_object_count(nullptr), alive) << "seed " << seed << "\n" << text;
        EXPECT_EQ(again, once) << "seed " << seed << "\n" << text;
        told += once.size();
    }
    EXPECT_GT(told, size_t(count)); // they did something
    zan_set_clock(zan_clock_real);
    std::filesystem::current_path(before);
}

} // namespace

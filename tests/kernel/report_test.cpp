// Where the text of an error or a post goes, what is stripped from it, and what the codes
// say.
#include "quick_class.h"

namespace {

using words = std::vector<std::string>;

void *make(const std::string &name)
{
    static const quick_class noisy("vok_noisy", sizeof(object)), boxed("vok.noisy", sizeof(object));
    return (name == "vok_noisy" ? noisy : boxed).make<void>();
}

// An object of class vok_noisy, which may be given a box or a wrapper of class vok.noisy.
class VokReport : public testing::Test {
  protected:
    VokReport()
    {
        zan_set_reporter(
            [](void *test, long kind, void *source, const char *text) {
                auto *t = static_cast<VokReport *>(test);
                const char *whose = !source ? "nobody's" : source == t->x ? "its own" : "the wrapper's";
                t->heard.push_back(std::string(whose) + (kind == zan_report_error ? " error " : " post ") + text);
            },
            this);
    }
    ~VokReport() override
    {
        zan_set_reporter(nullptr, nullptr);
        vok_object_free(x);
        vok_object_free(wrapper);
    }
    words take() { return std::exchange(heard, {}); }

    void *x = make("vok_noisy"), *wrapper = make("vok.noisy");
    words heard;
};

TEST_F(VokReport, ABoxOrAWrapperGetsTheTextUnderItsOwnName)
{
    vok_object_error(x, "vok_noisy: %d %s", 7, "things");
    vok_object_post(nullptr, "plain");
    alignas(16) long not_alive[8] = {};
    vok_object_post(not_alive, "dead");
    EXPECT_EQ(take(), (words{"nobody's error vok_noisy: 7 things", "nobody's post plain", "nobody's post dead"}));
    object_obex_storeflags(x, S("zanwrapper"), wrapper, 1);
    vok_object_post(x, "vok.noisy: hello");
    vok_object_post(x, "vok_noisy: hello"); // the wrapper's name isn't in it
    object_obex_storeflags(x, S("#B"), wrapper, 1);
    vok_object_error(x, "vok_noisy: wrong");
    EXPECT_EQ(take(),
              (words{"the wrapper's post hello", "the wrapper's post vok_noisy: hello", "its own error wrong"}));
    const std::string most(2047, 'a');
    vok_object_post(nullptr, "%sbcd", most.c_str());
    EXPECT_EQ(take(), words{"nobody's post " + most}) << "no more than that";
}

TEST_F(VokReport, Stripping)
{
    const struct {
        const char *text, *left;
    } rows[] = {
        {"vok.op: bad", "bad"},
        {"vok.op:bad", "bad"},
        {"vok.op:  bad", " bad"},
        {"what came before vok.op: bad", "bad"},
        {"vok.ops: bad", "s: bad"},
        {"vok.op: vok.op: bad", "vok.op: bad"},
        {"vok.expr: bad", "vok.expr: bad"},
    };
    for (const auto &row : rows)
        EXPECT_STREQ(post_class_stroffset(S("vok.op"), row.text), row.left) << row.text;
    for (symbol *nobody : {S(""), static_cast<symbol *>(nullptr)})
        EXPECT_STREQ(post_class_stroffset(nobody, "text"), "text");
}

TEST_F(VokReport, CodesInWords)
{
    const struct {
        vok_err code;
        const char *text;
    } rows[] = {
        {VOK_ERR_DUPL, "duplicate"},         {VOK_ERR_OMEM, "out of memory"},
        {0x41424344, "'ABCD' (1094861636)"}, {7, "error type unspecified (7)"},
        {-4, "error type unspecified (-4)"}, {0x7ffffffffffffff0, "error type unspecified (9223372036854775792)"},
    };
    for (const auto &row : rows) {
        vok_error_code(x, row.code);
        EXPECT_EQ(take(), words{std::string("nobody's error vok_noisy: ") + row.text});
    }
    vok_error_code(x, 0);
    vok_error_code(x, VOK_ERR_SPRS);
    EXPECT_EQ(take(), words{});
    static const char four[] = "QUUX"; // a code outside the table is the address of its characters
    vok_error_code(x, W(four));
    EXPECT_EQ(take().at(0).find("nobody's error vok_noisy: 'QUUX' ("), 0u);
}

TEST_F(VokReport, SymbolsAndCodesFromTheSchedulerWaitForTheMainThread)
{
    zan_in_scheduler(
        [](void *noisy) {
            vok_error_code(noisy, VOK_ERR_MSTP);
            vok_post_sym(noisy, S("well"));
            vok_error_sym(noisy, S("badly"));
        },
        x);
    EXPECT_EQ(take(), words{});
    while (zan_service()) {
    }
    EXPECT_EQ(take(), (words{"nobody's error vok_noisy: mismatch type", "nobody's post vok_noisy: well",
                             "nobody's error vok_noisy: badly"}));
}

TEST_F(VokReport, TheConsoleTakesEightWords)
{
    vok_cpost("%ld %ld %ld %ld %ld %ld %ld %s", 1L, 2L, 3L, 4L, 5L, 6L, 7L, "eight");
    EXPECT_EQ(take().at(0).find("nobody's post 1 2 3 4 5 6 7 eight"), 0u);
}

} // namespace

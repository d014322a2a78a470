// Where the text of an error or a post goes, what is stripped from it, and what the codes
// say.
#include "quick_class.h"

namespace {

struct heard {
    long kind;
    void *x;
    std::string text;
    bool operator==(const heard &) const = default;
};

// An object of class vok_noisy, with or without a box or a wrapper of class vok.noisy.
class VokReport : public testing::Test {
  public:
    void SetUp() override
    {
        static const quick_class noisy("vok_noisy", sizeof(object)), boxed("vok.noisy", sizeof(object));
        x = noisy.make<void>();
        wrapper = boxed.make<void>();
        zan_set_reporter(
            [](void *data, long kind, void *source, const char *text) {
                static_cast<VokReport *>(data)->all.push_back({kind, source, text});
            },
            this);
    }
    void TearDown() override
    {
        zan_set_reporter(nullptr, nullptr);
        vok_object_free(x);
        vok_object_free(wrapper);
    }
    void give(const char *key) { object_obex_storeflags(x, S(key), wrapper, 1); }
    // What was heard since.
    std::vector<heard> take() { return std::exchange(all, {}); }
    using reports = std::vector<heard>;

    void *x = nullptr;
    void *wrapper = nullptr;
    reports all;
};
constexpr long error = zan_report_error, post = zan_report_post;

TEST_F(VokReport, WithoutABoxTheTextIsWholeAndNobodys)
{
    vok_object_error(x, "vok_noisy: %d %s", 7, "things");
    vok_object_post(nullptr, "plain");
    alignas(16) long not_alive[8] = {};
    vok_object_post(not_alive, "dead");
    EXPECT_EQ(
        take(),
        (reports{{error, nullptr, "vok_noisy: 7 things"}, {post, nullptr, "plain"}, {post, nullptr, "dead"}}));
}

TEST_F(VokReport, ABoxOrAWrapperGetsItUnderItsOwnName)
{
    give("zanwrapper");
    vok_object_post(x, "vok.noisy: hello");
    vok_object_post(x, "vok_noisy: hello"); // the wrapper's name isn't in it
    give("#B");
    vok_object_error(x, "vok_noisy: wrong");
    EXPECT_EQ(take(),
              (reports{{post, wrapper, "hello"}, {post, wrapper, "vok_noisy: hello"}, {error, x, "wrong"}}));
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

TEST_F(VokReport, LongTextIsCut)
{
    const std::string most(2047, 'a');
    vok_object_post(nullptr, "%s", most.c_str());
    vok_object_post(nullptr, "%sbcd", most.c_str());
    EXPECT_EQ(take(), reports(2, {post, nullptr, most}));
}

TEST_F(VokReport, CodesInWords)
{
    const struct {
        vok_err code;
        const char *text;
    } rows[] = {
        {VOK_ERR_DUPL, "duplicate"},
        {VOK_ERR_HUVL, "hardware unavailable for request"},
        {VOK_ERR_OMEM, "out of memory"},
        {0x41424344, "'ABCD' (1094861636)"},
        {7, "error type unspecified (7)"},
        {-4, "error type unspecified (-4)"},
        {0x7ffffffffffffff0, "error type unspecified (9223372036854775792)"},
    };
    for (const auto &row : rows) {
        vok_error_code(x, row.code);
        EXPECT_EQ(take(), (reports{{error, nullptr, std::string("vok_noisy: ") + row.text}}));
    }
    vok_error_code(x, 0);
    vok_error_code(x, VOK_ERR_SPRS);
    EXPECT_EQ(take(), reports{});
    static const char four[] = "QUUX"; // a code outside the table is the address of its characters
    vok_error_code(x, W(four));
    EXPECT_EQ(take().at(0).text.substr(0, 19), "vok_noisy: 'QUUX' (");
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
    EXPECT_EQ(take(), reports{});
    while (zan_service()) {
    }
    EXPECT_EQ(take(), (reports{{error, nullptr, "vok_noisy: mismatch type"},
                               {post, nullptr, "vok_noisy: well"},
                               {error, nullptr, "vok_noisy: badly"}}));
}

TEST_F(VokReport, TheConsoleTakesEightWords)
{
    vok_cpost("%ld %ld %ld %ld %ld %ld %ld %s", 1L, 2L, 3L, 4L, 5L, 6L, 7L, "eight");
    EXPECT_EQ(all.at(0).kind, zan_report_console);
    EXPECT_EQ(all.at(0).text.substr(0, 19), "1 2 3 4 5 6 7 eight");
}

} // namespace

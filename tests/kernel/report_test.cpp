// Where the text of an error or a post goes, what is stripped from it, and what the codes
// say.
#include "quick_class.h"

namespace {

struct heard {
    long kind;
    void *x;
    std::string text;
};

// An object of class vok_noisy, with or without a box or a wrapper of class vok.noisy.
class VokReport : public testing::Test {
  public:
    void SetUp() override
    {
        initialize();
        static zan_class *noisy = vok_class_new("vok_noisy", nullptr, nullptr, sizeof(object), argtype_cant, 0);
        static zan_class *boxed = class_new("vok.noisy", nullptr, nullptr, sizeof(object), nullptr, 0);
        x = vok_object_alloc(noisy);
        wrapper = vok_object_alloc(boxed);
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
    heard last() { return all.empty() ? heard{-1, nullptr, ""} : all.back(); }

    void *x = nullptr;
    void *wrapper = nullptr;
    std::vector<heard> all;
};

TEST_F(VokReport, WithoutABoxTheTextIsWholeAndNobodys)
{
    vok_object_error(x, "vok_noisy: %d %s", 7, "things");
    EXPECT_EQ(last().kind, zan_report_error);
    EXPECT_EQ(last().x, nullptr);
    EXPECT_EQ(last().text, "vok_noisy: 7 things");
    vok_object_post(nullptr, "plain");
    EXPECT_EQ(last().kind, zan_report_post);
    EXPECT_EQ(last().text, "plain");
    alignas(16) long not_alive[8] = {};
    vok_object_post(not_alive, "dead");
    EXPECT_EQ(last().x, nullptr);
}

TEST_F(VokReport, ABoxGetsItUnderTheObjectsName)
{
    give("#B");
    vok_object_error(x, "vok_noisy: wrong");
    EXPECT_EQ(last().x, x);
    EXPECT_EQ(last().text, "wrong");
}

TEST_F(VokReport, AWrapperGetsItUnderItsOwnName)
{
    give("zanwrapper");
    vok_object_post(x, "vok.noisy: hello");
    EXPECT_EQ(last().x, wrapper);
    EXPECT_EQ(last().text, "hello");
    vok_object_post(x, "vok_noisy: hello");
    EXPECT_EQ(last().text, "vok_noisy: hello") << "the wrapper's name isn't in it";
}

TEST_F(VokReport, Stripping)
{
    const struct {
        const char *name;
        const char *text;
        const char *left;
    } rows[] = {
        {"vok.op", "vok.op: bad", "bad"},
        {"vok.op", "vok.op:bad", "bad"},
        {"vok.op", "vok.op bad", "bad"},
        {"vok.op", "vok.op:  bad", " bad"},
        {"vok.op", "vok.op", ""},
        {"vok.op", "what came before vok.op: bad", "bad"},
        {"vok.op", "vok.ops: bad", "s: bad"},
        {"vok.op", "vok.op: vok.op: bad", "vok.op: bad"},
        {"vok.op", "vok.expr: bad", "vok.expr: bad"},
        {"", "vok.op: bad", "vok.op: bad"},
    };
    for (const auto &row : rows)
        EXPECT_STREQ(post_class_stroffset(S(row.name), row.text), row.left) << row.text;
    EXPECT_STREQ(post_class_stroffset(nullptr, "text"), "text");
}

TEST_F(VokReport, LongTextIsCut)
{
    const std::string a(2047, 'a');
    vok_object_post(nullptr, "%s", a.c_str());
    EXPECT_EQ(last().text.size(), 2047u);
    vok_object_post(nullptr, "%sbcd", a.c_str());
    EXPECT_EQ(last().text, a);
}

TEST_F(VokReport, TheTableOfCodes)
{
    const struct {
        vok_err code;
        const char *text;
    } rows[] = {
        {VOK_ERR_DUPL, "duplicate"},
        {VOK_ERR_DUVL, "data unavailable for request"},
        {VOK_ERR_EROR, "error type unspecified"},
        {VOK_ERR_HUVL, "hardware unavailable for request"},
        {VOK_ERR_INOB, "invalid object"},
        {VOK_ERR_INVI, "invalid input"},
        {VOK_ERR_INVO, "invalid output"},
        {VOK_ERR_INVP, "invalid pointer"},
        {VOK_ERR_MSDM, "mismatch dim"},
        {VOK_ERR_MSPL, "mismatch plane"},
        {VOK_ERR_MSTP, "mismatch type"},
        {VOK_ERR_MXUN, "matrix unknown"},
        {VOK_ERR_OBND, "out of bounds"},
        {VOK_ERR_OBSY, "object busy"},
        {VOK_ERR_OMEM, "out of memory"},
    };
    for (const auto &row : rows) {
        const char name[] = {char(row.code >> 24), char(row.code >> 16), char(row.code >> 8), char(row.code), 0};
        vok_error_code(x, row.code);
        EXPECT_EQ(last().text, std::string("vok_noisy: ") + row.text) << name;
        EXPECT_EQ(last().kind, zan_report_error);
    }
    all.clear();
    vok_error_code(x, 0);
    vok_error_code(x, VOK_ERR_SPRS);
    EXPECT_TRUE(all.empty());
}

TEST_F(VokReport, ACodeOutsideTheTableIsTheAddressOfItsCharacters)
{
    static const char four[] = "QUUX";
    vok_error_code(x, reinterpret_cast<vok_err>(four));
    EXPECT_EQ(last().text.substr(0, 20), "vok_noisy: 'QUUX' (" + last().text.substr(19, 1));
}

TEST_F(VokReport, ANumberThatNobodyCanReadIsReportedAsTheNumber)
{
    const struct {
        vok_err code;
        std::string text;
    } rows[] = {
        {0x41424344, "'ABCD' (1094861636)"},
        {7, "error type unspecified (7)"},
        {-4, "error type unspecified (-4)"},
        {0x7ffffffffffffff0, "error type unspecified (9223372036854775792)"},
    };
    for (const auto &row : rows) {
        vok_error_code(x, row.code);
        EXPECT_EQ(last().text, "vok_noisy: " + row.text);
    }
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
    EXPECT_TRUE(all.empty());
    while (zan_service()) {
    }
    const heard expected[] = {{zan_report_error, nullptr, "vok_noisy: mismatch type"},
                              {zan_report_post, nullptr, "vok_noisy: well"},
                              {zan_report_error, nullptr, "vok_noisy: badly"}};
    ASSERT_EQ(all.size(), 3u);
    for (size_t i = 0; i < 3; ++i)
        EXPECT_TRUE(all[i].kind == expected[i].kind && all[i].text == expected[i].text) << all[i].text;
}

TEST_F(VokReport, TheConsoleTakesEightWords)
{
    vok_cpost("%ld %ld %ld %ld %ld %ld %ld %s", 1L, 2L, 3L, 4L, 5L, 6L, 7L, "eight");
    EXPECT_EQ(last().kind, zan_report_console);
    EXPECT_EQ(last().text.substr(0, 19), "1 2 3 4 5 6 7 eight");
}

} // namespace

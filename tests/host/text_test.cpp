// Atoms and text: the words of scripts one by one, then random atoms and random bytes
// through both directions; and the bounded text calls at their bounds.
#include "atom_generator.h"
#include <limits>

namespace {

std::vector<atom> read_all(const std::string &text)
{
    std::vector<atom> atoms;
    char buffer[64];
    long index = 0;
    atom a;
    while (readatom(buffer, text.c_str(), &index, sizeof buffer, &a))
        atoms.push_back(a);
    EXPECT_EQ(index, long(text.size())) << text;
    return atoms;
}

std::string write_all(const std::vector<atom> &atoms, long flags = zan_gettext_default)
{
    long size = 0;
    char *text = nullptr;
    EXPECT_EQ(atom_gettext(long(atoms.size()), atoms.data(), &size, &text, flags), 0);
    const std::string whole = text;
    EXPECT_EQ(size, long(whole.size()) + 1);
    sysmem_freeptr(text);
    return whole;
}

constexpr double infinity = std::numeric_limits<double>::infinity();

void comes_back(const char *text, const atom &value)
{
    const std::vector<atom> read = read_all(text);
    ASSERT_EQ(read.size(), 1u) << text;
    EXPECT_TRUE(same_atom(read[0], value)) << text << " read as type " << read[0].type;
    const std::vector<atom> again = read_all(write_all(read));
    ASSERT_EQ(again.size(), 1u) << text << " written as " << write_all(read);
    EXPECT_TRUE(same_atom(again[0], value)) << text << " written as " << write_all(read);
}

TEST(AtomText, WordsReadAsWhatTheyAre)
{
    const struct {
        const char *text;
        atom value;
    } rows[] = {
        {"0", A(0)},
        {"-17", A(-17)},
        {"+5", A(5)},
        {"9223372036854775807", A(std::numeric_limits<long>::max())},
        {"-9223372036854775808", A(std::numeric_limits<long>::min())},
        {"9223372036854775808", A(9223372036854775808.0)},
        {"1.", A(1.)},
        {".5", A(.5)},
        {"-.5e1", A(-5.)},
        {"1e3", A(1000.)},
        {"1E+3", A(1000.)},
        {"+2.5", A(2.5)},
        {"1e400", A(infinity)},
        {"-1e400", A(-infinity)},
        {"1e-400", A(0.)},
        {"-0.", A(-0.0)},
        {"inf", A(infinity)},
        {"-inf", A(-infinity)},
        {"\"\"", A("")},
        {"\"a b;c,d$1\"", A("a b;c,d$1")},
        {"\"5\"", A("5")},
        {"\\5", A("5")},
        {"\"x\\\"y\\\\z\\n\\t\"", A("x\"y\\z\n\t")},
        {"a\\ b\\;\\,", A("a b;,")},
        {";", typed_atom(argtype_semi)},
        {",", typed_atom(argtype_comma)},
        {"$1", typed_atom(argtype_dollar, 1)},
        {"$12", typed_atom(argtype_dollar, 12)},
        {"\\$1", A("$1")},
        {"a$1b", dollsym_atom("a$1b")},
        {"$1$2", dollsym_atom("$1$2")},
        {"a\\$1b$2", dollsym_atom("a\\$1b$2")},
        {"$1\\ x", dollsym_atom("$1 x")},
        {"$1\\2", dollsym_atom("$1\\2")},
        {"$1\\", dollsym_atom("$1\\\\")},
    };
    for (const auto &row : rows)
        comes_back(row.text, row.value);
    for (const char *word : {"-", "+", ".", "..", "1e", "e5", "1.2.3", "0x10", "infinite", "--1", "vok.op", "a\"b",
                             "end\\", "$", "$x", "\xC3\xA4\xE2\x82\xAC"})
        comes_back(word, A(word));
}

TEST(AtomText, BlanksAndMarksPartWords)
{
    const struct {
        const char *text, *canonical;
    } rows[] = {
        {"", ""},
        {" \t\r\n\v\f", ""},
        {"a  b\n1\t2.50", "a b 1 2.5"},
        {"a;b,c", "a; b, c"},
        {";;", ";;"},
        {"\"a\"\"b\"3", "a b 3"},
        {"a \"", "a \"\""},
        {"x \"open to the end", "x \"open to the end\""},
        {"1.50000 1e0", "1.5 1."},
        {"# c", "\"#\" c"},
        {"#ff8000", "#ff8000"},
        {"a #", "a #"},
        {"a; \"##\"", "a; \"##\""},
    };
    for (const auto &row : rows)
        EXPECT_EQ(write_all(read_all(row.text)), row.canonical) << row.text;
}

TEST(AtomText, FloatsAreShortAndExact)
{
    const struct {
        double value;
        const char *text;
    } rows[] = {
        {0, "0."},           {-0.0, "-0."},       {1, "1."},
        {-1.5, "-1.5"},      {0.1, "0.1"},        {1.0 / 3, "0.3333333333333333"},
        {100000, "100000."}, {5e-324, "5e-324"},  {1e100, "1e+100"},
        {infinity, "inf"},   {-infinity, "-inf"}, {std::nan(""), "nan"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(write_all({A(row.value)}), row.text);
}

TEST(AtomText, RandomAtomsComeBack)
{
    atom_generator generate(1);
    void *script = binbuf_new();
    for (int round = 0; round < 4000; round++) {
        const std::vector<atom> atoms = generate.list(20);
        const std::string text = write_all(atoms);
        EXPECT_EQ(text.find('\n'), text.npos);
        std::vector<atom> read;
        if (round % 4) {
            read = read_all(text);
        } else { // a script's text is the same
            ASSERT_EQ(binbuf_settext(script, text.c_str(), -1), 0) << text;
            long argc = 0;
            atom *argv = nullptr;
            ASSERT_EQ(binbuf_getatoms(script, &argc, &argv), 0);
            read.assign(argv, argv + argc);
        }
        ASSERT_TRUE(std::equal(read.begin(), read.end(), atoms.begin(), atoms.end(), same_atom)) << text;
    }
    freeobject(script);
}

TEST(AtomText, RandomBytesSettleAfterOneReading)
{
    std::minstd_rand random(2);
    const std::string letters = "ab1.5e-+$\\\";, \n#\xC3\xA4\x80\xFF";
    for (int round = 0; round < 20000; round++) {
        std::string text;
        for (unsigned i = random() % 24; i > 0; i--)
            text += letters[random() % letters.size()];
        const std::vector<atom> first = read_all(text);
        const std::string canonical = write_all(first);
        const std::vector<atom> second = read_all(canonical);
        ASSERT_TRUE(std::equal(first.begin(), first.end(), second.begin(), second.end(), same_atom))
            << text << " -> " << canonical;
        EXPECT_EQ(write_all(second), canonical);
    }
}

TEST(AtomText, FlagsChangeHowSymbolsAndGapsLook)
{
    const std::vector<atom> atoms = {A("a b"), A(2), A("c"), A(1.5)};
    EXPECT_EQ(write_all(atoms), "\"a b\" 2 c 1.5");
    EXPECT_EQ(write_all(atoms, zan_gettext_sym_no_quote), "a b 2 c 1.5");
    EXPECT_EQ(write_all(atoms, zan_gettext_sym_force_quote), "\"a b\" 2 \"c\" 1.5");
    EXPECT_EQ(write_all(atoms, zan_gettext_comma_delim), "\"a b\", 2, c, 1.5");
    EXPECT_EQ(write_all(atoms, zan_gettext_truncate_zeros), "\"a b\" 2 c 1.5");
    EXPECT_EQ(write_all({A(static_cast<void *>(nullptr))}), "<null>");
}

TEST(AtomText, TheCallersBufferIsNeverOverrun)
{
    const std::vector<atom> atoms = {A("\xC3\xA4\xC3\xB6"), A(12)}; // two letters of two bytes
    const std::string whole = "\xC3\xA4\xC3\xB6 12";
    for (long size = 1; size < 12; size++) {
        char buffer[16];
        memset(buffer, '!', sizeof buffer);
        char *text = buffer;
        long given = size;
        EXPECT_EQ(atom_gettext(2, atoms.data(), &given, &text, 0), 0);
        EXPECT_EQ(text, buffer);
        EXPECT_EQ(buffer[size], '!');
        EXPECT_EQ(whole.compare(0, strlen(buffer), buffer), 0);
        EXPECT_NE(static_cast<unsigned char>(buffer[strlen(buffer)]), 0xC3u);
        EXPECT_TRUE(strlen(buffer) % 2 == 0 || strlen(buffer) >= 4) << "cut within a letter";
        memset(buffer, '!', sizeof buffer);
        EXPECT_EQ(atoms_totext(2, atoms.data(), buffer, size), long(whole.size()));
        EXPECT_EQ(buffer[size], '!');
        EXPECT_LT(strlen(buffer), size_t(size));
    }
    EXPECT_EQ(atoms_totext(2, atoms.data(), nullptr, 0), long(whole.size()));
    EXPECT_NE(atom_gettext(2, atoms.data(), nullptr, nullptr, 0), 0);
}

TEST(AtomText, ALongWordFillsTheBufferAndTheSymbolIsWhole)
{
    const std::string word(1000, 'w');
    char buffer[8];
    long index = 0;
    atom a;
    EXPECT_NE(readatom(buffer, word.c_str(), &index, sizeof buffer, &a), 0);
    EXPECT_STREQ(buffer, "wwwwwww");
    EXPECT_EQ(atom_getsym(&a), S(word.c_str()));
    EXPECT_EQ(readatom(buffer, word.c_str(), &index, sizeof buffer, &a), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(readatom(nullptr, nullptr, &index, 0, &a), 0);
}

TEST(AtomArrays, ResultArraysAreSizedOrAllocated)
{
    atom own[4];
    const struct {
        long minsize, argc;
        bool given;
        long expected;
        char alloc;
    } rows[] = {{3, 4, true, 3, 0},  {6, 4, true, 4, 0}, {0, 4, true, 0, 0},  {3, 0, false, 3, 1},
                {3, 4, false, 3, 1}, {3, 0, true, 3, 1}, {0, 0, false, 0, 0}, {-5, 0, false, 0, 0}};
    for (const auto &row : rows) {
        long argc = row.argc;
        atom *argv = row.given ? own : nullptr;
        char alloc = 9;
        EXPECT_EQ(atom_alloc_array(row.minsize, &argc, &argv, &alloc), 0);
        EXPECT_EQ(argc, row.expected) << row.minsize;
        EXPECT_EQ(alloc, row.alloc) << row.minsize;
        if (alloc) {
            EXPECT_NE(argv, own);
            EXPECT_EQ(argv[argc - 1].type, argtype_nothing);
            sysmem_freeptr(argv);
        }
    }
    long argc = 0;
    atom *argv = nullptr;
    char alloc = 9;
    EXPECT_NE(atom_alloc_array(std::numeric_limits<long>::max(), &argc, &argv, &alloc), 0);
    EXPECT_EQ(argv, nullptr);
}

TEST(Utf8, CountsAndFindsCharactersInAnyBytes)
{
    const struct {
        const char *text;
        long count, bytes;
    } rows[] = {
        {"", 0, 0},          {"abc", 3, 3}, {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z", 4, 10},
        {"\x80\x80", 2, 2},  // no letter begins so
        {"\xC3", 1, 1},      // cut off
        {"\xE2\x82", 2, 2},  // cut off
        {"\xF0\x9Fz", 3, 3}, // broken off
        {"\xFF\xFE", 2, 2},
    };
    for (const auto &row : rows) {
        long bytes = -1;
        EXPECT_EQ(charset_utf8_count(row.text, &bytes), row.count) << row.text;
        EXPECT_EQ(bytes, row.bytes) << row.text;
        long offset = -1;
        EXPECT_EQ(charset_utf8_offset(row.text, row.count, &offset), row.text + row.bytes) << row.text;
        EXPECT_EQ(offset, row.bytes);
        EXPECT_EQ(charset_utf8_offset(row.text, 1000, nullptr), row.text + row.bytes);
        EXPECT_EQ(charset_utf8_offset(row.text, -3, nullptr), row.text);
    }
    EXPECT_EQ(charset_utf8_offset("\xC3\xA4\xE2\x82\xAC!", 1, nullptr)[0], '\xE2');
    EXPECT_EQ(charset_utf8_count(nullptr, nullptr), 0);
    EXPECT_EQ(charset_utf8_offset(nullptr, 1, nullptr), nullptr);
}

TEST(BoundedText, EveryCallEndsItsText)
{
    for (long size = 0; size <= 9; size++) {
        char buffer[12];
        const auto whole = [&, expected = std::string("abcdefg").substr(0, size_t(std::max(0L, size - 1)))] {
            EXPECT_TRUE(!size || buffer == expected) << size;
            EXPECT_EQ(buffer[std::max(size, 1L)], '!') << size;
            memset(buffer, '!', sizeof buffer);
        };
        memset(buffer, '!', sizeof buffer);
        EXPECT_EQ(snprintf_zero(buffer, size_t(size), "%s%c", "abcdef", 'g'),
                  int(std::min(7L, std::max(0L, size - 1))));
        whole();
        EXPECT_EQ(strncpy_zero(buffer, "abcdefg", size), buffer);
        EXPECT_EQ(buffer[size], '!');
        whole();
        buffer[0] = 0;
        strncat_zero(buffer, "abc", size);
        strncat_zero(buffer, "defg", size);
        whole();
    }
    char full[4] = {'a', 'b', 'c', 'd'};
    strncat_zero(full, "x", sizeof full);
    EXPECT_STREQ(full, "abc");
    char shifted[] = "abcdef";
    strncpy_zero(shifted, shifted + 2, sizeof shifted);
    EXPECT_STREQ(shifted, "cdef");
}

TEST(CommonSymbols, TheTableIsWholeAndInOrder)
{
    symbol **table = common_symbols_gettable();
    ASSERT_EQ(table, common_symbols_gettable());
    for (int i = 0; i < zan_common_count; i++)
        ASSERT_NE(table[i], nullptr) << i;
    EXPECT_EQ(table[zan_common_count], nullptr);
    EXPECT_EQ(table[zan_common_nothing], S(""));
    EXPECT_EQ(table[zan_common_list], S("list"));
    EXPECT_EQ(table[zan_common_vok_gl_texture], S("vok_gl_texture"));
}

TEST(Domains, ANamespaceMakesItsBoxesAndItsComments)
{
    static symbol *made;
    const auto constructor = [](symbol *name, long argc, atom *argv) -> void * {
        made = argc ? atom_getsym(argv) : name;
        return nullptr;
    };
    const zan_method fn = reinterpret_cast<zan_method>(+constructor);
    symbol *domain = patcherdomain_namespace_init("text_test_domain", fn);
    ASSERT_EQ(domain, S("text_test_domain"));
    EXPECT_EQ(patcherdomain_namespace_init("text_test_domain", fn), domain);
    EXPECT_EQ(patcherdomain_namespace_init("", fn), nullptr);
    EXPECT_EQ(patcherdomain_namespace_init(nullptr, fn), nullptr);
    EXPECT_EQ(patcherdomain_namespace_init("x", nullptr), nullptr);
    EXPECT_NE(class_findbyname(domain, S("comment")), nullptr);
    atom what = A("history");
    EXPECT_EQ(object_new_typed(domain, domain, 1, &what), nullptr);
    EXPECT_EQ(made, S("history"));
}

} // namespace

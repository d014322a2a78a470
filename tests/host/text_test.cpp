// Atoms and text: the words of scripts one by one, then random atoms and random bytes
// through both directions; and the bounded text calls at their bounds.
#include "atom_generator.h"
#include <cerrno>
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

bool same_atoms(const std::vector<atom> &a, const std::vector<atom> &b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), same_atom);
}

TEST(AtomText, WordsReadAsWhatTheyAre)
{
    std::vector<std::pair<const char *, atom>> rows = {{"$12", typed_atom(argtype_dollar, 12)}};
    for (const char *number :
         {"0", "-17", "+5", "9223372036854775807", "-9223372036854775808", "9223372036854775808", "1.", ".5",
          "-.5e1", "1E+3", "+2.5", "1e400", "-1e400", "1e-400", "-0.", "inf", "-inf"}) {
        char *end = nullptr;
        errno = 0;
        const long whole = strtol(number, &end, 10);
        rows.push_back({number, *end || errno ? A(strtod(number, nullptr)) : A(whole)});
    }
    for (const char *word : {"-", "+", ".", "..", "1e", "e5", "1.2.3", "0x10", "infinite", "--1", "vok.op", "a\"b",
                             "end\\", "$", "$x", "\xC3\xA4\xE2\x82\xAC"})
        rows.push_back({word, A(word)});
    const std::pair<const char *, const char *> symbols[] = {
        {"\"\"", ""},   {"\"a b;c,d$1\"", "a b;c,d$1"},           {"\"5\"", "5"},
        {"\\5", "5"},   {"\"x\\\"y\\\\z\\n\\t\"", "x\"y\\z\n\t"}, {"a\\ b\\;\\,", "a b;,"},
        {"\\$1", "$1"},
    };
    const std::pair<const char *, const char *> patterns[] = {
        {"a$1b", "a$1b"},   {"$1$2", "$1$2"},   {"a\\$1b$2", "a\\$1b$2"},
        {"$1\\ x", "$1 x"}, {"$1\\2", "$1\\2"}, {"$1\\", "$1\\\\"},
    };
    for (const auto &[text, symbol] : symbols)
        rows.push_back({text, A(symbol)});
    for (const auto &[text, symbol] : patterns)
        rows.push_back({text, dollsym_atom(symbol)});
    for (const auto &[text, value] : rows) {
        const std::vector<atom> read = read_all(text);
        EXPECT_TRUE(same_atoms(read, {value})) << text;
        EXPECT_TRUE(same_atoms(read_all(write_all(read)), {value})) << text << " written as " << write_all(read);
    }
}

TEST(AtomText, IsCanonicalWhenItIsWritten)
{
    for (const char *text :
         {"", "#ff8000", "a #", "a; \"##\"", ";;", "-0.", "100000.", "0.1", "0.3333333333333333", "5e-324",
          "1e+100", "nan", "inf", "-inf", "\"##a\"", "\"\xEF\xBB\xBFx\"", "\\##$1", "\\\xEF\xBB\xBF$1"})
        EXPECT_EQ(write_all(read_all(text)), text);
    const std::pair<const char *, const char *> rows[] = {
        {" \t\r\n\v\f", ""},       {"a  b\n1\t2.50", "a b 1 2.5"},
        {"a;b,c", "a; b, c"},      {"\"a\"\"b\"3", "a b 3"},
        {"a \"", "a \"\""},        {"x \"open to the end", "x \"open to the end\""},
        {"1.50000 1e0", "1.5 1."}, {"# c", "\"#\" c"},
    };
    for (const auto &[text, canonical] : rows)
        EXPECT_EQ(write_all(read_all(text)), canonical) << text;
}

TEST(AtomText, RandomAtomsComeBack)
{
    atom_generator generate(1);
    void *script = binbuf_new();
    for (int round = 0; round < 4000; round++) {
        const std::vector<atom> atoms = generate.list(20);
        const std::string text = write_all(atoms);
        EXPECT_EQ(text.find('\n'), text.npos);
        ASSERT_TRUE(same_atoms(read_all(text), atoms)) << text;
        long argc = 0; // a script's text is the same
        atom *argv = nullptr;
        ASSERT_EQ(binbuf_settext(script, text.c_str(), -1), 0) << text;
        ASSERT_EQ(binbuf_getatoms(script, &argc, &argv), 0);
        ASSERT_TRUE(same_atoms({argv, argv + argc}, atoms)) << text;
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
        ASSERT_TRUE(same_atoms(first, read_all(canonical))) << text << " -> " << canonical;
        EXPECT_EQ(write_all(read_all(canonical)), canonical);
    }
}

TEST(AtomText, FlagsChangeHowSymbolsAndGapsLook)
{
    const std::pair<long, const char *> rows[] = {
        {zan_gettext_sym_no_quote, "a b 2 c 1.5 <null>"},
        {zan_gettext_sym_force_quote, "\"a b\" 2 \"c\" 1.5 <null>"},
        {zan_gettext_comma_delim, "\"a b\", 2, c, 1.5, <null>"},
        {zan_gettext_truncate_zeros, "\"a b\" 2 c 1.5 <null>"},
    };
    for (const auto &[flags, text] : rows)
        EXPECT_EQ(write_all({A("a b"), A(2), A("c"), A(1.5), A(static_cast<void *>(nullptr))}, flags), text);
}

TEST(AtomText, TheCallersBufferIsNeverOverrun)
{
    const std::string whole = "\xC3\xA4\xC3\xB6 12"; // two letters of two bytes
    const std::vector<atom> atoms = read_all(whole);
    for (long size = 1; size < 12; size++) {
        char gotten[] = "!!!!!!!!!!!!", totext[] = "!!!!!!!!!!!!", *text = gotten;
        long given = size;
        EXPECT_EQ(atom_gettext(2, atoms.data(), &given, &text, 0), 0);
        EXPECT_EQ(atoms_totext(2, atoms.data(), totext, size), long(whole.size()));
        for (const char *buffer : {gotten, totext}) {
            size_t length = std::min(size_t(size - 1), whole.size());
            length -= length < 4 && length % 2; // not within a letter
            EXPECT_EQ(buffer, whole.substr(0, length));
            EXPECT_EQ(buffer[size], '!');
        }
    }
    EXPECT_EQ(atoms_totext(2, atoms.data(), nullptr, 0), long(whole.size()));
    EXPECT_NE(atom_gettext(2, atoms.data(), nullptr, nullptr, 0), 0);

    const std::string word(1000, 'w'); // fills the buffer, and its symbol is whole
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
    for (const long minsize : {std::numeric_limits<long>::max(), 3L, 0L, -5L}) {
        long argc = 4, none = 0;
        atom *argv = own, *made = nullptr;
        char alloc = 9;
        EXPECT_EQ(atom_alloc_array(minsize, &argc, &argv, &alloc), 0);
        EXPECT_TRUE(argv == own && argc == std::clamp(minsize, 0L, 4L) && alloc == 0) << minsize;
        EXPECT_EQ(atom_alloc_array(minsize, &none, &made, &alloc) == 0, minsize <= 3);
        EXPECT_EQ(text_of(none, made), minsize == 3 ? "nothing nothing nothing" : "");
        sysmem_freeptr(made);
    }
}

TEST(Utf8, CountsAndFindsCharactersInAnyBytes)
{
    const struct {
        const char *text;
        long count, bytes;
    } rows[] = {{"", 0, 0},          {"abc", 3, 3},     {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z", 4, 10},
                {"\x80\x80", 2, 2},  {"\xC3", 1, 1},    {"\xE2\x82", 2, 2},
                {"\xF0\x9Fz", 3, 3}, {"\xFF\xFE", 2, 2}};
    for (const auto &row : rows) {
        long bytes = -1, offset = -1;
        EXPECT_EQ(charset_utf8_count(row.text, &bytes), row.count) << row.text;
        EXPECT_EQ(bytes, row.bytes) << row.text;
        for (const long characters : {row.count, 1000L})
            EXPECT_EQ(charset_utf8_offset(row.text, characters, &offset), row.text + row.bytes) << row.text;
        EXPECT_EQ(offset, row.bytes);
    }
    EXPECT_EQ(*charset_utf8_offset("\xC3\xA4\xE2\x82\xAC!", 1, nullptr), '\xE2');
    EXPECT_EQ(charset_utf8_count(nullptr, nullptr), 0);
    EXPECT_EQ(charset_utf8_offset(nullptr, 1, nullptr), nullptr);
}

TEST(BoundedText, EveryCallEndsItsText)
{
    void (*const calls[])(char *, long) = {
        [](char *to, long size) {
            EXPECT_EQ(snprintf_zero(to, size_t(size), "abcdef%c", 'g'), std::clamp(size - 1, 0L, 7L));
        },
        [](char *to, long size) { EXPECT_EQ(strncpy_zero(to, "abcdefg", size), to); },
        [](char *to, long size) { strncat_zero(strncpy_zero(to, "abc", size), "defg", size); },
    };
    for (long size = 0; size <= 9; size++)
        for (const auto call : calls) {
            char buffer[] = "!!!!!!!!!!!";
            call(buffer, size);
            const std::string expected = std::string("abcdefg").substr(0, size_t(std::max(0L, size - 1)));
            EXPECT_TRUE(!size || buffer == expected) << size;
            EXPECT_EQ(buffer[size], '!') << size;
        }
    char full[4] = {'a', 'b', 'c', 'd'}, shifted[] = "abcdef";
    strncat_zero(full, "x", sizeof full);
    EXPECT_STREQ(full, "abc");
    strncpy_zero(shifted, shifted + 2, sizeof shifted);
    EXPECT_STREQ(shifted, "cdef");
}

TEST(Domains, ANamespaceMakesItsBoxesAndItsComments)
{
    static symbol *made;
    const zan_method fn = M(+[](symbol *, long, atom *argv) -> void * {
        made = atom_getsym(argv);
        return nullptr;
    });
    symbol *domain = S("text_test_domain");
    for (int time = 0; time < 2; time++)
        EXPECT_EQ(patcherdomain_namespace_init("text_test_domain", fn), domain);
    EXPECT_EQ(patcherdomain_namespace_init("", fn), nullptr);
    object_free(object_new_typed(domain, S("comment"), 0, nullptr));
    EXPECT_NE(class_findbyname(domain, S("comment")), nullptr);
    atom what = A("history");
    EXPECT_EQ(object_new_typed(domain, domain, 1, &what), nullptr);
    EXPECT_EQ(made, S("history"));
}

} // namespace

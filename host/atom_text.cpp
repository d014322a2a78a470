// Atoms to text and back. What is written reads back as the same atoms: a float keeps a
// point or an exponent, and a symbol that a reader would take for something else goes in
// quotes. Reached through include/zan/symbols.h and, inside the host, text_reader.h.
#include "text_reader.h"

#include "internal.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace zan {
namespace {

bool is_blank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}
bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}
bool ends_word(char c)
{
    return is_blank(c) || c == ';' || c == ',';
}

// from_chars leaves the value alone when it is too large or too small for a double;
// the C library says which of the two it was.
double extreme_value(std::string_view word)
{
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    return strtod_l(std::string(word).c_str(), nullptr, plain);
}

// [sign] digits [. digits] [e [sign] digits], at least one digit ahead of the exponent.
enum class number_kind { none, whole, real };
number_kind kind_of_number(std::string_view word)
{
    size_t i = !word.empty() && (word[0] == '+' || word[0] == '-');
    size_t digits = 0;
    number_kind kind = number_kind::whole;
    const auto run = [&] {
        const size_t from = i;
        while (i < word.size() && is_digit(word[i]))
            i++;
        return i - from;
    };
    digits = run();
    if (i < word.size() && word[i] == '.') {
        kind = number_kind::real;
        i++;
        digits += run();
    }
    if (!digits)
        return number_kind::none;
    if (i < word.size() && (word[i] == 'e' || word[i] == 'E')) {
        kind = number_kind::real;
        i++;
        if (i < word.size() && (word[i] == '+' || word[i] == '-'))
            i++;
        if (!run())
            return number_kind::none;
    }
    return i == word.size() ? kind : number_kind::none;
}

// What no digits can spell: exactly these words are floats too.
constexpr struct {
    std::string_view word;
    double value;
} named_numbers[] = {
    {"inf", std::numeric_limits<double>::infinity()},
    {"-inf", -std::numeric_limits<double>::infinity()},
    {"nan", std::numeric_limits<double>::quiet_NaN()},
    {"-nan", -std::numeric_limits<double>::quiet_NaN()},
};

void read_quoted(text_reader &r, std::string &token)
{
    r.at++;
    while (r.at < r.size) {
        char c = r.text[r.at++];
        if (c == '"')
            return;
        if (c == '\n')
            r.line++;
        if (c == '\\' && r.at < r.size) {
            c = r.text[r.at++];
            if (c == '\n')
                r.line++;
            c = c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : c;
        }
        token += c;
    }
    r.unterminated = true;
}

// `$` and digits, and no more of them than a number of an argument can have.
bool is_plain_dollar(std::string_view word)
{
    return word.size() >= 2 && word.size() <= 10 && word[0] == '$' &&
           std::all_of(word.begin() + 1, word.end(), is_digit);
}

// A symbol with arguments in it keeps the backslashes ahead of these: without its mark the
// character would name an argument, or belong to the number of one.
bool keeps_mark(char c)
{
    return c == '$' || c == '\\' || is_digit(c);
}

void read_word(text_reader &r, std::string &token, atom &a)
{
    const size_t start = r.at;
    bool escaped = false, dollar = false;
    for (; r.at < r.size && !ends_word(r.text[r.at]); r.at++) {
        if (r.text[r.at] == '\\' && r.at + 1 < r.size) {
            escaped = true;
            r.at++;
            if (r.text[r.at] == '\n')
                r.line++;
        } else if (r.text[r.at] == '$' && r.at + 1 < r.size && is_digit(r.text[r.at + 1])) {
            dollar = true;
        }
    }
    const std::string_view word(r.text + start, r.at - start);
    if (is_plain_dollar(word)) {
        token = word;
        a.type = argtype_dollar;
        a.value.as_long = strtol(token.c_str() + 1, nullptr, 10);
        return;
    }
    if (!escaped && !dollar && number_from_text(word, a)) {
        token = word;
        return;
    }
    for (size_t i = 0; i < word.size(); i++) {
        if (word[i] == '\\') {
            const bool last = i + 1 == word.size(); // nothing to mark: it stands for itself
            const char next = last ? '\\' : word[++i];
            if (dollar && keeps_mark(next))
                token += '\\';
            token += next;
        } else {
            token += word[i];
        }
    }
    a.type = dollar ? argtype_dollsym : argtype_sym;
    a.value.as_sym = gensym(token.c_str());
}

// ---- writing ----

// Whether a word at the start of a message would be passed over: a comment, or what a
// file's byte order mark looks like.
bool is_passed_over(std::string_view word)
{
    return begins_comment(word) || word.starts_with("\xEF\xBB\xBF");
}

bool needs_quotes(std::string_view word, bool first_of_message)
{
    if (word.empty() || word[0] == '"' || (first_of_message && is_passed_over(word)))
        return true;
    for (size_t i = 0; i < word.size(); i++)
        if (ends_word(word[i]) || word[i] == '\\' ||
            (word[i] == '$' && i + 1 < word.size() && is_digit(word[i + 1])))
            return true;
    atom number;
    return number_from_text(word, number);
}

void append_quoted(std::string &text, std::string_view word)
{
    text += '"';
    for (const char c : word) {
        const char letter = c == '\n' ? 'n' : c == '\r' ? 'r' : c == '\t' ? 't' : c;
        if (letter != c || c == '"' || c == '\\')
            text += '\\';
        text += letter;
    }
    text += '"';
}

// The marked dollars and backslashes stand as they are; what would end the word is marked.
void append_pattern(std::string &text, std::string_view word, bool first_of_message)
{
    if (first_of_message && is_passed_over(word))
        text += '\\';
    for (size_t i = 0; i < word.size(); i++) {
        const char c = word[i];
        if (c == '\\') {
            const bool mark = i + 1 < word.size() && keeps_mark(word[i + 1]);
            text += '\\';
            text += mark ? word[++i] : '\\';
        } else {
            if (ends_word(c) || (i == 0 && c == '"'))
                text += '\\';
            text += c;
        }
    }
}

void append_symbol(std::string &text, const symbol *s, long flags, bool first_of_message)
{
    const std::string_view word = s ? s->name : "";
    const bool quoted = !(flags & zan_gettext_sym_no_quote) &&
                        ((flags & zan_gettext_sym_force_quote) || needs_quotes(word, first_of_message));
    if (quoted)
        append_quoted(text, word);
    else
        text += word;
}

void append_atom(std::string &text, const atom &a, long flags, bool first_of_message)
{
    switch (a.type) {
    case argtype_long: return append_long(text, a.value.as_long);
    case argtype_float: return append_float(text, a.value.as_float);
    case argtype_sym: return append_symbol(text, a.value.as_sym, flags, first_of_message);
    case argtype_semi: text += ';'; return;
    case argtype_comma: text += ','; return;
    case argtype_dollar: text += '$'; return append_long(text, a.value.as_long);
    case argtype_dollsym:
        if (a.value.as_sym && a.value.as_sym->name[0])
            return append_pattern(text, a.value.as_sym->name, first_of_message);
        return append_symbol(text, nullptr, flags, first_of_message);
    case argtype_obj: { // an object has no text; its class's name says what stood there
        const symbol *name = a.value.as_obj ? object_classname(a.value.as_obj) : nullptr;
        text += '<';
        text += name ? name->name : "null";
        text += '>';
        return;
    }
    default: text += "<nothing>";
    }
}

// A text is never cut within a character.
size_t cut_length(const std::string &text, size_t room)
{
    if (text.size() < room)
        return text.size();
    size_t length = room - 1;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
        length--;
    return length;
}

} // namespace

bool begins_comment(std::string_view text)
{
    return !text.empty() && text[0] == '#' &&
           (text.size() == 1 || is_blank(text[1]) || text[1] == '#' || text[1] == '!');
}

bool skip_blanks(text_reader &r)
{
    for (; r.at < r.size && is_blank(r.text[r.at]); r.at++)
        if (r.text[r.at] == '\n')
            r.line++;
    return r.at < r.size;
}

void skip_line(text_reader &r)
{
    while (r.at < r.size && r.text[r.at] != '\n')
        r.at++;
}

bool read_atom(text_reader &r, std::string &token, atom &a)
{
    token.clear();
    if (!skip_blanks(r))
        return false;
    const char c = r.text[r.at];
    if (c == ';' || c == ',') {
        r.at++;
        token = c;
        a.type = c == ';' ? argtype_semi : argtype_comma;
        a.value.as_long = 0;
    } else if (c == '"') {
        read_quoted(r, token);
        a.type = argtype_sym;
        a.value.as_sym = gensym(token.c_str());
    } else {
        read_word(r, token, a);
    }
    return true;
}

bool number_from_text(std::string_view word, atom &a)
{
    for (const auto &named : named_numbers)
        if (word == named.word)
            return atom_setfloat(&a, named.value) == 0;
    const number_kind kind = kind_of_number(word);
    if (kind == number_kind::none)
        return false;
    if (word[0] == '+')
        word.remove_prefix(1);
    const char *end = word.data() + word.size();
    if (kind == number_kind::whole) {
        long whole = 0;
        if (std::from_chars(word.data(), end, whole).ec == std::errc())
            return atom_setlong(&a, whole) == 0;
    }
    double real = 0;
    if (std::from_chars(word.data(), end, real).ec != std::errc())
        real = extreme_value(word);
    return atom_setfloat(&a, real) == 0;
}

void append_long(std::string &text, long value)
{
    char digits[32];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

void append_float(std::string &text, double value)
{
    char digits[64];
    // plain digits as long as a person reads them with ease
    const double size = std::fabs(value);
    const bool plain = size == 0 || (size >= 1e-5 && size < 1e15);
    const auto format = plain ? std::chars_format::fixed : std::chars_format::scientific;
    const std::string_view word(digits,
                                size_t(std::to_chars(digits, digits + sizeof digits, value, format).ptr - digits));
    text += word;
    if (std::isfinite(value) && word.find_first_of(".e") == word.npos)
        text += '.';
}

void append_atoms(std::string &text, long argc, const atom *argv, long flags)
{
    for (long i = 0; argv && i < argc; i++) {
        const bool joins = argv[i].type == argtype_semi || argv[i].type == argtype_comma;
        if (i > 0 && !joins)
            text += flags & zan_gettext_comma_delim ? ", " : " ";
        append_atom(text, argv[i], flags, i == 0 || argv[i - 1].type == argtype_semi);
    }
}

std::string substitute(const char *pattern, long argc, const atom *argv)
{
    std::string text;
    for (const char *c = pattern; *c;) {
        if (*c == '\\' && keeps_mark(c[1])) {
            text += c[1];
            c += 2;
        } else if (*c == '$' && is_digit(c[1])) {
            long number = 0;
            for (c++; is_digit(*c); c++)
                number = std::min(number * 10 + (*c - '0'), long(INT32_MAX));
            if (argv && number >= 1 && number <= argc)
                append_atoms(text, 1, argv + number - 1, zan_gettext_sym_no_quote);
            else
                text += '0';
        } else {
            text += *c++;
        }
    }
    return text;
}

} // namespace zan

extern "C" {

long atom_alloc_array(long minsize, long *argc, atom **argv, char *alloc)
{
    if (alloc)
        *alloc = 0;
    if (!argc || !argv)
        return zan_err_invalid_ptr;
    minsize = std::max(minsize, 0L);
    if (*argc > 0 && *argv) {
        *argc = std::min(*argc, minsize);
        return zan_err_none;
    }
    *argc = 0;
    *argv = nullptr;
    if (!minsize)
        return zan_err_none;
    if (minsize > PTRDIFF_MAX / long(sizeof(atom)))
        return zan_err_out_of_mem;
    *argv = static_cast<atom *>(sysmem_newptrclear(minsize * long(sizeof(atom))));
    if (!*argv)
        return zan_err_out_of_mem;
    *argc = minsize;
    if (alloc)
        *alloc = 1;
    return zan_err_none;
}

long atom_gettext(long argc, const atom *argv, long *textsize, char **text, long flags)
{
    if (!textsize || !text)
        return zan_err_invalid_ptr;
    try {
        std::string whole;
        zan::append_atoms(whole, argc, argv, flags);
        if (*textsize <= 0 || !*text) {
            *text = static_cast<char *>(sysmem_newptr(long(whole.size()) + 1));
            if (!*text) {
                *textsize = 0;
                return zan_err_out_of_mem;
            }
            *textsize = long(whole.size()) + 1;
        }
        const size_t length = zan::cut_length(whole, size_t(*textsize));
        memcpy(*text, whole.data(), length);
        (*text)[length] = 0;
        return zan_err_none;
    } catch (const std::bad_alloc &) {
        return zan_err_out_of_mem;
    }
}

long atoms_totext(long argc, const atom *argv, char *buffer, long size)
{
    if (buffer && size > 0)
        buffer[0] = 0;
    try {
        std::string whole;
        zan::append_atoms(whole, argc, argv, zan_gettext_default);
        if (buffer && size > 0) {
            const size_t length = zan::cut_length(whole, size_t(size));
            memcpy(buffer, whole.data(), length);
            buffer[length] = 0;
        }
        return long(whole.size());
    } catch (const std::bad_alloc &) {
        return 0;
    }
}

short readatom(char *buffer, const char *text, long *index, long size, atom *a)
{
    if (buffer && size > 0)
        buffer[0] = 0;
    if (!text || !index || *index < 0 || !a)
        return 0;
    try {
        zan::text_reader reader{text + *index, strlen(text + *index)};
        std::string token;
        const bool read = zan::read_atom(reader, token, *a);
        *index += long(reader.at);
        if (read && buffer && size > 0) {
            const size_t length = zan::cut_length(token, size_t(size));
            memcpy(buffer, token.data(), length);
            buffer[length] = 0;
        }
        return read;
    } catch (const std::bad_alloc &) {
        return 0;
    }
}

} // extern "C"

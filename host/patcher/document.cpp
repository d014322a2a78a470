// Reading and writing the text of a patch. Words and comments are those of script text
// (text_reader.h); every statement is kept as its atoms, also one that makes no sense, so
// that writing loses nothing.
#include "document.h"
#include "text_reader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace zan {
namespace {

constexpr size_t most_text = size_t(16) << 20; // bytes
constexpr size_t most_findings = 1000;

struct keyword {
    const char *word;
    document::kind what;
};
constexpr keyword keywords[] = {
    {"patch", document::kind::mark},
    {"box", document::kind::box},
    {"cord", document::kind::cord},
    {"layout", document::kind::layout},
};

bool is_word(const atom &a, const char *word)
{
    return a.type == argtype_sym && !std::strcmp(a.value.as_sym->name, word);
}

const keyword *keyword_of(const atom &a)
{
    for (const keyword &k : keywords)
        if (is_word(a, k.word))
            return &k;
    return nullptr;
}

// What stands in a statement, short enough for a finding.
std::string quoted(const atom *argv, size_t argc)
{
    std::string text;
    append_atoms(text, long(std::min<size_t>(argc, 8)), argv, 0);
    if (text.size() > 60 || argc > 8)
        text = text.substr(0, 60) + " ...";
    return "\"" + text + "\"";
}

class reading {
  public:
    reading(document &to, std::string_view text) : d(to), r{text.data(), text.size()} {}

    void run()
    {
        if (r.size > most_text)
            return error(1, "a patch has at most 16 MiB of text, this has " + std::to_string(r.size) + " bytes");
        if (std::string_view(r.text, r.size).starts_with("\xEF\xBB\xBF"))
            r.at = 3; // a byte order mark
        if (std::memchr(r.text, 0, r.size))
            return error(1, "there are zero bytes in it: this is no text");
        const bool to_its_end = split();
        if (to_its_end || !d.statements.empty())
            d.whole = understand() && to_its_end;
    }

  private:
    void error(long line, std::string text, symbol *box = nullptr, symbol *classname = nullptr)
    {
        d.findings.add({zan_finding_text, zan_report_error, {d.file, line, box, classname}, std::move(text)});
    }
    void warn(long line, std::string text)
    {
        d.findings.add({zan_finding_text, zan_report_warning, {d.file, line, nullptr, nullptr}, std::move(text)});
    }

    // ---- text to statements ----

    // False when the text can't be read to its end.
    bool split()
    {
        std::string token;
        while (skip_blanks(r)) {
            document::statement s{
                document::kind::unknown, r.line, !d.statements.empty() && r.line > ended + 1, false, {}, {}};
            if (begins_comment({r.text + r.at, r.size - r.at})) {
                s.what = document::kind::comment;
                s.behind = r.line == ended && d.statements.back().what != document::kind::comment;
                const size_t from = r.at;
                skip_line(r);
                ended = r.line;
                s.comment.assign(r.text + from, r.at - from);
                while (std::strchr(" \t\r\v\f", s.comment.back()))
                    s.comment.pop_back();
            } else if (!read_statement(s, token)) {
                return false;
            } else if (s.atoms.empty()) {
                continue; // a semicolon with nothing ahead of it
            }
            d.statements.push_back(std::move(s));
        }
        return true;
    }

    // A word that can only begin a statement ends one that stands unended above it, so that
    // a semicolon that was forgotten costs one finding.
    bool read_statement(document::statement &s, std::string &token)
    {
        for (long line = r.line; skip_blanks(r);) {
            const text_reader ahead = r;
            const bool begins_line = r.line > line && !std::strchr("\"\\", r.text[r.at]);
            line = r.line;
            atom a;
            read_atom(r, token, a);
            if (r.unterminated) {
                error(line, "the quote \" that begins here has no end");
                return false;
            }
            if (a.type == argtype_semi) {
                ended = r.line;
                return true;
            }
            if (begins_line && (keyword_of(a) || begins_comment(token))) {
                r = ahead;
                break;
            }
            s.atoms.push_back(a);
            ended = r.line;
        }
        if (!s.atoms.empty())
            error(s.line, "there is no semicolon at the end of " + quoted(s.atoms.data(), s.atoms.size()));
        return true;
    }

    // ---- statements to boxes and cords ----

    // False when this is no patch.
    bool understand()
    {
        const auto first = std::find_if(d.statements.begin(), d.statements.end(),
                                        [](const auto &s) { return s.what != document::kind::comment; });
        if (first == d.statements.end()) {
            error(1, "it is empty; a patch begins with \"patch 1;\"");
            return false;
        }
        const std::vector<atom> &mark = first->atoms;
        const bool marked = is_word(mark[0], "patch");
        if (marked)
            first->what = document::kind::mark;
        if (!marked && !keyword_of(mark[0]))
            d.findings = {}; // another kind of text is wrong all over
        if (!marked || mark.size() != 2 || mark[1].type != argtype_long) {
            error(first->line, "a patch begins with \"patch 1;\", found " + quoted(mark.data(), mark.size()));
            if (!keyword_of(mark[0]))
                return false;
        } else if (mark[1].value.as_long != 1) {
            error(first->line, "this is a patch of format " + std::to_string(mark[1].value.as_long) +
                                   ", and only format 1 is known");
            return false;
        }
        for (auto s = first + marked; s != d.statements.end(); ++s)
            if (s->what != document::kind::comment)
                understand(*s, size_t(s - d.statements.begin()));
        resolve();
        return marked;
    }

    void understand(document::statement &s, size_t index)
    {
        const keyword *k = keyword_of(s.atoms[0]);
        s.what = k ? k->what : document::kind::message;
        if (s.what == document::kind::layout)
            layout_line = layout_line ? layout_line : s.line;
        else if (layout_line)
            warn(s.line, "layout stands at the end of a patch; it begins in line " + std::to_string(layout_line));
        if (s.what == document::kind::box)
            box(s, index);
        else if (s.what == document::kind::message)
            d.messages.push_back(index);
        else if (s.what == document::kind::mark)
            error(s.line, "\"patch\" stands only once, at the beginning");
    }

    void box(const document::statement &s, size_t index)
    {
        const std::vector<atom> &a = s.atoms;
        if (a.size() < 3 || a[1].type != argtype_sym || a[2].type != argtype_sym || !*a[2].value.as_sym->name)
            return error(s.line,
                         "a box is written box NAME CLASS ARGUMENT...; found " + quoted(a.data(), a.size()));
        symbol *name = a[1].value.as_sym, *classname = a[2].value.as_sym;
        if (keyword_of(a[1]) || !*name->name)
            error(s.line, quoted(&a[1], 1) + " can't be the name of a box: it would be no message to it", name,
                  classname);
        const auto [known, fresh] = d.names.try_emplace(name, d.boxes.size());
        if (!fresh)
            error(s.line, "the name is taken by the box of line " + std::to_string(d.boxes[known->second].line),
                  name, classname);
        d.boxes.push_back({name, classname, index, s.line});
    }

    // Cords and messages may stand ahead of the boxes that they name.
    void resolve()
    {
        for (const document::statement &s : d.statements)
            if (s.what == document::kind::cord)
                cord(s);
        for (const size_t index : d.messages) {
            const document::statement &s = d.statements[index];
            if (s.atoms[0].type != argtype_sym)
                error(s.line,
                      "a message begins with the name of a box, found " + quoted(s.atoms.data(), s.atoms.size()));
            else if (d.find(s.atoms[0].value.as_sym) == document::none)
                unknown_box(s.line, s.atoms[0].value.as_sym, true);
        }
    }

    void cord(const document::statement &s)
    {
        const std::vector<atom> &a = s.atoms;
        if (a.size() != 5 || a[1].type != argtype_sym || a[2].type != argtype_long || a[3].type != argtype_sym ||
            a[4].type != argtype_long || a[2].value.as_long < 0 || a[4].value.as_long < 0)
            return error(s.line, "a cord is written cord SOURCE OUTLET DESTINATION INLET; found " +
                                     quoted(a.data(), a.size()));
        const document::cord c{d.find(a[1].value.as_sym),
                               d.find(a[3].value.as_sym),
                               a[1].value.as_sym,
                               a[3].value.as_sym,
                               a[2].value.as_long,
                               a[4].value.as_long,
                               s.line};
        if (c.source == document::none)
            unknown_box(s.line, c.source_name, false);
        if (c.destination == document::none && c.destination_name != c.source_name)
            unknown_box(s.line, c.destination_name, false);
        d.cords.push_back(c);
    }

    void unknown_box(long line, const symbol *name, bool or_keyword)
    {
        near_word near(name->name);
        if (d.findings.wants_hints()) {
            for (const document::box &b : d.boxes)
                near.consider(b.name->name);
            for (const keyword &k : keywords)
                if (or_keyword)
                    near.consider(k.word);
        }
        error(line, "there is no box " + std::string(name->name) + near.hint());
    }

    document &d;
    text_reader r;
    long ended = 0;       // the line on which the statement ahead ended
    long layout_line = 0; // of the first
};

} // namespace

void finding_list::add(finding f)
{
    errors_ += f.severity == zan_report_error;
    if (all_.size() < most_findings)
        return all_.push_back(std::move(f));
    finding &last = all_.back();
    last = {zan_finding_text, zan_report_error, {}, std::to_string(++more_ + 1) + " more findings"};
}

void read_text(document &d, std::string_view text)
{
    d.file = gensym(d.shown.c_str());
    reading(d, text).run();
}

void read_file(document &d, const std::string &shown)
{
    d.shown = shown;
    d.file = gensym(shown.c_str());
    d.full = full_name(0, shown.c_str());
    if (char *real = realpath(d.full.c_str(), nullptr)) {
        d.full = real;
        std::free(real);
    }
    d.folder = std::filesystem::path(d.full).parent_path().string();
    std::string bytes;
    const auto error = [&](std::string text) {
        d.findings.add({zan_finding_file, zan_report_error, {d.file, 0, nullptr, nullptr}, std::move(text)});
    };
    if (const int code = read_whole_file(d.full, most_text, bytes))
        return error(code == EFBIG ? "it is too large for a patch, which has at most 16 MiB"
                                   : std::strerror(code));
    if (const char *other = kind_of_bytes(bytes))
        return error("this is " + std::string(other) + ", not a patch");
    read_text(d, bytes);
}

std::string canonical_text(const document &d)
{
    std::string text;
    for (const document::statement &s : d.statements) {
        if (!text.empty())
            text += s.behind ? " " : s.blank_ahead ? "\n\n" : "\n";
        if (s.what == document::kind::comment) {
            text += s.comment;
        } else {
            append_atoms(text, long(s.atoms.size()), s.atoms.data(), 0);
            text += ';';
        }
    }
    return text + "\n";
}

} // namespace zan

// Script text: class "binbuf" in namespace "nobox", messages read from a file or from
// memory and run. Every report names the file and the line, and what can't be run is
// passed over, so that one wrong line costs one message. Reached through
// include/zan/files.h.
#include "kernel.h"
#include "near_words.h"
#include "text_reader.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace {

using zan::text_reader;

constexpr long most_text = 64L << 20; // bytes; a script that is longer is no script
constexpr long most_reports = 50;     // an evaluation that goes wrong everywhere says so this often
constexpr int most_nested = 64;       // scripts that run scripts

// What was read, never changed afterwards: an evaluation holds on to it while its
// messages may read something else into the object, or free it.
struct script {
    std::string name = "script"; // the file's, for reports
    std::vector<atom> atoms;
    std::vector<int32_t> lines; // one an atom
};

struct binbuf {
    object header;
    std::shared_ptr<script> contents; // null while nothing was read
};

zan_class *binbuf_class;

binbuf *binbuf_of(void *x)
{
    return zan::instance_of<binbuf>(x, binbuf_class);
}

void destroy(binbuf *b)
{
    std::destroy_at(&b->contents);
}

// ---- reading ----

long read_text(binbuf *b, const char *name, const char *text, long size)
{
    b->contents.reset();
    if (!text)
        return zan_err_invalid_ptr;
    if (size < 0)
        size = long(strlen(text));
    auto read = std::make_shared<script>();
    if (name && name[0])
        read->name = name;
    if (size > most_text) {
        object_error(b, "%s: %ld bytes are too many for a script (at most %ld)", read->name.c_str(), size,
                     most_text);
        return zan_err_generic;
    }
    text_reader reader{text, size_t(size)};
    if (size >= 3 && memcmp(text, "\xEF\xBB\xBF", 3) == 0)
        reader.at = 3; // a byte order mark
    if (const void *nul = memchr(text, 0, size_t(size))) {
        const char *end = static_cast<const char *>(nul);
        while (text + reader.at < end)
            reader.line += text[reader.at++] == '\n';
        object_error(b, "%s, line %ld: a zero byte: this is no text", read->name.c_str(), reader.line);
        return zan_err_generic;
    }
    std::string token;
    for (bool starts_message = true; zan::skip_blanks(reader);) {
        if (starts_message && zan::begins_comment({text + reader.at, size_t(size) - reader.at})) {
            zan::skip_line(reader);
            continue;
        }
        const long line = reader.line;
        atom a;
        zan::read_atom(reader, token, a);
        if (reader.unterminated) {
            object_error(b, "%s, line %ld: the quote \" that begins here has no end", read->name.c_str(), line);
            return zan_err_generic;
        }
        starts_message = a.type == argtype_semi;
        read->atoms.push_back(a);
        read->lines.push_back(int32_t(line));
    }
    b->contents = std::move(read);
    return zan_err_none;
}

// ---- running ----

class evaluation {
  public:
    evaluation(std::shared_ptr<const script> what, long count, const atom *arguments, void *to)
        : text(std::move(what)), argc(count), argv(arguments), receiver(to)
    {
    }

    zan_word run()
    {
        const std::vector<atom> &atoms = text->atoms;
        for (size_t i = 0; i < atoms.size();) {
            // a semicolon with no message ahead of it: the next message names its receiver
            bool named = !receiver;
            for (; i < atoms.size() && atoms[i].type == argtype_semi; i++)
                named = true;
            bool first = true;
            symbol *name = nullptr;
            for (bool more = i < atoms.size(); more;) {
                line = text->lines[i];
                words.clear();
                while (i < atoms.size() && atoms[i].type != argtype_semi && atoms[i].type != argtype_comma)
                    words.push_back(substituted(atoms[i++]));
                more = i < atoms.size() && atoms[i].type == argtype_comma;
                i += i < atoms.size();
                more = more && i < atoms.size();
                part(named, first, name);
                first = false;
            }
        }
        if (reports > most_reports)
            object_error(nullptr, "%s: %ld more errors", text->name.c_str(), reports - most_reports);
        return result;
    }

  private:
    atom substituted(const atom &a) const
    {
        atom to = a;
        if (a.type == argtype_dollar) {
            if (argv && a.value.as_long >= 1 && a.value.as_long <= argc)
                return argv[a.value.as_long - 1];
            atom_setlong(&to, 0);
        } else if (a.type == argtype_dollsym) {
            atom_setsym(&to, gensym(zan::substitute(a.value.as_sym->name, argc, argv).c_str()));
        }
        return to;
    }

    // One message: from a receiver's name to a comma, or from a comma to the next one.
    void part(bool named, bool first, symbol *&name)
    {
        if (words.empty())
            return;
        size_t from = 0;
        if (named && first) {
            if (words[0].type != argtype_sym) {
                std::string found;
                zan::append_atoms(found, 1, &words[0], 0);
                return report("expected the name of a receiver, found", found.c_str());
            }
            name = words[0].value.as_sym;
            from = 1;
        } else if (named && !name) {
            return; // the receiver's name was no name: reported
        }
        void *target = receiver;
        if (named) { // looked up for every message: one may take the receiver away
            if (!name->thing)
                return report("no receiver has the name", name->name);
            target = name->thing; // any word that someone keeps there, a function too
            if (!zan::looks_live(target))
                return report("what has this name takes no messages:", name->name);
        }
        deliver(target, long(words.size() - from), words.data() + from);
    }

    void deliver(void *target, long count, atom *message)
    {
        long from = 0;
        symbol *selector = zan::selector_of(count, message, &from);
        count -= from;
        message += from;
        if (zan::understands(target, selector)) {
            result = typedmess(target, selector, count, message);
            return;
        }
        const symbol *classname = object_classname(target);
        std::string what = std::string(classname ? classname->name : "object") + " has no message";
        zan::near_word near(selector->name);
        zan::consider_messages(near, target);
        report(what.c_str(), selector->name, near.best());
    }

    void report(const char *what, const char *word, std::string_view near = {})
    {
        if (++reports > most_reports)
            return;
        const std::string nearest = near.empty() ? "" : "; the nearest is \"" + std::string(near) + "\"";
        object_error(nullptr, "%s, line %ld: %s \"%.200s\"%s", text->name.c_str(), line, what, word,
                     nearest.c_str());
    }

    std::shared_ptr<const script> text;
    long argc;
    const atom *argv;
    void *receiver;
    std::vector<atom> words; // of the message that runs
    long line = 0;
    long reports = 0;
    zan_word result = 0;
};

thread_local int nested;

// While one lives, one more script runs: it ends also with what a message throws.
struct one_deeper {
    one_deeper() { nested++; }
    ~one_deeper() { nested--; }
    one_deeper(const one_deeper &) = delete;
    one_deeper &operator=(const one_deeper &) = delete;
};

zan_word clear(binbuf *b)
{
    b->contents.reset();
    return 0;
}

} // namespace

void zan::init_binbuf_class()
{
    zan_class *c = class_new("binbuf", zan::erase(&binbuf_new), zan::erase(&destroy), sizeof(binbuf), nullptr,
                             argtype_cant, 0);
    class_addmethod(c, zan::erase(&binbuf_read), "read", argtype_cant, 0);
    class_addmethod(c, zan::erase(&binbuf_settext), "settext", argtype_cant, 0);
    class_addmethod(c, zan::erase(&binbuf_eval), "eval", argtype_cant, 0);
    class_addmethod(c, zan::erase(&binbuf_getatoms), "getatoms", argtype_cant, 0);
    class_addmethod(c, zan::erase(&clear), "clear", argtype_cant, 0);
    class_register(nobox(), c);
    binbuf_class = c;
}

extern "C" {

void *binbuf_new(void)
{
    zan::boot();
    binbuf *b = static_cast<binbuf *>(object_alloc(binbuf_class));
    if (b)
        std::construct_at(&b->contents);
    return b;
}

short binbuf_read(void *x, const char *name, short path, short flags)
{
    binbuf *b = binbuf_of(x);
    if (!b || !name)
        return zan_err_invalid_ptr;
    zan_file_handle file = nullptr;
    if (const long error = path_opensysfile(name, path, &file, 1))
        return short(error); // the caller's to tell or to pass over
    long error = zan_err_generic, size = 0;
    if (sysfile_geteof(file, &size) == 0 && size > most_text) {
        object_error(b, "%s: %ld bytes are too many for a script (at most %ld)", name, size, most_text);
    } else if (zan_handle text = sysmem_newhandle(0)) {
        error = sysfile_readtextfile(file, text, most_text, 0);
        if (!error)
            error = [&] {
                try {
                    return read_text(b, name, *text, sysmem_handlesize(text));
                } catch (const std::bad_alloc &) {
                    return long(zan_err_out_of_mem);
                }
            }();
        sysmem_freehandle(text);
    } else {
        error = zan_err_out_of_mem;
    }
    sysfile_close(file);
    return short(error);
}

long binbuf_settext(void *x, const char *text, long size)
{
    binbuf *b = binbuf_of(x);
    if (!b)
        return zan_err_invalid_ptr;
    try {
        return read_text(b, nullptr, text, size);
    } catch (const std::bad_alloc &) {
        b->contents.reset();
        return zan_err_out_of_mem;
    }
}

void *binbuf_eval(void *x, long argc, atom *argv, void *receiver)
{
    binbuf *b = binbuf_of(x);
    if (!b || !b->contents)
        return nullptr;
    if (nested >= most_nested) {
        object_error(b, "%s: scripts run scripts more than %d deep", b->contents->name.c_str(), most_nested);
        return nullptr;
    }
    const one_deeper here;
    try {
        return reinterpret_cast<void *>(evaluation(b->contents, argc, argv, receiver).run());
    } catch (const std::bad_alloc &) {
        object_error(nullptr, "out of memory while a script ran");
        return nullptr;
    }
}

long binbuf_getatoms(void *x, long *argc, atom **argv)
{
    const binbuf *b = binbuf_of(x);
    if (argc)
        *argc = b && b->contents ? long(b->contents->atoms.size()) : 0;
    if (argv)
        *argv = b && b->contents ? b->contents->atoms.data() : nullptr;
    return b ? zan_err_none : zan_err_invalid_ptr;
}

} // extern "C"

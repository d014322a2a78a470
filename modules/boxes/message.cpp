// The box `message`: keeps a text in the syntax of scripts and sends it when it hears
// anything. $1, $2... stand for what it hears; a comma parts messages; behind a semicolon
// the next word names who gets the rest.
#include "box.h"

#include <cstring>
#include <new>

namespace boxes {
namespace {

// Where the messages of a text go that name nobody: to the box's outlet.
struct speaker : shell {
    void *outlet;
};

void speak(speaker *x, symbol *selector, long argc, atom *argv)
{
    outlet_anything(x->outlet, selector, argc, argv);
}

zan_class *speaker_class()
{
    static zan_class *const c = [] {
        zan_class *made = class_new("message", nullptr, nullptr, sizeof(speaker), nullptr, argtype_cant, 0);
        for (const char *word : {"bang", "int", "float", "list", "anything"})
            class_addmethod(made, erase(speak), word, argtype_gimme, 0);
        return made;
    }();
    return c;
}

// Atoms as script text. A patch's reader gives $1 and commas as marks of their own, or,
// where they were written with a backslash, as plain symbols; both are meant alike.
std::string script_of(std::span<const atom> atoms)
{
    std::string text;
    for (const atom &a : atoms) {
        const symbol *s = a.type == argtype_dollsym ? a.value.as_sym : atom_getsym(&a);
        const bool mark =
            s && (std::strchr(s->name, '$') || !std::strcmp(s->name, ",") || !std::strcmp(s->name, ";"));
        if (mark) {
            // a script with a receiver takes the word behind two semicolons for a name
            text += std::strcmp(s->name, ";") ? s->name : ";;";
        } else {
            long size = 0;
            char *one = nullptr;
            if (!atom_gettext(1, &a, &size, &one, zan_gettext_default) && one)
                text += one;
            sysmem_freeptr(one);
        }
        text += ' ';
    }
    return text;
}

struct message_box : box {
    std::string text;
    speaker *voice;

    explicit message_box(const birth &b)
        : box(b), text(script_of(b.args)), voice(static_cast<speaker *>(object_alloc(speaker_class())))
    {
        if (!voice)
            throw std::bad_alloc();
        shape(2, 1);
        voice->outlet = out[0];
    }
    ~message_box() override { object_free(voice); }

    void hear(long inlet, const message &m) override
    {
        const std::vector<atom> heard = atoms_of(m);
        const bool set = m.selector == words().set;
        if (inlet || set || m.selector == words().append) {
            const std::string given = script_of(std::span(heard).subspan(inlet ? 0 : 1));
            const std::lock_guard hold(lock);
            text = inlet || set ? given : text + given;
            return;
        }
        std::string now;
        {
            const std::lock_guard hold(lock);
            now = text;
        }
        // read anew each time: the text may change while its messages run
        void *script = binbuf_new();
        if (!binbuf_settext(script, now.c_str(), long(now.size())))
            binbuf_eval(script, long(heard.size()), const_cast<atom *>(heard.data()), voice);
        object_free(script);
    }
};

constexpr kind rows[] = {
    {"message",
     "Sends the message that is its text; $1, $2... in it are what it hears.",
     "the text",
     "anything",
     "anything sends the text; set and append change it|the text",
     "the message",
     make<message_box>,
     {},
     nullptr,
     true},
};

} // namespace

std::span<const kind> message_kinds()
{
    return rows;
}

} // namespace boxes

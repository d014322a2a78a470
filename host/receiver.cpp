// The object behind the name "zan": what patches and scripts say to the application
// as a whole. A headless host has no menu bar, cursor or browser; it keeps what it
// was told as attributes, where an embedder can read it.
#include "internal.h"

#include <cstddef>

namespace {

struct receiver {
    object header;
    zan_word menubar;       // 1 shown, 0 hidden
    zan_word cursor;        // 1 shown, 0 hidden
    zan_word pollthrottle;  // events a scheduler round
    zan_word queuethrottle; // events a round of the main queue
    symbol *page;           // what launchbrowser or html_ref asked for last
};

template <zan_word receiver::*field, zan_word value> void set_to(receiver *x)
{
    x->*field = value;
    object_notify(x, gensym("attr_modified"), nullptr);
}

template <zan_word receiver::*field> void set_positive(receiver *x, zan_word value)
{
    x->*field = value < 1 ? 1 : value;
    object_notify(x, gensym("attr_modified"), nullptr);
}

void set_page(receiver *x, symbol *, long argc, atom *argv)
{
    long size = 0;
    char *text = nullptr;
    if (atom_gettext(argc, argv, &size, &text, zan_gettext_sym_no_quote) || !text)
        return;
    x->page = gensym(text);
    sysmem_freeptr(text);
    object_notify(x, gensym("attr_modified"), nullptr);
}

// Messages that open windows elsewhere.
void nothing(receiver *, symbol *, long, atom *) {}

struct message_row {
    const char *name;
    zan_method fn;
    int tag;
};

struct attribute_row {
    const char *name;
    const char *type;
    size_t offset;
};
constexpr attribute_row attributes[] = {
    {"menubar", "long", offsetof(receiver, menubar)},
    {"cursor", "long", offsetof(receiver, cursor)},
    {"pollthrottle", "long", offsetof(receiver, pollthrottle)},
    {"queuethrottle", "long", offsetof(receiver, queuethrottle)},
    {"page", "symbol", offsetof(receiver, page)},
};

} // namespace

namespace zan {

void init_receiver()
{
    const message_row messages[] = {
        {"showmenubar", zan::erase(set_to<&receiver::menubar, 1>), argtype_nothing},
        {"hidemenubar", zan::erase(set_to<&receiver::menubar, 0>), argtype_nothing},
        {"showcursor", zan::erase(set_to<&receiver::cursor, 1>), argtype_nothing},
        {"hidecursor", zan::erase(set_to<&receiver::cursor, 0>), argtype_nothing},
        {"setpollthrottle", zan::erase(set_positive<&receiver::pollthrottle>), argtype_long},
        {"setqueuethrottle", zan::erase(set_positive<&receiver::queuethrottle>), argtype_long},
        {"launchbrowser", zan::erase(set_page), argtype_gimme},
        {"html_ref", zan::erase(set_page), argtype_gimme},
        {"openfilefront", zan::erase(nothing), argtype_gimme},
    };
    zan_class *c = class_new("zan", nullptr, nullptr, sizeof(receiver), nullptr, 0);
    for (const message_row &row : messages)
        class_addmethod(c, row.fn, row.name, row.tag, 0);
    for (const attribute_row &row : attributes)
        class_addattr(c, attr_offset_new(row.name, gensym(row.type), 0, nullptr, nullptr, long(row.offset)));
    class_register(nobox(), c);

    auto *x = static_cast<receiver *>(object_alloc(c));
    if (!x)
        return;
    x->menubar = 1;
    x->cursor = 1;
    x->pollthrottle = 20;
    x->queuethrottle = 10;
    x->page = gensym("");
    gensym("zan")->thing = x;
}

} // namespace zan

// A box that writes down what it hears.
#pragma once
#include <zan/host.h>

#include "kernel/quick_class.h"
#include "matrix/matrix_tools.h"

using heard = std::vector<std::string>;

inline std::string text_of(symbol *selector, long argc, const atom *argv)
{
    char text[4096] = "";
    if (argc)
        atoms_totext(argc, argv, text, sizeof text);
    return selector->name + std::string(argc ? " " : "") + text;
}

struct sink {
    object ob;
    heard *all;
    long outlet; // the number before each message, if it isn't negative
};

inline sink *new_sink(heard *all, long outlet = -1)
{
    static zan_class *const c = [] {
        zan_class *made = class_new("test_sink", nullptr, nullptr, sizeof(sink), nullptr, 0);
        const auto hear = [](sink *x, symbol *s, long argc, atom *argv) {
            x->all->push_back((x->outlet < 0 ? "" : std::to_string(x->outlet) + ": ") + text_of(s, argc, argv));
        };
        class_addmethod(made, erase(hear), "anything", argtype_gimme, 0);
        return made;
    }();
    auto *x = static_cast<sink *>(object_alloc(c));
    x->all = all;
    x->outlet = outlet;
    return x;
}

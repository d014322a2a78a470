// Classes of a test's own through the public interface: messages and attributes in one line
// each. They are made once and kept.
#pragma once
#include "host/kernel_fixture.h"
#include <cstddef>
#include <string>
#include <vokra/vokra.h>
#include <zan/zan.h>

template <typename Fn> zan_method erase(Fn fn)
{
    return reinterpret_cast<zan_method>(+fn);
}

// What a message that fills in an array answers, as text.
template <typename... Words> std::string answer(void *x, const char *message, Words... words)
{
    long argc = 0;
    atom *argv = nullptr;
    EXPECT_EQ(send(x, message, words..., &argc, &argv), 0) << message;
    const std::string text = text_of(argc, argv);
    sysmem_freeptr(argv);
    return text;
}

struct quick_class {
    zan_class *c;

    // Instances are plain: no constructor runs.
    quick_class(const char *name, long size, zan_method free_fn = nullptr)
        : c(vok_class_new(name, nullptr, free_fn, size, argtype_cant, 0))
    {
    }
    template <typename Fn> quick_class &message(const char *name, Fn fn, int tag = argtype_cant)
    {
        vok_class_addmethod(c, erase(fn), name, tag, 0);
        return *this;
    }
    quick_class &value(const char *name, const char *type, long offset, long flags = 0)
    {
        vok_class_addattr(c, vok_attr_offset_new(name, gensym(type), flags, nullptr, nullptr, offset));
        return *this;
    }
    quick_class &array(const char *name, const char *type, long offset, long size, long count)
    {
        vok_class_addattr(c,
                          vok_attr_offset_array_new(name, gensym(type), size, 0, nullptr, nullptr, count, offset));
        return *this;
    }
    template <typename T> T *make() const { return static_cast<T *>(vok_object_alloc(c)); }
};

// Writes down what it is sent, and what others notify it of, with the attribute that is meant.
struct diary {
    object header;
    std::vector<std::string> *heard;
};

inline diary *new_diary(std::vector<std::string> &heard)
{
    const auto note = [](diary *x, symbol *selector, long argc, atom *argv) {
        x->heard->push_back(selector->name + (argc ? " " + text_of(argc, argv) : ""));
    };
    const auto notify = [](diary *x, symbol *, symbol *message, void *, void *attr) {
        auto *name = reinterpret_cast<symbol *>(send(attr, "getname"));
        x->heard->push_back(std::string(message->name) + (name ? std::string(" ") + name->name : ""));
    };
    static const quick_class k = quick_class("vok_diary", sizeof(diary))
                                     .message("anything", note, argtype_gimme)
                                     .message("clear", [](diary *x) { x->heard->push_back("clear"); })
                                     .message("notify", notify);
    auto *x = k.make<diary>();
    x->heard = &heard;
    return x;
}

// Classes of a test's own through the public interface: private messages and attributes in
// one line each.
#pragma once
#include "host/kernel_fixture.h"
#include <vokra/vokra.h>

template <typename Fn> zan_method erase(Fn fn)
{
    return reinterpret_cast<zan_method>(+fn);
}

// What a message that fills in an array answers, as text.
template <typename... Words> std::string answer(void *x, symbol *message, Words... words)
{
    long argc = 0;
    atom *argv = nullptr;
    EXPECT_EQ(vok_object_method(x, message, words..., &argc, &argv), 0) << message->name;
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
    template <typename Fn> quick_class &message(const char *name, Fn fn)
    {
        vok_class_addmethod(c, erase(fn), name, argtype_cant, 0);
        return *this;
    }
    void *value(const char *name, const char *type, long offset, long flags = 0)
    {
        void *attr = vok_attr_offset_new(name, gensym(type), flags, nullptr, nullptr, offset);
        vok_class_addattr(c, attr);
        return attr;
    }
    void *array(const char *name, const char *type, long offset, long size, long count, zan_method set = nullptr)
    {
        void *attr = vok_attr_offset_array_new(name, gensym(type), size, 0, nullptr, set, count, offset);
        vok_class_addattr(c, attr);
        return attr;
    }
};

// What the files of the attribute classes share: how a value of each type is read into an
// atom and written from one, and the first eight fields of all attribute records.
#pragma once
#include <span>

#include <vokra/attributes.h>
#include <vokra/kernel.h>

#include "kernel/class_table.h"

namespace vok {

struct element_type {
    symbol *const *type;
    long size;
    void (*read)(const char *value, atom *a);
    void (*write)(char *value, const atom *a);
};

// Null, with a post, for a type that attributes don't have.
const element_type *find_element_type(symbol *type);

using attr_getter = vok_err (*)(void *x, void *attr, long *argc, atom **argv);
using attr_setter = vok_err (*)(void *x, void *attr, long argc, atom *argv);

// Fills the fields that all attribute records begin with.
void init_attribute(void *attr, const char *name, symbol *type, long flags, zan_method get, zan_method set);
// A new object of the same class with the same fields behind the header and filters of
// its own; null when memory is out.
void *clone_attribute(void *attr, long size);
void free_filters(void *attr);

// A class of attributes, with the messages of all and then its own.
zan_class *make_attribute_class(const char *name, function new_fn, function free_fn, long size,
                                std::span<const message> own);

// The classes, made by vok_attr_init in this order.
void init_attribute_class();
void init_attr_offset_class();
void init_attr_offset_array_class();
void init_attr_filter_classes();

} // namespace vok

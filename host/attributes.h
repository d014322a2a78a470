// How the record of an attribute begins behind its header. The host's own attributes
// are laid out so, and others may be.
#pragma once
#include "kernel.h"

namespace zan {

enum attribute_flags : long {
    attr_get_opaque = 1,          // can't be got at all
    attr_set_opaque = 2,          // can't be set at all
    attr_get_opaque_user = 0x100, // not by users; by code it can
    attr_set_opaque_user = 0x200,
    attr_dirty = 0x20000000, // touched since whoever keeps the mark cleared it
};

struct attribute_head {
    object header;
    symbol *name;      // byte 32
    symbol *type;      // 40
    long flags;        // 48
    zan_method get;    // (object, attr, &argc, &argv)
    zan_method set;    // (object, attr, argc, argv)
    object *filterget; // rewrites what was got; owned
    object *filterset; // rewrites what will be set; owned
    zan_word reserved; // zero
};
static_assert(offsetof(attribute_head, name) == 32 && offsetof(attribute_head, flags) == 48);

} // namespace zan

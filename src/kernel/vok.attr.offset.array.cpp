// The class vok_attr_offset_array: several values at a byte offset in the object, either
// always `size` of them or as many as a long elsewhere in the object says.
#include <algorithm>
#include <cstring>

#include <zan/zan.h>

#include <vokra/commonsyms.h>

#include "kernel/atoms.h"
#include "kernel/attribute.h"
#include "kernel/message.h"

namespace vok {

namespace {

zan_class *attr_offset_array_class;

template <long vok_attr_offset_array::*Field> vok_err set_field(vok_attr_offset_array *x, long value)
{
    if (!x)
        return VOK_ERR_INVP;
    x->*Field = value;
    return VOK_ERR_NONE;
}

template <long vok_attr_offset_array::*Field> zan_word get_field(vok_attr_offset_array *x)
{
    return x ? x->*Field : 0;
}

void *clone(vok_attr_offset_array *x)
{
    return clone_attribute(x, sizeof *x);
}

using array = vok_attr_offset_array;
constexpr message messages[] = {
    {"offset", fn<set_field<&array::offset>>, {argtype_cant}},
    {"getoffset", fn<get_field<&array::offset>>, {argtype_cant}},
    {"offsetcount", fn<set_field<&array::offsetcount>>, {argtype_cant}},
    {"getoffsetcount", fn<get_field<&array::offsetcount>>, {argtype_cant}},
    {"size", fn<set_field<&array::size>>, {argtype_cant}},
    {"getsize", fn<get_field<&array::size>>, {argtype_cant}},
    {"object_clone", fn<clone>, {argtype_cant}},
};

long *count_of(void *x, const vok_attr_offset_array *a)
{
    return a->offsetcount ? reinterpret_cast<long *>(static_cast<char *>(x) + a->offsetcount) : nullptr;
}

} // namespace

void init_attr_offset_array_class()
{
    attr_offset_array_class =
        make_attribute_class("vok_attr_offset_array", fn<vok_attr_offset_array_new>, fn<vok_attr_offset_free>,
                             sizeof(vok_attr_offset_array), messages);
}

} // namespace vok

void *vok_attr_offset_array_new(const char *name, symbol *type, long size, long flags, zan_method get,
                                zan_method set, long offsetcount, long offset)
{
    auto *x = static_cast<vok_attr_offset_array *>(vok_object_alloc(vok::attr_offset_array_class));
    if (!x)
        return nullptr;
    vok::init_attribute(x, name, type, flags, get ? get : vok::method(vok_attr_offset_array_get),
                        set ? set : vok::method(vok_attr_offset_array_set));
    x->offset = offset;
    x->size = size;
    x->offsetcount = offsetcount;
    return x;
}

vok_err vok_attr_offset_array_get(void *x, void *attr, long *argc, atom **argv)
{
    const auto *a = static_cast<vok_attr_offset_array *>(attr);
    if (!x || !a || !argc || !argv)
        return VOK_ERR_INVP;
    const vok::element_type *type = vok::find_element_type(a->type);
    if (!type) {
        *argc = 0;
        return VOK_ERR_EROR;
    }
    const long *counted = vok::count_of(x, a);
    const long count = counted ? std::clamp(*counted, 0L, std::max(a->size, 0L)) : std::max(a->size, 0L);
    if (const vok_err err = vok::reserve_atoms(count, argc, argv))
        return err;
    const char *values = static_cast<const char *>(x) + a->offset;
    for (long i = 0; i < *argc; ++i)
        type->read(values + i * type->size, *argv + i);
    return VOK_ERR_NONE;
}

vok_err vok_attr_offset_array_set(void *x, void *attr, long argc, atom *argv)
{
    const auto *a = static_cast<vok_attr_offset_array *>(attr);
    if (!x || !a)
        return VOK_ERR_INVP;
    const vok::element_type *type = vok::find_element_type(a->type);
    if (!type)
        return VOK_ERR_EROR;
    const long count = argv ? std::clamp(argc, 0L, std::max(a->size, 0L)) : 0;
    char *values = static_cast<char *>(x) + a->offset;
    for (long i = 0; i < count; ++i)
        type->write(values + i * type->size, argv + i);
    if (long *counted = vok::count_of(x, a))
        *counted = count;
    else if (a->type != _vok_sym_atom && count < a->size)
        std::memset(values + count * type->size, 0, static_cast<size_t>((a->size - count) * type->size));
    return VOK_ERR_NONE;
}

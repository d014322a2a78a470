// The class vok_attr_offset: one value, at a byte offset in the object that has the
// attribute. Most properties of the library's objects are declared with it.
#include <zan/zan.h>

#include <vokra/commonsyms.h>

#include "kernel/atoms.h"
#include "kernel/attribute.h"
#include "kernel/message.h"

namespace vok {

namespace {

zan_class *attr_offset_class;

zan_word get_size(vok_attr_offset *)
{
    return 1;
}

vok_err set_offset(vok_attr_offset *x, long offset)
{
    if (!x)
        return VOK_ERR_INVP;
    x->offset = offset;
    return VOK_ERR_NONE;
}

zan_word get_offset(vok_attr_offset *x)
{
    return x ? x->offset : 0;
}

void *clone(vok_attr_offset *x)
{
    return clone_attribute(x, sizeof *x);
}

constexpr message messages[] = {
    {"getsize", fn<get_size>, {argtype_cant}},
    {"offset", fn<set_offset>, {argtype_cant}},
    {"getoffset", fn<get_offset>, {argtype_cant}},
    {"object_clone", fn<clone>, {argtype_cant}},
};

} // namespace

void init_attr_offset_class()
{
    attr_offset_class = make_attribute_class("vok_attr_offset", fn<vok_attr_offset_new>, fn<vok_attr_offset_free>,
                                             sizeof(vok_attr_offset), messages);
}

} // namespace vok

void *vok_attr_offset_new(const char *name, symbol *type, long flags, zan_method get, zan_method set, long offset)
{
    auto *x = static_cast<vok_attr_offset *>(vok_object_alloc(vok::attr_offset_class));
    if (!x)
        return nullptr;
    vok::init_attribute(x, name, type, flags, get ? get : vok::method(vok_attr_offset_get),
                        set ? set : vok::method(vok_attr_offset_set));
    x->offset = offset;
    return x;
}

void vok_attr_offset_free(void *attr)
{
    vok::free_filters(attr);
}

vok_err vok_attr_offset_get(void *x, void *attr, long *argc, atom **argv)
{
    const auto *a = static_cast<vok_attr_offset *>(attr);
    if (!x || !a || !argc || !argv)
        return VOK_ERR_INVP;
    const vok::element_type *type = vok::find_element_type(a->type);
    if (!type) {
        *argc = 0;
        return VOK_ERR_EROR;
    }
    if (const vok_err err = vok::reserve_atoms(1, argc, argv))
        return err;
    type->read(static_cast<const char *>(x) + a->offset, *argv);
    return VOK_ERR_NONE;
}

vok_err vok_attr_offset_set(void *x, void *attr, long argc, atom *argv)
{
    const auto *a = static_cast<vok_attr_offset *>(attr);
    if (!x || !a || argc <= 0 || !argv)
        return VOK_ERR_INVP;
    const vok::element_type *type = vok::find_element_type(a->type);
    if (!type)
        return VOK_ERR_EROR;
    type->write(static_cast<char *>(x) + a->offset, argv);
    return VOK_ERR_NONE;
}

// The messages importattrs and exportattrs that every class has: user-settable
// attributes as elements of a small XML file. The document is reached by class name and
// messages, so a library without it answers 0.
#include <algorithm>
#include <new>
#include <string>

#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "kernel/atoms.h"
#include "kernel/message.h"

namespace {

// An object that goes when its owner does.
struct owned_object {
    void *x;
    explicit owned_object(void *made) : x(made) {}
    owned_object(const owned_object &) = delete;
    owned_object &operator=(const owned_object &) = delete;
    ~owned_object()
    {
        if (x)
            vok_object_free(x);
    }
};

void *new_document()
{
    return vok::make(ps_vokra, gensym("vok_xml_document"));
}

void set_text(void *element, const char *name, symbol *text)
{
    atom a;
    atom_setsym(&a, text);
    vok::send(element, gensym("setattribute"), gensym(name), 1, &a);
}

void export_attribute(void *x, symbol *name, void *document, void *root)
{
    void *attr = object_attr_get(x, name);
    if (!attr || !vok::send(attr, gensym("usercanset")) || !vok::send(attr, gensym("usercanget")))
        return;
    symbol *attrname = vok::ask<symbol>(attr, _vok_sym_getname);
    if (!attrname)
        return;
    void *element = vok::ask<void>(document, gensym("createelement"), gensym("attribute"));
    if (!element)
        return;
    set_text(element, "name", attrname);
    vok::atom_array value;
    object_attr_getvalueof(x, attrname, &value.argc, &value.argv);
    if (value.argc > 0 && value.argv)
        vok::send(element, gensym("setattribute"), gensym("value"), value.argc, value.argv);
    vok::send(root, gensym("appendchild"), element);
}

} // namespace

vok_err vok_object_exportattrs(void *x, symbol *, long argc, atom *argv)
try {
    if (!x)
        return VOK_ERR_INVP;
    owned_object document(new_document());
    if (!document.x)
        return VOK_ERR_NONE;
    void *root = vok::ask<void>(document.x, gensym("createelement"), gensym("tarnobject"));
    if (!root)
        return VOK_ERR_NONE;
    vok::send(document.x, gensym("appendchild"), root);

    if (symbol *classname = object_classname(x)) {
        std::string dotted = classname->name;
        std::replace(dotted.begin(), dotted.end(), '_', '.');
        set_text(root, "class", gensym(dotted.c_str()));
    }

    long count = 0;
    symbol **names = nullptr;
    object_attr_getnames(x, &count, &names);
    if (names) {
        symbolarray_sort(names, count);
        for (long i = 0; i < count; ++i)
            export_attribute(x, names[i], document.x, root);
        sysmem_freeptr(names);
    }
    vok::send(document.x, gensym("write"), nullptr, argc, argv);
    return VOK_ERR_NONE;
} catch (const std::bad_alloc &) {
    return VOK_ERR_OMEM;
}

vok_err vok_object_importattrs(void *x, symbol *selector, long argc, atom *argv)
{
    owned_object document(new_document());
    if (!document.x)
        return VOK_ERR_NONE;
    if (vok::send(document.x, gensym("read"), selector, argc, argv))
        vok_object_error(x, "vok_object_importattrs: error reading import file"); // what was read is used

    void *elements = vok::ask<void>(document.x, gensym("getelementsbytagname"), gensym("attribute"));
    if (!elements)
        return VOK_ERR_NONE;
    const long count = linklist_getsize(elements);
    for (long i = 0; i < count; ++i) {
        void *element = linklist_getindex(elements, i);
        vok::atom_array name, value;
        vok::send(element, gensym("getattribute"), gensym("name"), &name.argc, &name.argv);
        vok::send(element, gensym("getattribute"), gensym("value"), &value.argc, &value.argv);
        symbol *s = name.argc > 0 && name.argv ? atom_getsym(name.argv) : nullptr;
        if (s && s != _vok_sym_nothing)
            object_attr_setvalueof(x, s, value.argc, value.argv);
    }
    linklist_chuck(elements);
    return VOK_ERR_NONE;
}

vok_err vok_object_exportsummary(void *, symbol *, long, atom *)
{
    return VOK_ERR_NONE;
}

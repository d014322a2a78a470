// Attributes of a box: its own, kept on a list of its class or of itself, and those of
// its library object; the "@name value" part of its arguments; what getattributes and
// getstate send.
#include <algorithm>

#include <vokra/attributes.h>
#include <vokra/commonsyms.h>

#include "bridge/box.h"

namespace vok {

attr_names::attr_names(void *o)
{
    object_attr_getnames(o, &count, &names);
    if (names)
        symbolarray_sort(names, count);
}

symbol *attr_name(void *attr)
{
    auto *name = ask<symbol>(attr, _vok_sym_getname);
    return name ? name : _vok_sym_nothing;
}

bool user_can_get(void *attr)
{
    return send(attr, ps_usercanget) != 0;
}

bool user_can_set(void *attr)
{
    return send(attr, ps_usercanset) != 0;
}

namespace {

zan_method attr_function(void *attr, symbol *direction)
{
    return reinterpret_cast<zan_method>(send(attr, _vok_sym_getmethod, direction));
}

// Codes of the host's own attributes count as the library's.
vok_err as_code(zan_word result)
{
    return result < 0 ? vok_err_from_zan_err(result) : result;
}

void *find_box_attr(void *x, symbol *name)
{
    void *list = zan_vok_obex_attrlist_get(x);
    void *found = nullptr;
    if (list)
        linklist_findfirst(list, &found, vok_attr_symcompare, name);
    return found;
}

// Through the box's message, which its class may have taken over.
void reply(void *x, symbol *name, const atom_array &value)
{
    if (zan_method fn = zgetfn(x, ps_dumpout))
        reinterpret_cast<void (*)(void *, symbol *, long, atom *)>(fn)(x, name, value.argc, value.argv);
}

} // namespace

vok_err attr_read(void *owner, void *attr, long *argc, atom **argv)
{
    zan_method fn = attr_function(attr, _vok_sym_get);
    return fn ? as_code(
                    reinterpret_cast<zan_word (*)(void *, void *, long *, atom **)>(fn)(owner, attr, argc, argv))
              : long{VOK_ERR_EROR};
}

vok_err attr_write(void *owner, void *attr, long argc, atom *argv)
{
    zan_method fn = attr_function(attr, _vok_sym_set);
    return fn ? as_code(reinterpret_cast<zan_word (*)(void *, void *, long, atom *)>(fn)(owner, attr, argc, argv))
              : long{VOK_ERR_EROR};
}

} // namespace vok

using vok::find_box_attr;
using vok::wrap_target;

// ---- the lists ----

namespace {

void add_messages_of(const wrap_target &to, void *attr)
{
    to.add_attribute(attr, vok::method(zan_vok_obex_attr_set), vok::method(zan_vok_obex_attr_getdump));
}

vok_err append(zan_vok_classex *classex, void *attr)
{
    if (!classex || !attr)
        return VOK_ERR_EROR;
    if (!classex->attrlist)
        classex->attrlist = linklist_new();
    if (!classex->attrlist)
        return VOK_ERR_OMEM;
    linklist_append(classex->attrlist, attr);
    return VOK_ERR_NONE;
}

// The box's own list, made from its class's at first need; null when memory is out.
void *own_attrlist(void *x)
{
    void *list = nullptr;
    if (!object_obex_lookup(x, ps_zan_vok_attrlist, &list) && list)
        return list;
    list = linklist_new();
    if (!list)
        return nullptr;
    if (zan_vok_classex *classex = zan_vok_classex_get(x); classex && classex->attrlist)
        linklist_funall(classex->attrlist, zan_vok_object_attr_duplicateretain, list);
    if (!object_obex_store(x, ps_zan_vok_attrlist, list)) // freed with the box
        return list;
    object_free(list);
    return nullptr;
}

} // namespace

vok_err zan_vok_classex_addattr(zan_vok_classex *classex, void *attr)
{
    const vok_err err = append(classex, attr);
    if (!err)
        add_messages_of({}, attr);
    return err;
}

vok_err zan_vok_class_addattr(zan_class *c, void *attr)
{
    const vok_err err =
        append(reinterpret_cast<zan_vok_classex *>(class_method(c, _vok_sym_zan_vok_classex)), attr);
    if (!err)
        add_messages_of(wrap_target::to_class(c), attr);
    return err;
}

vok_err zan_vok_object_addattr(void *x, void *attr)
{
    if (!x || !attr)
        return VOK_ERR_EROR;
    void *list = own_attrlist(x);
    if (!list)
        return VOK_ERR_OMEM;
    linklist_append(list, attr);
    add_messages_of(wrap_target::to_box(x), attr);
    return VOK_ERR_NONE;
}

void zan_vok_object_attr_duplicateretain(void *attr, void *list)
{
    object_retain(attr);
    linklist_append(list, attr);
}

void *zan_vok_obex_attrlist_get(void *x)
{
    void *list = nullptr;
    if (!object_obex_lookup(x, ps_zan_vok_attrlist, &list) && list)
        return list;
    zan_vok_classex *classex = zan_vok_classex_get(x);
    return classex ? classex->attrlist : nullptr;
}

long vok_attr_symcompare(void *attr, void *name)
{
    return attr && vok::attr_name(attr) == name;
}

// ---- of the library object ----

vok_err zan_vok_attr_set(void *x, symbol *selector, long argc, atom *argv)
{
    void *o = zan_vok_obex_vokob_get(x);
    const vok_err err = vok::send(o, selector, argc, argv);
    if (void *attr = o ? vok_object_attr_get(o, selector) : nullptr) {
        // only our own records are known to hold their flags there
        if (vok::send(attr, _vok_sym_class_vok_attribute) == 1)
            static_cast<vok_attribute *>(attr)->flags |= vok_attrflag_dirty;
        object_notify(x, ps_attr_modified, attr);
    }
    return err;
}

vok_err zan_vok_attr_get(void *x, symbol *attrname, long *argc, atom **argv)
{
    if (attrname)
        vok::send(zan_vok_obex_vokob_get(x), vok::affixed("get", attrname, ""), argc, argv);
    return VOK_ERR_NONE;
}

vok_err zan_vok_attr_getdump(void *x, symbol *selector, long, atom *)
{
    symbol *name = vok::without_get(selector);
    vok::atom_array value;
    zan_vok_attr_get(x, name, &value.argc, &value.argv);
    vok::reply(x, name, value);
    return VOK_ERR_NONE;
}

// ---- of the box itself ----

vok_err zan_vok_obex_attr_set(void *x, symbol *attrname, long argc, atom *argv)
{
    void *attr = find_box_attr(x, attrname);
    if (!attr)
        return VOK_ERR_EROR;
    const vok_err err = vok::attr_write(x, attr, argc, argv);
    object_notify(x, ps_attr_modified, attr);
    if (void *box = zan_vok_obex_box_get(x); box && box != x)
        object_notify(box, ps_attr_modified, attr);
    return err;
}

vok_err zan_vok_obex_attr_get(void *x, symbol *attrname, long *argc, atom **argv)
{
    if (!zan_vok_obex_attrlist_get(x))
        return VOK_ERR_EROR;
    void *attr = find_box_attr(x, attrname);
    return attr ? vok::attr_read(x, attr, argc, argv) : 0;
}

vok_err zan_vok_obex_attr_getdump(void *x, symbol *selector, long, atom *)
{
    symbol *name = vok::without_get(selector);
    vok::atom_array value;
    if (const vok_err err = zan_vok_obex_attr_get(x, name, &value.argc, &value.argv))
        vok_error_code(x, err);
    else
        vok::reply(x, name, value);
    return VOK_ERR_NONE;
}

vok_err zan_vok_obex_attr_method_direct(void *x, symbol *attrname, long argc, atom *argv)
{
    void *attr = find_box_attr(x, attrname);
    return attr ? vok::attr_write(x, attr, argc, argv) : long{VOK_ERR_EROR};
}

long zan_vok_obex_attr_usercanset(void *x, symbol *attrname)
{
    void *attr = find_box_attr(x, attrname);
    return attr && vok::user_can_set(attr);
}

// ---- of both ----

vok_err zan_vok_obex_attr_getnames(void *x, long *count, symbol ***names)
{
    if (!count || !names)
        return VOK_ERR_INVP;
    *count = 0;
    *names = nullptr;
    void *list = zan_vok_obex_attrlist_get(x);
    const vok::attr_names inner(zan_vok_obex_vokob_get(x));
    const long total = (list ? linklist_getsize(list) : 0) + inner.size();
    if (!total)
        return VOK_ERR_NONE;
    *names = static_cast<symbol **>(sysmem_newptr(total * long{sizeof(symbol *)}));
    if (!*names)
        return VOK_ERR_OMEM;
    vok::for_each_box_attr(x, [&](void *attr) { (*names)[(*count)++] = vok::attr_name(attr); });
    std::copy(inner.begin(), inner.end(), *names + *count);
    *count += inner.size();
    return VOK_ERR_NONE;
}

void *zan_vok_obex_attr_getobject(void *x, symbol *attrname)
{
    if (void *attr = find_box_attr(x, attrname))
        return attr;
    void *o = zan_vok_obex_vokob_get(x);
    return o ? vok_object_attr_get(o, attrname) : nullptr;
}

void *zan_vok_obex_attr_gettarget(void *x, symbol *attrname)
{
    if (find_box_attr(x, attrname))
        return x;
    void *o = zan_vok_obex_vokob_get(x);
    return o && vok_object_attr_get(o, attrname) ? o : nullptr;
}

// ---- arguments ----

namespace {

bool is_attr_word(const atom &a)
{
    const symbol *s = a.type == argtype_sym ? a.value.as_sym : nullptr;
    return s && s->name[0] == '@';
}

// One "@name" with its values: the box's attribute, else the object's, else one of the
// object's methods that may be named so, else attrindex.
void take_attr_arg(void *x, symbol *name, long argc, atom *argv)
{
    void *o = zan_vok_obex_vokob_get(x);
    if (zan_vok_obex_attr_usercanset(x, name)) {
        zan_vok_obex_attr_method_direct(x, name, argc, argv);
    } else if (o && vok_object_attr_usercanset(o, name)) {
        vok::send(o, name, argc, argv);
    } else if (symbol *method = o ? vok_object_method_argsafe_get(o, name) : nullptr) {
        object_method_typed(o, method, argc, argv, nullptr);
    } else if (name == ps_attrindex) {
        zan_vok_attrindex(x, name, argc, argv);
    } else {
        vok_object_error(x, "%s: \"%s\" is not a valid attribute argument", object_classname(x)->name, name->name);
    }
}

} // namespace

long zan_vok_attr_args_offset(long argc, const atom *argv)
{
    return attr_args_offset(argc, argv);
}

vok_err zan_vok_attr_args(void *x, long argc, atom *argv)
{
    if (!argv || argc < 0 || !zan_vok_obex_get(x))
        return VOK_ERR_NONE;
    const auto next_word = [&](long i) { return std::find_if(argv + i, argv + argc, is_attr_word) - argv; };
    for (long i = next_word(0); i < argc;) {
        const long end = next_word(i + 1);
        take_attr_arg(x, gensym(argv[i].value.as_sym->name + 1), end - i - 1, argv + i + 1);
        i = end;
    }
    return VOK_ERR_NONE;
}

vok_err zan_vok_attrindex(void *x, symbol *, long argc, atom *argv)
{
    constexpr long most = 65536; // a slip of the pen must not take all memory
    symbol *name = argc > 0 && argv ? vok_atom_getsym(argv) : _vok_sym_nothing;
    const long index = argc > 1 && argv ? atom_getlong(argv + 1) : 0;
    atom value;
    atom_setlong(&value, 0);
    if (argc > 2 && argv)
        value = argv[2];
    void *attr = zan_vok_obex_attr_getobject(x, name);
    vok::atom_array old;
    if (attr)
        vok::attr_read(zan_vok_obex_attr_gettarget(x, name), attr, &old.argc, &old.argv);
    else // an object from before attributes has a pair of messages
        zan_vok_attr_get(x, name, &old.argc, &old.argv);
    if (!attr && !old.argc)
        return VOK_ERR_EROR;
    if (index < 0 || index >= most) {
        vok_error_code(x, VOK_ERR_OBND);
        return VOK_ERR_OBND;
    }
    const long count = std::max(old.argc, index + 1);
    auto *atoms = static_cast<atom *>(sysmem_newptr(count * long{sizeof(atom)}));
    if (!atoms)
        return VOK_ERR_OMEM;
    std::copy_n(old.argv, old.argc, atoms);
    for (long i = old.argc; i < count; ++i)
        atom_setlong(atoms + i, 0);
    atoms[index] = value;
    typedmess(x, name, count, atoms); // so that the change goes the usual way
    sysmem_freeptr(atoms);
    return VOK_ERR_NONE;
}

// ---- getattributes and getstate ----

vok_err zan_vok_object_attr_dump(void *x, symbol *, long, atom *)
{
    constexpr long most = 256;
    atom names[most];
    long count = 0;
    vok::for_each_attr(x, [&](void *, void *attr) {
        if (count < most && (vok::user_can_set(attr) || vok::user_can_get(attr)))
            atom_setsym(names + count++, vok::attr_name(attr));
    });
    zan_vok_obex_dumpout(x, ps_attributes, count, names);
    return VOK_ERR_NONE;
}

vok_err zan_vok_object_state_dump(void *x, symbol *, long, atom *)
{
    vok::for_each_attr(x, [x](void *owner, void *attr) {
        if (!vok::user_can_get(attr))
            return;
        vok::atom_array value;
        vok::attr_read(owner, attr, &value.argc, &value.argv);
        zan_vok_obex_dumpout(x, vok::attr_name(attr), value.argc, value.argv);
    });
    return VOK_ERR_NONE;
}

symbol *vok2zantype(symbol *type)
{
    if (type == _vok_sym_char || type == _vok_sym_long)
        return ps_int;
    if (type == _vok_sym_float32 || type == _vok_sym_float64)
        return ps_float;
    return type;
}

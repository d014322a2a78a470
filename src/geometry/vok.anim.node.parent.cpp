// How nodes find each other: the names of a node, its parent and its target, and the list
// of its children. A parent is a name until an update attaches the node to it.
#include <utility>

#include <vokra/attributes.h>
#include <vokra/kernel.h>
#include <zan/zan.h>

#include "geometry/anim_node.h"
#include "kernel/message.h"

namespace vok::anim {
namespace {

// fn(child) for each; it may change the list, and who has left it is passed over.
template <typename F> void each_child(const vok_anim_node *x, F fn)
{
    linklist_funallsafe(
        x->children, [](void *child, void *f) { (*static_cast<F *>(f))(child); }, &fn);
}

void tell_anim(void *child, symbol *name)
{
    atom a;
    atom_setsym(&a, name);
    send(child, _vok_sym_anim, 1, &a);
}

symbol *parent_name(void *x)
{
    const vok_anim_node *node = as_node(x);
    return node ? node->anim : vok_attr_getsym(x, _vok_sym_anim);
}

// Whether the way up from `parent` leads to x. The way may end in a circle without x; a
// mark that is moved on after 1, 2, 4, ... steps is met again then (Brent, An Improved
// Monte Carlo Factorization Algorithm, 1980). `ends`: it reached a root.
bool descends(void *parent, const vok_anim_node *x, bool *ends)
{
    const void *mark = nullptr;
    long steps = 0, limit = 1;
    for (void *at = parent; at;) {
        symbol *next = parent_name(at);
        if (next == x->name)
            return true;
        if (is_nothing(next))
            break;
        at = vok_object_findregistered(next);
        if (at && at == mark)
            return false;
        if (++steps == limit) {
            mark = at;
            limit *= 2;
            steps = 0;
        }
    }
    *ends = true;
    return false;
}

void wrong_class(const vok_anim_node *x)
{
    vok_object_error(const_cast<vok_anim_node *>(x), "%s exists but is wrong class", x->target->name);
}

} // namespace

void *target_of(const vok_anim_node *x, bool report)
{
    void *target = is_nothing(x->target) ? nullptr : vok_object_findregistered(x->target);
    if (target && !vok_object_attr_get(target, _vok_sym_anim)) {
        if (report)
            wrong_class(x);
        return nullptr;
    }
    return target;
}

void clear_parent(vok_anim_node *x)
{
    x->flags &= ~long{vok_anim_parentpos | vok_anim_parentquat | vok_anim_parentscale};
    x->flags |= vok_anim_no_parent;
    x->parentpos = {0, 0, 0};
    send(x->parent, gensym("reset"));
    x->parentquat = {0, 0, 0, 1};
    x->parentscale = {1, 1, 1};
    x->dirty = 1;
}

vok_err attach(vok_anim_node *x, bool *acyclic)
{
    void *found = vok_object_findregistered(x->anim);
    if (!found) {
        vok_object_error(x, "parent anim %s not found", x->anim->name);
        return VOK_ERR_EROR;
    }
    vok_anim_node *parent = as_node(found);
    if (!parent) {
        vok_object_error(x, "%s exists and is not an vok.anim.node", x->anim->name);
        x->anim = _vok_sym_nothing;
        return VOK_ERR_NONE;
    }
    if (!*acyclic && descends(parent, x, acyclic)) {
        vok_object_error(x, "%s is a descendant of %s", parent->name->name, x->name->name);
        x->anim = _vok_sym_nothing;
        return VOK_ERR_NONE;
    }
    add_child(parent, x);
    return VOK_ERR_NONE;
}

void add_child(vok_anim_node *x, void *child)
{
    if (!child || linklist_objptr2index(x->children, child) >= 0)
        return;
    linklist_append(x->children, child);
    if (vok_anim_node *node = as_node(child)) {
        if (!node->listers)
            node->listers = linklist_new();
        linklist_append(node->listers, x);
    }
}

void remove_child(vok_anim_node *x, void *child)
{
    linklist_chuckobject(x->children, child);
    if (vok_anim_node *node = as_node(child))
        linklist_chuckobject(node->listers, x);
}

vok_err clone(const vok_anim_node *x, vok_anim_node *other)
{
    if (!as_node(other))
        return VOK_ERR_INVP;
    if (x->node_type != vok_anim_camera)
        other->node_type = x->node_type;
    other->flip = x->flip;
    if (x->node_type == vok_anim_gl_node)
        each_child(x, [other](void *child) {
            tell_anim(child, other->name);
            send(child, _vok_sym_update, 1);
        });
    return VOK_ERR_NONE;
}

// What a node leaves behind. Children of a root or a GL node lose their parent for good;
// those of others wait for one of the same name.
void leave_others(vok_anim_node *x)
{
    if (!is_nothing(x->target))
        if (void *target = vok_object_findregistered(x->target)) {
            target_of(x, true);
            send(target, gensym("anim_resettointernal"));
        }
    x->target = _vok_sym_nothing;
    if (void *parent = is_nothing(x->anim) ? nullptr : vok_object_findregistered(x->anim)) {
        send(parent, words().remove_child, x);
        x->anim = _vok_sym_nothing;
        x->flags |= vok_anim_parent_new;
    }
    const bool orphans = x->node_type == vok_anim_root || x->node_type == vok_anim_gl_node;
    each_child(x, [orphans](void *child) {
        if (orphans)
            tell_anim(child, _vok_sym_nothing);
        else
            send(child, words().dirty_parent);
    });
    each_child(x, [x](void *child) {
        if (vok_anim_node *node = as_node(child))
            linklist_chuckobject(node->listers, x);
    });
    linklist_chuck(std::exchange(x->children, nullptr));
    // whoever else lists it, by another name or without one
    while (void *lister = linklist_getindex(x->listers, 0))
        remove_child(static_cast<vok_anim_node *>(lister), x);
    linklist_chuck(std::exchange(x->listers, nullptr));
}

vok_err anim_set(vok_anim_node *x, void *, long argc, const atom *argv)
{
    if (x->node_type == vok_anim_root) {
        vok_object_error(x, "%s is the root node and cannont be parented", x->name->name);
        return VOK_ERR_NONE;
    }
    symbol *anim = _vok_sym_nothing;
    if (argc > 0 && argv) {
        if (symbol *given = vok_atom_getsym(argv))
            anim = given;
        if (anim == x->name || anim == x->anim)
            return VOK_ERR_NONE;
    }
    if (!is_nothing(x->anim)) {
        if (void *parent = vok_object_findregistered(x->anim))
            send(parent, words().remove_child, x);
        clear_parent(x);
    }
    x->anim = anim;
    if (x->node_type != vok_anim_model_node) {
        x->parent_dirty = 1;
        x->flags |= vok_anim_parent_new;
    }
    return VOK_ERR_NONE;
}

vok_err name_set(vok_anim_node *x, void *, long argc, const atom *argv)
{
    if (argc < 1 || !argv)
        return VOK_ERR_NONE;
    symbol *name = vok_atom_getsym(argv);
    if (name == x->name)
        return VOK_ERR_NONE;
    if (is_nothing(name))
        return VOK_ERR_EROR; // it stands for no node
    if (vok_object_findregistered(name)) {
        object_error(x, "name %s already in use. anode does not allow multiple bindings", name->name);
        return VOK_ERR_EROR;
    }
    vok_object_unregister(x);
    if (!vok_object_register(x, name))
        return VOK_ERR_EROR;
    if (x->name->thing == x)
        x->name->thing = nullptr;
    x->name = name;
    x->name->thing = x;
    if (void *target = target_of(x, true))
        vok_attr_setsym(target, _vok_sym_anim, name);
    each_child(x, [name](void *child) { tell_anim(child, name); });
    return VOK_ERR_NONE;
}

// A target can only be cleared before it is another.
vok_err target_set(vok_anim_node *x, void *, long argc, const atom *argv)
{
    if (argc < 1 || !argv)
        return VOK_ERR_EROR;
    symbol *name = vok_atom_getsym(argv);
    if (is_nothing(name)) {
        x->target = _vok_sym_nothing;
        return VOK_ERR_NONE;
    }
    if (!is_nothing(x->target))
        return VOK_ERR_EROR;
    x->target = name;
    if (target_of(x, true))
        return VOK_ERR_NONE;
    x->target = _vok_sym_nothing;
    return VOK_ERR_EROR;
}

} // namespace vok::anim

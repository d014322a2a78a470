// The classes vok_tree (a root) and vok_tree_node: a node owns a thing and a list of
// children. Freeing a node frees all below it and the things; `chuck` takes the nodes
// apart and keeps the things.
#include <utility>

#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/memory.h>

#include "kernel/class_table.h"
#include "kernel/message.h"

namespace {

using node = vok_tree_node;

zan_class *tree_class;
zan_class *node_class;

void *tree_new()
{
    return vok_object_alloc(tree_class);
}

void *node_new()
{
    return vok_object_alloc(node_class);
}

void *children_made(node *x)
{
    if (!x->children)
        x->children = vok::make(ps_vokra, _vok_sym_vok_linklist);
    return x->children;
}

node *child_at(node *x, long index)
{
    return x->children ? static_cast<node *>(linklist_getindex(x->children, index)) : nullptr;
}

// Children first: they may look at their parent's thing while they go.
vok_err node_clear(node *x)
{
    if (void *children = std::exchange(x->children, nullptr))
        vok_object_free(children);
    if (void *thing = std::exchange(x->thing, nullptr))
        vok_object_free(thing);
    return VOK_ERR_NONE;
}

void node_free(node *x)
{
    node_clear(x);
}

vok_err node_set_thing(node *x, void *thing)
{
    x->thing = thing;
    return VOK_ERR_NONE;
}

void *node_get_thing(node *x)
{
    return x->thing;
}

node *node_get_parent(node *x)
{
    return x->parent;
}

void *node_get_child(node *x, long index)
{
    return child_at(x, index);
}

zan_word node_get_childcount(node *x)
{
    return x->children ? linklist_getsize(x->children) : 0;
}

void *node_get_children(node *x)
{
    return x->children;
}

vok_err node_insertchild(node *x, node *child, long index)
{
    void *children = children_made(x);
    if (!children)
        return VOK_ERR_OMEM;
    if (!child)
        return VOK_ERR_NONE;
    child->parent = x;
    return linklist_insertindex(children, child, index) < 0 ? VOK_ERR_EROR : VOK_ERR_NONE;
}

vok_err node_appendchild(node *x, node *child)
{
    void *children = children_made(x);
    if (!children)
        return VOK_ERR_OMEM;
    if (!child)
        return VOK_ERR_NONE;
    child->parent = x;
    return linklist_append(children, child) < 0 ? VOK_ERR_EROR : VOK_ERR_NONE;
}

vok_err node_deletechild(node *x, long index)
{
    if (!child_at(x, index))
        return VOK_ERR_NONE;
    return vok_err_from_zan_err(linklist_deleteindex(x->children, index));
}

// The old child at `index`, out of the list and without a parent; null if there is none.
node *take_child(node *x, long index)
{
    node *old = child_at(x, index);
    if (!old)
        return nullptr;
    old->parent = nullptr;
    linklist_chuckindex(x->children, index);
    return old;
}

node *swap_child(node *x, node *child, long index)
{
    if (!child || !x->children || child_at(x, index) == child)
        return nullptr;
    node *old = take_child(x, index);
    child->parent = x;
    linklist_insertindex(x->children, child, index);
    return old;
}

// The old child is the caller's from then on.
vok_err node_replacechild(node *x, node *child, long index)
{
    swap_child(x, child, index);
    return VOK_ERR_NONE;
}

vok_err node_replacechuckchild(node *x, node *child, long index)
{
    if (node *old = swap_child(x, child, index))
        vok::send(old, _vok_sym_chuck);
    return VOK_ERR_NONE;
}

// The child frees itself, so its place is given up first.
vok_err node_chuckchild(node *x, long index)
{
    if (node *child = take_child(x, index))
        vok::send(child, _vok_sym_chuck);
    return VOK_ERR_NONE;
}

vok_err node_chuck(node *x)
{
    if (void *children = std::exchange(x->children, nullptr)) {
        for (long i = linklist_getsize(children) - 1; i >= 0; --i)
            vok::send(linklist_getindex(children, i), _vok_sym_chuck);
        linklist_chuck(children);
    }
    x->parent = nullptr;
    x->thing = nullptr;
    return vok_object_free(x);
}

zan_word node_methodall(node *x, symbol *selector, zan_word a, zan_word b, zan_word c, zan_word d, zan_word e,
                        zan_word f, zan_word g)
{
    return x->children ? linklist_methodall_imp(x->children, selector, a, b, c, d, e, f, g, 0) : 0;
}

zan_word node_methodchild(node *x, long index, symbol *selector, zan_word a, zan_word b, zan_word c, zan_word d,
                          zan_word e, zan_word f)
{
    return x->children ? linklist_methodindex_imp(x->children, index, selector, a, b, c, d, e, f, 0, 0) : 0;
}

constexpr vok::message messages[] = {
    {"thing", vok::fn<node_set_thing>, {argtype_cant}},
    {"getthing", vok::fn<node_get_thing>, {argtype_cant}},
    {"getparent", vok::fn<node_get_parent>, {argtype_cant}},
    {"getchild", vok::fn<node_get_child>, {argtype_cant}},
    {"getchildcount", vok::fn<node_get_childcount>, {argtype_cant}},
    {"getchildren", vok::fn<node_get_children>, {argtype_cant}},
    {"insertchild", vok::fn<node_insertchild>, {argtype_cant}},
    {"appendchild", vok::fn<node_appendchild>, {argtype_cant}},
    {"deletechild", vok::fn<node_deletechild>, {argtype_cant}},
    {"replacechild", vok::fn<node_replacechild>, {argtype_cant}},
    {"replacechuckchild", vok::fn<node_replacechuckchild>, {argtype_cant}},
    {"chuckchild", vok::fn<node_chuckchild>, {argtype_cant}},
    {"clear", vok::fn<node_clear>, {argtype_cant}},
    {"chuck", vok::fn<node_chuck>, {argtype_cant}},
    {"methodall", vok::fn<node_methodall>, {argtype_cant}},
    {"methodchild", vok::fn<node_methodchild>, {argtype_cant}},
};

} // namespace

void vok_tree_node_addinterface(zan_class *c)
{
    vok::add_messages(c, messages);
}

vok_err vok_tree_init(void)
{
    tree_class = vok::add_class({"vok_tree", vok::fn<tree_new>, vok::fn<node_free>, sizeof(node)}, messages);
    node_class = vok::add_class({"vok_tree_node", vok::fn<node_new>, vok::fn<node_free>, sizeof(node)}, messages);
    return tree_class && node_class ? VOK_ERR_NONE : VOK_ERR_OMEM;
}

// Nodes as a tree: putting in, taking out, finding, freeing.
#include <utility>

#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "kernel/message.h"
#include "xml/xml.h"

using namespace vok::xml;

namespace {

// Holds the global critical region while it lives.
struct tree_change {
    tree_change() { vok_global_critical_enter(); }
    ~tree_change() { vok_global_critical_exit(); }
    tree_change(const tree_change &) = delete;
    tree_change &operator=(const tree_change &) = delete;
};

// Whether the node can take the child: one that hangs nowhere, and not below itself.
bool can_take(const vok_xml_node *x, const vok_xml_node *child)
{
    if (!x || !child || child->parentnode || x == child)
        return false;
    if (child->childnodes)
        for (const vok_xml_node *above = x->parentnode; above; above = above->parentnode)
            if (above == child)
                return false;
    return true;
}

void renew_ends(vok_xml_node *x)
{
    x->firstchild = node_of(linklist_getindex(x->childnodes, 0));
    x->lastchild = last_child(x);
}

// Both links of the child at `index`, and those of its neighbours to it.
void link_at(vok_xml_node *x, long index)
{
    vok_xml_node *child = node_of(linklist_getindex(x->childnodes, index));
    child->parentnode = x;
    child->previoussibling = node_of(linklist_getindex(x->childnodes, index - 1));
    child->nextsibling = node_of(linklist_getindex(x->childnodes, index + 1));
    if (child->previoussibling)
        child->previoussibling->nextsibling = child;
    if (child->nextsibling)
        child->nextsibling->previoussibling = child;
    renew_ends(x);
}

vok_err insert_at(vok_xml_node *x, vok_xml_node *child, long index, vok_xml_document *owner)
{
    if (linklist_insertindex(x->childnodes, child, index) < 0)
        return VOK_ERR_EROR;
    link_at(x, index);
    child->ownerdocument = owner;
    return VOK_ERR_NONE;
}

vok_xml_node *take_last(void *list)
{
    const long last = linklist_getsize(list) - 1;
    vok_xml_node *x = node_of(linklist_getindex(list, last));
    if (x)
        linklist_chuckindex(list, last);
    return x;
}

void free_list(void *&list)
{
    if (void *old = std::exchange(list, nullptr))
        vok_object_free(old);
}

void *nodes_named(vok_xml_node *x, symbol *name)
{
    void *found = nullptr;
    if (!x || !name)
        return nullptr;
    walk(
        x, 0,
        [&](vok_xml_node *n, long) {
            if (n->nodename == name && list_made(found))
                linklist_append(found, n);
            return true;
        },
        [](vok_xml_node *, long) {});
    return found;
}

} // namespace

void *vok::xml::list_made(void *&list)
{
    if (!list)
        list = make(ps_vokra, _vok_sym_vok_linklist);
    return list;
}

// Everything below goes first, each node when nothing hangs on it any more: the way back up
// is in parentnode, so neither depth nor memory set a limit.
void vok::xml::node_free(vok_xml_node *x)
{
    for (vok_xml_node *at = x;;) {
        vok_xml_node *below = take_last(at->childnodes);
        if (!below)
            below = take_last(at->attributes);
        if (below) {
            below->parentnode = at;
            at = below;
        } else if (at == x) {
            break;
        } else {
            vok_xml_node *above = at->parentnode;
            vok_object_free(at);
            at = above;
        }
    }
    free_list(x->childnodes);
    free_list(x->attributes);
    vok_xml_node_nodevalue_clear(x);
}

vok_err vok_xml_node_appendchild(void *node, void *child)
{
    vok_xml_node *x = node_of(node), *c = node_of(child);
    if (!can_take(x, c))
        return VOK_ERR_EROR;
    const tree_change held;
    if (!list_made(x->childnodes))
        return VOK_ERR_OMEM;
    // what has no document is one
    auto *owner = x->ownerdocument ? x->ownerdocument : reinterpret_cast<vok_xml_document *>(x);
    return insert_at(x, c, linklist_getsize(x->childnodes), owner);
}

vok_err vok_xml_node_insertbefore(void *node, void *child, void *refchild)
{
    vok_xml_node *x = node_of(node), *c = node_of(child);
    if (!can_take(x, c))
        return VOK_ERR_EROR;
    const tree_change held;
    if (!list_made(x->childnodes))
        return VOK_ERR_OMEM;
    const long index = refchild ? linklist_objptr2index(x->childnodes, refchild) : 0;
    return insert_at(x, c, index < 0 ? 0 : index, x->ownerdocument);
}

vok_err vok_xml_node_replacechild(void *node, void *child, void *oldchild)
{
    vok_xml_node *x = node_of(node), *c = node_of(child);
    if (!can_take(x, c) || !oldchild || !x->childnodes)
        return VOK_ERR_EROR;
    const tree_change held;
    const long index = linklist_objptr2index(x->childnodes, oldchild);
    if (index < 0)
        return VOK_ERR_NONE;
    linklist_deleteindex(x->childnodes, index);
    return insert_at(x, c, index, x->ownerdocument);
}

vok_err vok_xml_node_removechild(void *node, void *child)
{
    vok_xml_node *x = node_of(node);
    if (!x || !child || !x->childnodes)
        return VOK_ERR_EROR;
    const tree_change held;
    const long index = linklist_objptr2index(x->childnodes, child);
    if (index >= 0)
        linklist_deleteindex(x->childnodes, index);
    renew_ends(x);
    return VOK_ERR_NONE;
}

vok_err vok_xml_node_removeallchildren(void *node)
{
    vok_xml_node *x = node_of(node);
    if (!x)
        return VOK_ERR_EROR;
    free_list(x->childnodes);
    return VOK_ERR_NONE;
}

long vok_xml_node_haschildnodes(void *node)
{
    return node && linklist_getsize(node_of(node)->childnodes) > 0;
}

zan_word vok_xml_node_clonenode(void *)
{
    return 0;
}

zan_word vok_xml_text_splittext(void *)
{
    return 0;
}

zan_word vok_xml_cdata_splittext(void *)
{
    return 0;
}

void *vok_xml_document_getelementsbytagname(vok_xml_document *x, symbol *name)
{
    return nodes_named(node_of(x), name);
}

void *vok_xml_element_getelementsbytagname(vok_xml_element *x, symbol *name)
{
    return nodes_named(node_of(x), name);
}

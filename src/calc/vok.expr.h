// What the files of the expression language share: nodes and tokens at hand, the words
// that are sent, and how a tree goes.
#pragma once
#include <zan/classes.h>
#include <zan/collections.h>
#include <zan/objects.h>
#include <zan/symbols.h>

#include <vokra/expr.h>

namespace vok::expr {

using node = vok_tree_node;
using token = vok_expr_token;

// How deep texts and trees may nest: every pass over a tree recurses.
inline constexpr long max_depth = 1000;

struct symbol_table {
    symbol *op, *minus, *sub, *basis, *setattr, *weight, *align, *evaluate, *tree, *tree_node, *append, *token;
};
// Interned by vok_expr_init.
const symbol_table &symbols();

inline token *token_of(const node *n)
{
    return n ? static_cast<token *>(n->thing) : nullptr;
}

inline long child_count(const node *n)
{
    return n->children ? linklist_getsize(n->children) : 0;
}

inline node *child_at(const node *n, long index)
{
    return n->children ? static_cast<node *>(linklist_getindex(n->children, index)) : nullptr;
}

// The word of a token, or null for a number.
inline symbol *word_of(const token *t)
{
    return t ? atom_getsym(&t->val) : nullptr;
}

// What a trace or message calls it.
inline const char *text_of(const token *t)
{
    symbol *word = word_of(t);
    return word ? word->name : "";
}

// "@name", with which the attributes of a call begin.
inline bool is_attribute(const node *n)
{
    const token *t = token_of(n);
    return t && t->type == vok_expr_token_variable && text_of(t)[0] == '@';
}

// The arguments ahead of the attributes.
long argument_count(const node *call);

// A new node with its token, or null when memory is out.
node *make_node(long type, const atom &val);
void append_child(node *parent, node *child);

// Frees a node and all below it. Unlike freeing the node, it takes no stack for depth.
void free_tree(node *tree);

void register_variables(void);

} // namespace vok::expr

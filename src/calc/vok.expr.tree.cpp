// From a flat list of tokens to a tree of calls: groups and calls by parentheses, infix
// operators into calls level by level, groups and commas out, calls of constants into
// constants.
#include "calc/vok.expr.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <vokra/commonsyms.h>
#include <vokra/functor.h>
#include <vokra/kernel.h>
#include <vokra/op.h>

#include "kernel/message.h"

namespace vok::expr {

node *make_node(long type, const atom &val)
{
    auto *n = static_cast<node *>(make(ps_vokra, symbols().tree_node));
    if (!n)
        return nullptr;
    n->thing = vok_expr_token_new(type, &val);
    if (!n->thing)
        vok_object_free(std::exchange(n, nullptr));
    return n;
}

void append_child(node *parent, node *child)
{
    send(parent, symbols().append, child);
}

long argument_count(const node *call)
{
    long i = 0;
    while (i < child_count(call) && !is_attribute(child_at(call, i)))
        i++;
    return i;
}

namespace {

constexpr long last_precedence = 7;

// The children of a node, taken out; those that stand in `kids` in the end are put back.
struct taken_children {
    node *parent;
    std::vector<node *> kids;

    explicit taken_children(node *n) : parent(n), kids(static_cast<size_t>(child_count(n)))
    {
        if (!n->children)
            return;
        linklist_makearray(n->children, reinterpret_cast<void **>(kids.data()), static_cast<long>(kids.size()));
        linklist_chuck(std::exchange(n->children, nullptr));
    }
    ~taken_children()
    {
        for (node *kid : kids)
            append_child(parent, kid);
    }
    taken_children(const taken_children &) = delete;
    taken_children &operator=(const taken_children &) = delete;
};

// Whether anything lies deeper below a node than it may.
bool too_deep(node *root)
{
    std::vector<std::pair<node *, long>> left = {{root, 0}};
    while (!left.empty()) {
        const auto [n, depth] = left.back();
        left.pop_back();
        if (depth > max_depth)
            return true;
        for (long i = 0; i < child_count(n); i++)
            left.emplace_back(child_at(n, i), depth + 1);
    }
    return false;
}

symbol *text_in_work(const vok_expr *x)
{
    return x->curexpr >= 0 && x->curexpr < VOK_EXPR_MAX ? x->expr[x->curexpr] : _vok_sym_nothing;
}

vok_err nested_too_deep(vok_expr *x)
{
    vok_object_error(x, "vok.expr: nested more than %ld levels deep in %s", max_depth, text_in_work(x)->name);
    return VOK_ERR_EROR;
}

// ---- parentheses ----

// Places the tokens one after the other; false after a message.
class builder {
  public:
    builder(vok_expr *x, node *root, std::vector<node *> &tokens) : x_(x), current_(root), tokens_(tokens) {}

    // Takes the token at `next`, and the one behind it too where they belong together.
    bool place(size_t &next)
    {
        node *n = tokens_[next];
        token *t = token_of(n);
        switch (t->type) {
        case vok_expr_token_word: return place_word(next);
        case vok_expr_token_special:
            if (!vok_expr_specialisinfix(x_, word_of(t))) {
                vok_object_error(x_, "vok.expr: special is not infix: %s", text_of(t));
                return false;
            }
            t->type = vok_expr_token_inop;
            append_child(current_, n);
            break;
        case vok_expr_token_number:
        case vok_expr_token_comma: append_child(current_, n); break;
        case vok_expr_token_lparen:
            t->type = vok_expr_token_group;
            atom_setlong(&t->val, 0);
            if (!open(n))
                return false;
            break;
        case vok_expr_token_rparen:
            if (!current_->parent) {
                vok_object_error(x_, "vok.expr: unmatched parentheses at depth %ld in %s", depth_,
                                 text_in_work(x_)->name);
                return false;
            }
            current_ = current_->parent;
            depth_--;
            vok_object_free(n);
            break;
        default:
            vok_object_post(x_, "vok.expr: excountered token %d, ignoring", static_cast<int>(t->type));
            vok_object_free(n);
        }
        next++;
        return true;
    }

  private:
    bool open(node *n)
    {
        if (depth_ >= max_depth) {
            nested_too_deep(x_);
            return false;
        }
        append_child(current_, n);
        current_ = n;
        depth_++;
        return true;
    }

    bool place_word(size_t &next)
    {
        node *n = tokens_[next];
        token *t = token_of(n);
        double value = 0;
        if (!vok_expr_wordisoperator(x_, word_of(t))) {
            if (vok_expr_wordisconstant(x_, word_of(t), &value)) {
                t->type = vok_expr_token_number;
                atom_setfloat(&t->val, value);
            } else {
                t->type = vok_expr_token_variable;
            }
            append_child(current_, n);
            next++;
            return true;
        }
        const token *behind = next + 1 < tokens_.size() ? token_of(tokens_[next + 1]) : nullptr;
        if (!behind) {
            vok_object_error(x_, "vok.expr: operator expects parentheses: %s", text_of(t));
            return false;
        }
        if (behind->type != vok_expr_token_lparen) {
            vok_object_error(x_, "vok.expr: operator expects parentheses %s", text_of(t));
            return false;
        }
        if (!open(n))
            return false;
        t->type = vok_expr_token_op;
        vok_object_free(tokens_[next + 1]);
        next += 2;
        return true;
    }

    vok_expr *x_;
    node *current_;
    std::vector<node *> &tokens_;
    long depth_ = 0;
};

// ---- infix operators ----

bool stands_alone_behind(const token *before)
{
    return !before || before->type == vok_expr_token_inop || before->type == vok_expr_token_comma;
}

vok_err convert(vok_expr *x, node *n);

// Signs: -a becomes sub(0, a), ahead of all other operators.
void convert_signs(std::vector<node *> &kids)
{
    std::vector<node *> done;
    for (size_t i = 0; i < kids.size(); i++) {
        token *t = token_of(kids[i]);
        if (word_of(t) == symbols().minus && stands_alone_behind(done.empty() ? nullptr : token_of(done.back()))) {
            t->type = vok_expr_token_op;
            atom_setsym(&t->val, symbols().sub);
            atom zero;
            atom_setfloat(&zero, 0.0);
            if (node *number = make_node(vok_expr_token_number, zero))
                append_child(kids[i], number);
            if (i + 1 < kids.size())
                append_child(kids[i], kids[i + 1]);
            done.push_back(kids[i++]);
        } else {
            done.push_back(kids[i]);
        }
    }
    kids = std::move(done);
}

// One level over the children. Within a level operators take what is left of them first, so
// they associate to the left. `result` keeps the failure of a child, which stops nothing;
// false when an operator here can't be converted.
bool convert_level(vok_expr *x, std::vector<node *> &kids, long precedence, vok_err &result)
{
    std::vector<node *> done;
    const auto fail = [&](const char *format, size_t at) {
        vok_object_error(x, format, text_of(token_of(kids[at])));
        done.insert(done.end(), kids.begin() + static_cast<long>(at), kids.end());
        kids = std::move(done);
        return false;
    };
    for (size_t i = 0; i < kids.size(); i++) {
        node *n = kids[i];
        token *t = token_of(n);
        void *found = nullptr;
        if (t->type == vok_expr_token_inop)
            hashtab_lookup(_vok_expr_infixmap, word_of(t), &found);
        const auto *row = static_cast<const vok_expr_infixop *>(found);
        if (row && row->precedence == precedence) {
            const vok_op_fn *fn = vok_op_fn_lookup(row->prefix);
            if (!fn)
                return fail("vok.expr: no associated prefix op for infix (%s)", i);
            const bool right = i + 1 < kids.size();
            if (fn->inputcount != 1) {
                if (done.empty() || !right)
                    return fail("vok.expr: missing siblings converting infix to prefix (%s)", i);
                append_child(n, done.back());
                done.pop_back();
            }
            t->type = vok_expr_token_op;
            atom_setsym(&t->val, row->prefix);
            if (right)
                append_child(n, kids[++i]);
        }
        if (t->type != vok_expr_token_inop && !t->converted) {
            t->converted = 1;
            if (const vok_err err = convert(x, n))
                result = err;
        }
        done.push_back(n);
    }
    kids = std::move(done);
    return true;
}

vok_err convert(vok_expr *x, node *n)
{
    if (!n->children)
        return VOK_ERR_NONE;
    taken_children c(n);
    convert_signs(c.kids);
    vok_err result = VOK_ERR_NONE;
    for (long level = 1; level <= last_precedence; level++)
        if (!convert_level(x, c.kids, level, result))
            return VOK_ERR_EROR;
    return result;
}

bool is_number(const node *n)
{
    const token *t = token_of(n);
    return t && t->type == vok_expr_token_number;
}

// A call of numbers as a number, always in double.
void fold(vok_expr *x, node *n)
{
    token *t = token_of(n);
    double values[2] = {};
    const long count = child_count(n);
    for (long i = 0; i < std::min(count, 2L); i++)
        values[i] = atom_getfloat(&token_of(child_at(n, i))->val);
    vok_op_vector_arg a{&values[0], 1}, b{&values[count > 1], 1};
    if (const vok_op_fn *fn = vok_op_fn_lookup(word_of(t)))
        fn->float64fn(1, nullptr, &a, &b, &a);
    else
        vok_object_error(x, "vok_op: no operator %s", text_of(t));
    t->type = vok_expr_token_number;
    atom_setfloat(&t->val, values[0]);
    vok_object_free(std::exchange(n->children, nullptr));
}

} // namespace
} // namespace vok::expr

using namespace vok::expr;

vok_err vok_expr_buildtree(vok_expr *x, vok_tree_node *tree)
{
    if (!x || !tree)
        return VOK_ERR_EROR;
    std::vector<node *> tokens;
    {
        taken_children c(tree);
        tokens = std::move(c.kids);
        c.kids.clear();
    }
    builder b(x, tree, tokens);
    size_t next = 0;
    while (next < tokens.size())
        if (!b.place(next)) {
            for (; next < tokens.size(); next++)
                vok_object_free(tokens[next]);
            free_tree(tree);
            return VOK_ERR_EROR;
        }
    return VOK_ERR_NONE;
}

vok_err vok_expr_infix2prefix(vok_expr *x, vok_tree_node *n)
{
    if (!x || !n)
        return VOK_ERR_EROR;
    const vok_err err = convert(x, n);
    return !err && too_deep(n) ? nested_too_deep(x) : err;
}

vok_err vok_expr_cleantree(vok_expr *x, vok_tree_node *n)
{
    if (!x || !n)
        return VOK_ERR_EROR;
    if (!n->children)
        return VOK_ERR_NONE;
    taken_children c(n);
    std::vector<node *> done;
    for (node *kid : c.kids) {
        // a group's first child takes its place, and may be a group too
        while (kid && token_of(kid)->type == vok_expr_token_group && child_count(kid) > 0) {
            if (child_count(kid) > 1)
                vok_object_error(x, "vok.expr: GROUP node on clean pass has more than 1 child node");
            node *first = child_at(kid, 0);
            linklist_chuckindex(kid->children, 0);
            free_tree(std::exchange(kid, first));
        }
        const long type = token_of(kid)->type;
        if (type == vok_expr_token_comma) {
            free_tree(kid);
            continue;
        }
        if (type == vok_expr_token_group)
            vok_object_error(x, "vok.expr: GROUP node on clean pass has no child node");
        else
            vok_expr_cleantree(x, kid);
        done.push_back(kid);
    }
    c.kids = std::move(done);
    return VOK_ERR_NONE;
}

vok_err vok_expr_flattenconstants(vok_expr *x, vok_tree_node *n)
{
    if (!x || !n)
        return VOK_ERR_EROR;
    bool numbers = true;
    for (long i = 0; i < child_count(n); i++) {
        vok_expr_flattenconstants(x, child_at(n, i));
        numbers = numbers && is_number(child_at(n, i));
    }
    const token *t = token_of(n);
    if (numbers && child_count(n) > 0 && t && t->type == vok_expr_token_op &&
        !vok_expr_wordisfunctor(word_of(t)) && !vok_expr_wordisclass(x, word_of(t)))
        fold(x, n);
    return VOK_ERR_NONE;
}

// ---- what a word is ----

long vok_expr_wordisoperator(vok_expr *x, symbol *word)
{
    return vok_op_fn_lookup(word) || vok_expr_wordisfunctor(word) || vok_expr_wordisexprop(x, word) ||
           vok_expr_wordisclass(x, word);
}

long vok_expr_wordisconstant(vok_expr *x, symbol *word, double *out)
{
    void *value = nullptr;
    if (!word || (hashtab_lookup(_vok_expr_constants, word, &value) &&
                  (!x || !x->exprconstants || hashtab_lookup(x->exprconstants, word, &value))))
        return 0;
    if (out && value)
        *out = *static_cast<const double *>(value);
    return 1;
}

long vok_expr_wordisfunctor(symbol *word)
{
    return word && vok_functor_lookup(nullptr, word);
}

long vok_expr_wordisexprop(vok_expr *x, symbol *word)
{
    void *value = nullptr;
    return x && x->exprops && word && hashtab_lookup(x->exprops, word, &value) == 0;
}

long vok_expr_specialisinfix(vok_expr *, symbol *word)
{
    return vok_op_fn_lookup(word) != nullptr;
}

symbol *vok_expr_wordisattribute(vok_expr *, symbol *word)
{
    return word && word->name[0] == '@' ? gensym(word->name + 1) : nullptr;
}

zan_class *vok_expr_wordisclass(vok_expr *, symbol *word)
{
    if (!word || std::strncmp(word->name, "vok.", 4) != 0)
        return nullptr;
    std::string text = word->name;
    std::replace(text.begin(), text.end(), '.', '_');
    symbol *name = gensym(text.c_str());
    if (zan_class *c = class_findbyname(ps_vokra, name))
        return c;
    void *box = newinstance(word, 0, nullptr); // may load the module that has it
    if (!box)
        return nullptr;
    zan_class *c = class_findbyname(ps_vokra, name);
    object_free(box);
    return c;
}

// ---- the trace ----

void vok_expr_printtree_helper(vok_expr *x, vok_tree_node *n, long level)
{
    if (!n)
        return;
    const token *t = token_of(n);
    const std::string indent(static_cast<size_t>(level) * 4, ' ');
    if (!t)
        vok_object_post(x, "ROOT (NULL)");
    else if (t->type == vok_expr_token_number)
        vok_object_post(x, "%s %s %f", indent.c_str(), _vok_expr_token_str[t->type], atom_getfloat(&t->val));
    else
        vok_object_post(x, "%s %s %s", indent.c_str(), _vok_expr_token_str[t->type], text_of(t));
    for (long i = 0; i < child_count(n); i++)
        vok_expr_printtree_helper(x, child_at(n, i), level + 1);
}

void vok_expr_printtree(vok_expr *x, long i)
{
    if (x && i >= 0 && i < VOK_EXPR_MAX)
        vok_expr_printtree_helper(x, x->trees[i], 0);
}

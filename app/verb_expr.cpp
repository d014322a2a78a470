// vokra expr: pictures from expressions.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>

#include "files.h"
#include "patches.h"
#include "verbs.h"

namespace program {
namespace {

struct expr_options {
    std::vector<std::string> texts, inputs, names;
    std::vector<long> dim;
    std::string type, precision = "float32", out;
    bool tree = false, alpha = false;
};

// A matrix under a name for as long as this lives.
class registered {
  public:
    registered(matrix m, const std::string &name) : m_(std::move(m))
    {
        if (vok_object_findregistered(gensym(name.c_str())) ||
            !vok_object_register(m_.get(), gensym(name.c_str())))
            throw failure(wrong_use, "expr: the name " + name + " is taken");
    }

  private:
    matrix m_;
};

using visitor = std::function<void(const vok_expr_token &, const vok_tree_node &, int level)>;

void visit(const vok_tree_node *n, const visitor &see, int level = -1)
{
    if (const auto *t = static_cast<const vok_expr_token *>(n->thing))
        see(*t, *n, level);
    for (long i = 0; n->children && i < linklist_getsize(n->children); ++i)
        visit(static_cast<const vok_tree_node *>(linklist_getindex(n->children, i)), see, level + 1);
}

std::string word_of(const vok_expr_token &t)
{
    const symbol *word = atom_getsym(&t.val);
    return word ? word->name : "";
}

std::vector<std::string> keys_of(void *table)
{
    long count = 0;
    symbol **keys = nullptr;
    hashtab_getkeys(table, &count, &keys);
    return texts_of(count, keys);
}

// What the library leaves to be seen in the picture: words that mean nothing, inputs that
// aren't there, functors in a precision that they don't have.
void check_word(const expr_options &o, const vok_expr_token &t)
{
    const std::string word = word_of(t);
    symbol *name = gensym(word.c_str());
    if (t.type == vok_expr_token_op && o.precision != "float32" && vok_functor_lookup(nullptr, name))
        throw failure(wrong_use,
                      "expr: " + word + " calculates in float32: leave --precision " + o.precision + " out");
    if (t.type != vok_expr_token_variable || word[0] == '@')
        return;
    void *variable = nullptr;
    if (hashtab_lookup(_vok_expr_mxfns, name, &variable)) {
        const std::string object = word.substr(0, word.find('.'));
        if (vok_object_findregistered(name) || vok_object_findregistered(gensym(object.c_str())))
            return;
        std::vector<std::string> known = keys_of(_vok_expr_mxfns);
        for (void *table : {_vok_expr_constants, _vok_op_fn_hashtab})
            for (const std::string &each : keys_of(table))
                known.push_back(each);
        throw failure(wrong_use, "expr: there is no " + word + did_you_mean(word, known));
    }
    const auto *v = static_cast<const vok_expr_mxfn *>(variable);
    const bool input = v->fn == vok_expr_mxfn_input || v->fn == vok_expr_mxfn_input_plane;
    if (input && v->index >= static_cast<long>(o.inputs.size()))
        throw failure(wrong_use, "expr: " + word + " needs " + std::to_string(v->index + 1) +
                                     " pictures, each behind a -i; there are " + std::to_string(o.inputs.size()));
}

void set_texts(void *expr, const std::vector<std::string> &texts)
{
    std::vector<atom> values(texts.size());
    for (size_t i = 0; i < texts.size(); ++i)
        atom_setsym(&values[i], gensym(texts[i].c_str()));
    object_attr_setvalueof(expr, gensym("expr"), static_cast<long>(values.size()), values.data());
}

// Compiles each text by itself, so that a failure can name it.
void check(const expr_options &o, const std::string &text)
{
    const owned expr(vok_object_new(gensym("vok_expr")));
    std::string error;
    {
        const quiet_reports quiet;
        set_texts(expr.get(), {text});
        error = quiet.last("");
    }
    const auto *x = static_cast<const vok_expr *>(expr.get());
    if (!error.empty() || !x->trees[0])
        throw failure(wrong_use,
                      "expr: " + text + ": " +
                          error.substr(error.find(": ") == std::string::npos ? 0 : error.find(": ") + 2));
    if (!x->trees[0]->children)
        throw failure(wrong_use, "expr: there is nothing to calculate in \"" + text + "\"");
    visit(x->trees[0], [&](const vok_expr_token &t, const vok_tree_node &, int) { check_word(o, t); });
    if (linklist_getsize(x->trees[0]->children) > 1) {
        const auto *second = static_cast<vok_tree_node *>(linklist_getindex(x->trees[0]->children, 1));
        throw failure(wrong_use, "expr: " + text + ": an operator is missing ahead of " +
                                     word_of(*static_cast<vok_expr_token *>(second->thing)));
    }
}

void print_tree(const vok_expr &x)
{
    for (long i = 0; i < x.exprcount; ++i) {
        std::cout << x.expr[i]->name << "\n";
        visit(x.trees[i], [](const vok_expr_token &t, const vok_tree_node &, int level) {
            std::cout << std::string(4 * static_cast<size_t>(level + 1), ' ') << _vok_expr_token_str[t.type]
                      << ' ';
            if (t.type == vok_expr_token_number)
                std::cout << atom_getfloat(&t.val) << "\n";
            else
                std::cout << word_of(t) << "\n";
        });
    }
}

void run_expr(const expr_options &o)
{
    if (!o.out.empty())
        format_to_write(o.out);
    else if (!o.tree)
        throw failure(wrong_use, "expr: -o names the file to write, or --tree prints what is calculated");
    std::vector<registered> named;
    for (const std::string &name : o.names) {
        const size_t equals = name.find('=');
        if (equals == std::string::npos || equals == 0)
            throw failure(wrong_use, "expr: --let takes name=PICTURE, not " + name);
        named.emplace_back(load(name.substr(equals + 1)).cells, name.substr(0, equals));
    }
    for (const std::string &text : o.texts)
        check(o, text);
    std::vector<loaded> inputs;
    for (const std::string &file : o.inputs)
        inputs.push_back(load(file));

    vok_matrix_info info = inputs.empty() ? matrix::default_info() : inputs[0].cells.info();
    info.flags = 0;
    if (inputs.empty()) {
        info.planecount = 1;
        info.dim[0] = info.dim[1] = 256;
    }
    if (!o.dim.empty()) {
        info.dimcount = static_cast<long>(o.dim.size());
        std::copy(o.dim.begin(), o.dim.end(), info.dim);
    }
    if (!o.type.empty())
        info.type = gensym(o.type.c_str());
    // The alpha of a picture stays as it is unless it is asked for.
    std::vector<std::string> texts = o.texts;
    const bool keeps_alpha = !inputs.empty() && inputs[0].is_picture() && !o.alpha;
    if (keeps_alpha && texts.size() == 1)
        texts.assign({"in[0]", o.texts[0], o.texts[0], o.texts[0]});
    else if (keeps_alpha && texts.size() == 3)
        texts.insert(texts.begin(), "in[0]");
    else if (texts.size() > 1)
        info.planecount = static_cast<long>(texts.size());
    if (texts.size() > 32)
        throw failure(wrong_use, "expr: a matrix has 32 planes at most");

    const owned expr(vok_object_new(gensym("vok_expr")));
    vok_attr_setsym(expr.get(), gensym("precision"), gensym(o.precision.c_str()));
    set_texts(expr.get(), o.tree ? o.texts : texts);
    if (o.tree)
        print_tree(*static_cast<const vok_expr *>(expr.get()));
    if (o.out.empty())
        return;
    set_texts(expr.get(), texts);
    matrix out(info);
    list cells;
    for (const loaded &in : inputs)
        cells.append(in.cells.get());
    if (send(expr.get(), "matrix_calc", cells.get(), out.get()) != VOK_ERR_NONE)
        throw failure(failed_running, "expr: the calculation failed on " + matrix::shape_text(info));
    save(out, o.out, inputs.empty() ? 72 : inputs[0].dpi);
}

} // namespace

void add_expr(CLI::App &app)
{
    auto o = std::make_shared<expr_options>();
    CLI::App *verb = app.add_subcommand(
        "expr", "Calculate a picture from expressions: one for all planes, or one a plane. in[0] is the first "
                "picture, norm[0] runs from 0 to 1 across; cells are 0 to 1. docs/expressions.md tells the "
                "language. The alpha of a picture stays as it is.\n"
                "Example: vokra expr 'in[0]*(1.2-hypot(snorm[0],snorm[1]))' -i photo.jpg -o vignette.png");
    verb->add_option("expressions", o->texts, "one for all planes, or one a plane")->required();
    verb->add_option("-i,--in", o->inputs, "a picture or matrix: in[0], then in[1] and so on")
        ->allow_extra_args(false);
    verb->add_option("--let", o->names, "name=PICTURE: a picture under a name of its own")
        ->allow_extra_args(false);
    verb->add_option("--dim", o->dim, "cells along each dimension: those of the first picture, or 256 256")
        ->expected(1, 32)
        ->check(CLI::Range(1L, 2147483646L));
    verb->add_option("--type", o->type, "type of the cells written: that of the first picture, or char")
        ->check(CLI::IsMember({"char", "long", "float32", "float64"}));
    verb->add_option("--precision", o->precision, "type that is calculated in, float32 by default")
        ->check(CLI::IsMember({"char", "long", "float32", "float64"}));
    verb->add_option("-o,--out", o->out, "the file to write");
    verb->add_flag("--tree", o->tree, "print what the expressions are compiled to");
    verb->add_flag("--alpha", o->alpha, "calculate the alpha of a picture too");
    verb->callback([o] {
        load_packs();
        run_expr(*o);
    });
}

} // namespace program

// The registry of operator words: one record a word, made from the table of operators
// with the kernels of the instruction set in use. Other modules add words of their own
// through vok_op_fn_object_new and vok_op_fn_store.
#include <zan/collections.h>
#include <zan/symbols.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "calc/vok.op.h"
#include "kernel/class_table.h"
#include "kernel/isa.h"
#include "kernel/message.h"

namespace vok::op {

// One path per instruction set, see vok.op.kernels.cpp.
namespace plain {
extern const kernel_table kernels;
}
VOKRA_PER_ISA(kernel_table, kernels)

const kernel_table &kernels()
{
    const kernel_table *fast = kernels_in_use();
    return fast ? *fast : plain::kernels;
}

namespace {

constexpr int row_of(std::string_view word)
{
    for (int i = 0; i < operator_count; i++)
        if (word == rows[i].word)
            return i;
    return -1;
}

constexpr int pass_row = row_of("pass");
static_assert(pass_row >= 0);

// What stands for an operator that means nothing for a type: the copy.
constexpr vok_op_vector_fn passes[type_count] = {vok_op_vector_pass_char, vok_op_vector_pass_long,
                                                 vok_op_vector_pass_float32, vok_op_vector_pass_float64};

void store_word(const char *word, long i)
{
    symbol *name = gensym(word);
    auto *fn =
        static_cast<vok_op_fn *>(vok_object_new(gensym("vok_op_fn"), vok::word(name), vok::word(rows[i].inputs)));
    if (!fn)
        return;
    vok_op_vector_fn *const slots[type_count] = {&fn->charfn, &fn->longfn, &fn->float32fn, &fn->float64fn};
    for (int type = 0; type < type_count; type++) {
        const vok_op_vector_fn kernel = i == pass_row ? nullptr : kernels().fn[i][type];
        *slots[type] = kernel ? kernel : passes[type];
    }
    if (vok_op_fn_store(name, fn))
        vok_object_free(fn);
}

// The row of a kernel, or -1.
int row_of(vok_op_vector_fn fn, int type)
{
    for (int i = 0; i < operator_count; i++)
        if (kernels().fn[i][type] == fn)
            return i;
    return -1;
}

} // namespace

cost cost_of(vok_op_vector_fn fn, int type)
{
    if (fn == vok_op_vector_ignore || fn == passes[type])
        return cost::cheap;
    const int row = row_of(fn, type);
    return row < 0 ? cost::unknown : kernels().dear[row][type] ? cost::dear : cost::cheap;
}

bool is_library(vok_op_vector_fn fn, int type)
{
    const int row = row_of(fn, type);
    return row >= 0 && kernels().library[row];
}

} // namespace vok::op

using namespace vok::op;

zan_class *_vok_op_fn_class;
void *_vok_op_fn_hashtab;

vok_op_fn *vok_op_fn_object_new(symbol *name, long inputcount)
{
    auto *x = static_cast<vok_op_fn *>(vok_object_alloc(_vok_op_fn_class));
    if (!x)
        return nullptr;
    x->name = name;
    x->inputcount = inputcount;
    x->charfn = x->longfn = x->float32fn = x->float64fn = vok_op_vector_ignore;
    return x;
}

void vok_op_fn_object_free(vok_op_fn *) {}

long vok_op_fn_store(symbol *name, vok_op_fn *fn)
{
    if (!name || !fn || !_vok_op_fn_hashtab || vok_op_fn_lookup(name))
        return VOK_ERR_EROR;
    return vok_err_from_zan_err(hashtab_store(_vok_op_fn_hashtab, name, fn));
}

vok_op_fn *vok_op_fn_lookup(symbol *name)
{
    void *found = nullptr;
    if (name && _vok_op_fn_hashtab)
        hashtab_lookup(_vok_op_fn_hashtab, name, &found);
    return static_cast<vok_op_fn *>(found);
}

vok_op_vector_fn vok_op_sym2fn(symbol *name, symbol *type)
{
    const vok_op_fn *fn = vok_op_fn_lookup(name);
    if (!fn)
        return vok_op_vector_ignore;
    if (type == _vok_sym_char)
        return fn->charfn;
    if (type == _vok_sym_long)
        return fn->longfn;
    if (type == _vok_sym_float32)
        return fn->float32fn;
    if (type == _vok_sym_float64)
        return fn->float64fn;
    return vok_op_vector_ignore;
}

const char *vok_op_fn_help(symbol *name)
{
    const std::string_view word = name ? name->name : "";
    for (const row &r : rows)
        if (!word.empty() && (word == r.word || word == r.sign))
            return r.help;
    return nullptr;
}

void vok_op_vector_init(void)
{
    if (_vok_op_fn_hashtab)
        return;
    _vok_op_fn_hashtab = hashtab_new(0);
    for (int i = 0; i < operator_count; i++) {
        store_word(rows[i].word, i);
        if (!rows[i].sign.empty())
            store_word(rows[i].sign.data(), i);
    }
}

void vok_op_vector_ignore(long, void *, vok_op_vector_arg *, vok_op_vector_arg *, vok_op_vector_arg *) {}

#define VOKRA_OP_PASS(type)                                                                                       \
    void vok_op_vector_pass_##type(long n, void *fns, vok_op_vector_arg *a, vok_op_vector_arg *b,                 \
                                   vok_op_vector_arg *out)                                                        \
    {                                                                                                             \
        kernels().fn[pass_row][type_##type](n, fns, a, b, out);                                                   \
    }
VOKRA_OP_PASS(char)
VOKRA_OP_PASS(long)
VOKRA_OP_PASS(float32)
VOKRA_OP_PASS(float64)
#undef VOKRA_OP_PASS

// The matrix operator: the adornment that tells how many matrices a class takes and
// gives, with one vok_mop_io record for each. It touches no cells: its records are
// descriptions, and the class's matrix_calc does the work.
#include <cstdarg>

#include <vokra/attributes.h>
#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/mop.h>
#include <zan/zan.h>

#include "kernel/class_table.h"
#include "kernel/message.h"
#include "kernel/words.h"
#include "parallel/vok.mop.io.h"

using vok::send;

namespace {

zan_class *mop_class;

enum class side { input, output };

void *&list_of(vok_mop *mop, side s)
{
    return s == side::input ? mop->inputlist : mop->outputlist;
}

long &count_of(vok_mop *mop, side s)
{
    return s == side::input ? mop->inputcount : mop->outputcount;
}

// "in", "in2", "in3" ... and "out", "out2" ...
symbol *io_name(side s, long number)
{
    const char *word = s == side::input ? "in" : "out";
    char text[32];
    if (number == 1)
        return gensym(word);
    snprintf_zero(text, sizeof text, "%s%ld", word, number);
    return gensym(text);
}

vok_err append_records(vok_mop *mop, side s, long first_number, long count)
{
    for (long i = 0; i < count; ++i) {
        vok_mop_io *io = vok_mop_io_new();
        if (!io)
            return VOK_ERR_OMEM;
        io->ioname = io_name(s, first_number + i);
        send(list_of(mop, s), _vok_sym_append, io);
    }
    return VOK_ERR_NONE;
}

bool make_lists(vok_mop *mop)
{
    mop->inputlist = vok_object_new(_vok_sym_vok_linklist);
    mop->outputlist = vok_object_new(_vok_sym_vok_linklist);
    return mop->inputlist && mop->outputlist;
}

void *entry(vok_mop *mop, side s, long index)
{
    if (!mop || index < 1 || !list_of(mop, s))
        return nullptr;
    return vok::ask<void>(list_of(mop, s), _vok_sym_getindex, index - 1);
}

vok_err add_records(vok_mop *mop, side s, long count)
{
    if (!mop || !list_of(mop, s))
        return VOK_ERR_INVP;
    // Records added to a fixed list are numbered from the new total plus 1, so that
    // one more input of two is "in4": deliberate, names in patches depend on it.
    long &total = count_of(mop, s);
    long first = 1;
    if (total < 0) {
        total = count;
    } else {
        total += count;
        first = total + 1;
    }
    return append_records(mop, s, first, count);
}

vok_err delete_tail(vok_mop *mop, side s)
{
    if (!mop)
        return VOK_ERR_INVP;
    long &count = count_of(mop, s);
    if (list_of(mop, s) && count > 0) {
        send(list_of(mop, s), gensym("deleteindex"), count - 1);
        --count;
    }
    return VOK_ERR_NONE;
}

bool copy_records(vok_mop *from, vok_mop *to, side s)
{
    for (long i = 1; i <= count_of(from, s); ++i) {
        void *record = entry(from, s, i);
        void *copy = record ? vok::ask<void>(record, _vok_sym_newcopy) : nullptr;
        if (!copy)
            return false;
        send(list_of(to, s), _vok_sym_append, copy);
    }
    return true;
}

template <typename F> void each_record(vok_mop *mop, F f)
{
    for (side s : {side::input, side::output})
        for (long i = 1; i <= count_of(mop, s); ++i)
            if (void *io = entry(mop, s, i))
                f(io);
}

vok_err cut_links(void *io)
{
    if (!io)
        return VOK_ERR_INVP;
    for (symbol *link : {_vok_sym_typelink, _vok_sym_planelink, _vok_sym_dimlink})
        vok_attr_setlong(io, link, 0);
    return VOK_ERR_NONE;
}

} // namespace

extern "C" {

vok_err vok_mop_init(void)
{
    using namespace vok;
    static constexpr message messages[] = {
        {"matrix_calc", fn<vok_mop_matrix_calc>, {argtype_cant}},
        {"getinput", fn<vok_mop_getinput>, {argtype_cant}},
        {"getoutput", fn<vok_mop_getoutput>, {argtype_cant}},
        {"getinputlist", fn<vok_mop_getinputlist>, {argtype_cant}},
        {"getoutputlist", fn<vok_mop_getoutputlist>, {argtype_cant}},
        {"special", fn<vok_mop_special>, {argtype_cant}},
        {"getspecial", fn<vok_mop_getspecial>, {argtype_cant}},
        {"newcopy", fn<vok_mop_newcopy>, {argtype_cant}},
        {"addinputs", fn<vok_mop_addinputs>, {argtype_cant}},
        {"addoutputs", fn<vok_mop_addoutputs>, {argtype_cant}},
    };
    static constexpr attribute attributes[] = {
        {.name = "inputcount", .type = "long", .offset = offsetof(vok_mop, inputcount)},
        {.name = "outputcount", .type = "long", .offset = offsetof(vok_mop, outputcount)},
        {.name = "caninplace", .type = "char", .offset = offsetof(vok_mop, caninplace)},
        {.name = "adapt", .type = "char", .offset = offsetof(vok_mop, adapt)},
        {.name = "outputmode", .type = "char", .offset = offsetof(vok_mop, outputmode)},
    };
    if (init_mop_io() != VOK_ERR_NONE)
        return VOK_ERR_OMEM;
    mop_class = add_class({"vok_mop", fn<vok_mop_new>, fn<vok_mop_free>, sizeof(vok_mop)}, messages, attributes);
    return mop_class ? VOK_ERR_NONE : VOK_ERR_OMEM;
}

vok_mop *vok_mop_new(long inputcount, long outputcount)
{
    auto *mop = static_cast<vok_mop *>(vok_object_alloc(mop_class));
    if (!mop)
        return nullptr;
    mop->inputcount = inputcount;
    mop->outputcount = outputcount;
    mop->caninplace = mop->adapt = mop->outputmode = 1;
    if (!make_lists(mop) || append_records(mop, side::input, 1, inputcount) ||
        append_records(mop, side::output, 1, outputcount)) {
        vok_object_free(mop);
        return nullptr;
    }
    return mop;
}

void vok_mop_free(vok_mop *mop)
{
    for (void *list : {mop->inputlist, mop->outputlist})
        if (list)
            vok_object_free(list);
}

vok_mop *vok_mop_newcopy(vok_mop *mop)
{
    if (!mop)
        return nullptr;
    auto *copy = static_cast<vok_mop *>(vok_object_alloc(mop_class));
    if (!copy)
        return nullptr;
    copy->special = mop->special;
    copy->inputcount = mop->inputcount;
    copy->outputcount = mop->outputcount;
    copy->caninplace = mop->caninplace;
    copy->adapt = mop->adapt;
    copy->outputmode = mop->outputmode;
    if (!make_lists(copy) || !copy_records(mop, copy, side::input) || !copy_records(mop, copy, side::output)) {
        vok_object_free(copy);
        return nullptr;
    }
    return copy;
}

vok_err vok_mop_matrix_calc(vok_mop *mop, void *x)
{
    if (!mop || !x)
        return VOK_ERR_INVP;
    return send(x, _vok_sym_matrix_calc, mop->inputlist, mop->outputlist);
}

void *vok_mop_getinput(vok_mop *mop, long index)
{
    return entry(mop, side::input, index);
}

void *vok_mop_getoutput(vok_mop *mop, long index)
{
    return entry(mop, side::output, index);
}

void *vok_mop_getinputlist(vok_mop *mop)
{
    return mop ? mop->inputlist : nullptr;
}

void *vok_mop_getoutputlist(vok_mop *mop)
{
    return mop ? mop->outputlist : nullptr;
}

vok_err vok_mop_special(vok_mop *mop, void *special)
{
    if (!mop)
        return VOK_ERR_INVP;
    mop->special = special;
    return VOK_ERR_NONE;
}

void *vok_mop_getspecial(vok_mop *mop)
{
    return mop ? mop->special : nullptr;
}

vok_err vok_mop_addinputs(vok_mop *mop, long count)
{
    return add_records(mop, side::input, count);
}

vok_err vok_mop_addoutputs(vok_mop *mop, long count)
{
    return add_records(mop, side::output, count);
}

vok_err vok_mop_input_deletetail(vok_mop *mop)
{
    return delete_tail(mop, side::input);
}

vok_err vok_mop_output_deletetail(vok_mop *mop)
{
    return delete_tail(mop, side::output);
}

vok_err vok_mop_single_type(vok_mop *mop, symbol *type)
{
    if (!mop || !type)
        return VOK_ERR_NONE;
    atom a;
    atom_setsym(&a, type);
    each_record(mop, [&](void *io) { send(io, _vok_sym_types, 1, &a); });
    return VOK_ERR_NONE;
}

vok_err vok_mop_single_planecount(vok_mop *mop, long count)
{
    if (!mop)
        return VOK_ERR_NONE;
    each_record(mop, [&](void *io) {
        vok_attr_setlong(io, _vok_sym_minplanecount, count);
        vok_attr_setlong(io, _vok_sym_maxplanecount, count);
    });
    return VOK_ERR_NONE;
}

zan_word vok_mop_methodall(vok_mop *mop, symbol *message, ...)
{
    if (!mop || !message)
        return 0;
    zan_word w[8];
    va_list list;
    va_start(list, message);
    vok::take_words(list, w);
    va_end(list);
    zan_word result = 0;
    each_record(mop, [&](void *io) {
        result = object_method_imp(io, message, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
    });
    return result;
}

vok_err vok_mop_input_nolink(vok_mop *mop, long index)
{
    return cut_links(entry(mop, side::input, index));
}

vok_err vok_mop_output_nolink(vok_mop *mop, long index)
{
    return cut_links(entry(mop, side::output, index));
}

} // extern "C"

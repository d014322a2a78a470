// From trees to programs for batches: what goes together, what is kept in a matrix of its
// own, what is a line.
#include "calc/vok.expr.fused.h"

#include <algorithm>
#include <cstring>

#include <vokra/commonsyms.h>
#include <vokra/functor.h>
#include <vokra/kernel.h>
#include <vokra/matrix.h>

#include "calc/vok.expr.variables.h"
#include "calc/vok.op.h"
#include "kernel/message.h"
#include "matrix/copy_plan.h"

namespace vok::expr {
namespace {

long bytes_of(int type)
{
    return copy::cell_bytes[type];
}

// Whether cells lie side by side.
bool packed(const vok_matrix_info &info)
{
    return info.dimstride[0] == info.planecount * bytes_of(copy::cell_type_of(info.type));
}

// A number as a cell of the type.
void write_cell(int type, double value, unsigned char *to)
{
    atom a;
    atom_setfloat(&a, value);
    const auto put = [&](auto v) { std::memcpy(to, &v, sizeof v); };
    switch (type) {
    case copy::cell_char: put(static_cast<uint8_t>(atom_getcharfix(&a))); break;
    case copy::cell_long: put(static_cast<int32_t>(atom_getlong(&a))); break;
    case copy::cell_float32: put(static_cast<float>(value)); break;
    default: put(value); break;
    }
}

// Whether a functor's arguments or those of a foreign operator hold nothing that fails, and
// an input.
bool plain(vok_expr *x, node *call, bool &moving)
{
    const long count = argument_count(call);
    for (long i = 0; i < count; i++) {
        node *n = child_at(call, i);
        const token *t = token_of(n);
        if (t->type == vok_expr_token_variable) {
            const vok_expr_mxfn *variable = find_variable(word_of(t));
            moving = moving || (variable && variable->always);
        } else if (t->type == vok_expr_token_op) {
            const vok_op_fn *fn = vok_op_fn_lookup(word_of(t));
            if (fn ? fn->inputcount != child_count(n) || argument_count(n) != child_count(n)
                   : !vok_expr_wordisfunctor(word_of(t)))
                return false;
            if (!plain(x, n, moving))
                return false;
        } else if (t->type != vok_expr_token_number) {
            return false;
        }
    }
    return true;
}

// The bytes that a matrix's cells lie in.
struct span {
    uintptr_t low, high;
    span(const vok_matrix_info &info, const unsigned char *data)
        : low(reinterpret_cast<uintptr_t>(data)), high(low)
    {
        for (long d = 0; d < info.dimcount; d++) {
            const long reach = (info.dim[d] - 1) * info.dimstride[d];
            (reach < 0 ? low : high) += static_cast<uintptr_t>(reach);
        }
        high += static_cast<uintptr_t>(info.planecount * bytes_of(copy::cell_type_of(info.type)));
    }
};

} // namespace

fusion::fusion(vok_expr *x, void *inputs, vok_matrix_info &info, const vok_matrix_info &out, unsigned char *data)
    : x_(x), inputs_(inputs), info_(info), out_(out), data_(data), type_(copy::cell_type_of(info.type)),
      pending_(type_, out, data)
{
    for (int i = 0; i < chain_words; i++)
        chain_names_[i] = gensym(chain_word[i]);
    if (!copy::current_kernels() || copy::cell_type_of(out.type) < 0 || out.dimcount < 1 || out.planecount < 1)
        type_ = copy::cell_none;
}

fusion::~fusion()
{
    while (!locks_.empty())
        locks_.pop_back();
}

// ---- looking ----

// The index of what is known of a node, or -1 when the tree must go the other road.
int fusion::look(node *n)
{
    const token *t = token_of(n);
    part p;
    p.n = n;
    bool fits = false;
    if (t && t->type == vok_expr_token_number) {
        p.kind = part::number;
        p.value = atom_getfloat(&t->val);
        fits = true;
    } else if (t && t->type == vok_expr_token_variable) {
        fits = look_at_variable(n, p);
    } else if (t && t->type == vok_expr_token_op) {
        fits = look_at_call(n, p);
    }
    if (!fits)
        return -1;
    parts_.push_back(p);
    return static_cast<int>(parts_.size()) - 1;
}

bool fusion::look_at_variable(node *n, part &p)
{
    if (is_attribute(n))
        return false; // a call's attributes begin here, and it isn't a call that has any
    symbol *word = word_of(token_of(n));
    const vok_expr_mxfn *variable = find_variable(word);
    if (!variable) {
        const named_plane named = find_named(word, x_->curplane);
        p.kind = part::source;
        p.object = named.object;
        p.plane = named.plane;
        p.own = named.own;
        p.full = p.named = true;
    } else if (variable->fn == vok_expr_mxfn_dim) {
        p.kind = part::number;
        p.value = static_cast<double>(info_.dim[variable->index]);
    } else if (variable->fn == vok_expr_mxfn_norm) {
        p.kind = part::ramp;
        p.dim = variable->index;
        p.mode = variable->mode;
        p.along = info_.dim[p.dim] > 1 && p.dim < info_.dimcount ? 1u << p.dim : 0;
    } else if (variable->fn == vok_expr_mxfn_input || variable->fn == vok_expr_mxfn_input_plane) {
        p.kind = part::source;
        p.object = inputs_ ? ask<void>(inputs_, _vok_sym_getindex, variable->index) : nullptr;
        p.own = variable->fn == vok_expr_mxfn_input;
        p.plane = p.own ? x_->curplane : variable->mode;
        p.full = p.moving = true;
    } else {
        return false;
    }
    return true;
}

bool fusion::look_at_call(node *n, part &p)
{
    const token *t = token_of(n);
    const vok_op_fn *fn = vok_op_fn_lookup(word_of(t));
    if (fn && fn->inputcount != child_count(n))
        return false;
    if (fn) {
        p.fn = vok_op_sym2fn(word_of(t), info_.type);
        const op::cost cost = p.fn == vok_op_vector_ignore ? op::cost::unknown : op::cost_of(p.fn, type_);
        if (cost != op::cost::unknown) {
            p.kind = part::call;
            p.dear = op::is_library(p.fn, type_);
            p.count = static_cast<int>(fn->inputcount);
            for (int i = 0; i < p.count; i++) {
                p.kids[i] = look(child_at(n, i));
                if (p.kids[i] < 0)
                    return false;
                const part &kid = parts_[static_cast<size_t>(p.kids[i])];
                p.along |= kid.along;
                p.full = p.full || kid.full;
                p.moving = p.moving || kid.moving;
                p.named = p.named || kid.named;
                p.dear = p.dear || kid.dear;
            }
            return true;
        }
    } else if (!vok_expr_wordisfunctor(word_of(t))) {
        return false;
    }
    p.kind = part::matrix;
    p.full = true;
    return plain(x_, n, p.moving);
}

// Whether a call is calculated into its node's own matrix and kept there: what is dear and
// needs no input, and what is to stay as the registered matrix was.
bool fusion::keeps(const part &p) const
{
    const bool several = p.full || (p.along & (p.along - 1));
    return p.kind == part::call && !p.moving && (p.named || (several && p.dear));
}

// Whether a source can be read in place: cells as the output's, and where it shares bytes
// with the output it is the same cells.
bool fusion::readable(const part &p)
{
    if (!p.object)
        return true;
    const matrix_lock &m = locked(p.object);
    if (!m.data || copy::cell_type_of(m.info.type) < 0 || m.info.planecount < 1)
        return false;
    for (long d = 0; d < std::max(m.info.dimcount, out_.dimcount); d++)
        if (m.info.dim[d] != out_.dim[d])
            return false;
    const span its(m.info, m.data), outs(out_, data_);
    return its.high <= outs.low || outs.high <= its.low ||
           (m.data == data_ && m.info.type == out_.type && m.info.planecount == out_.planecount &&
            std::equal(out_.dimstride, out_.dimstride + out_.dimcount, m.info.dimstride));
}

// Whether its matrix holds what is wanted already.
bool fusion::settled(const part &p) const
{
    const token *t = token_of(p.n);
    if (p.moving || !x_->cache || !t->valid || !t->data)
        return false;
    vok_matrix_info has = {};
    send(t->data, _vok_sym_getinfo, &has);
    return same_shape(has, info_);
}

const matrix_lock &fusion::locked(void *object)
{
    for (const auto &held : locks_)
        if (held.first == object)
            return *held.second;
    locks_.emplace_back(object, std::make_unique<matrix_lock>(object));
    return *locks_.back().second;
}

// ---- emitting ----

struct fusion::emitter {
    fusion &f;
    batch &b;
    program &to;
    std::vector<bool> busy = {};
    bool failed = false;

    int take_buffer()
    {
        size_t i = 0;
        while (i < busy.size() && busy[i])
            i++;
        if (i == busy.size())
            busy.push_back(false);
        busy[i] = true;
        return static_cast<int>(i);
    }

    void give_back(const operand &o)
    {
        if (o.kind == operand::buffer && !o.shared)
            busy[static_cast<size_t>(o.index)] = false;
    }

    operand constant(double value)
    {
        unsigned char *cell = b.keep(8);
        write_cell(b.type, value, cell);
        return {operand::constant, 0, cell};
    }

    operand read(const vok_matrix_info &info, const unsigned char *data, long plane, bool own)
    {
        const int s = b.add_source(info, data, plane, own);
        if (b.in_place(b.sources[static_cast<size_t>(s)]))
            return {operand::matrix, s};
        for (const instruction &i : to.code)
            if (!i.fn && i.a.index == s)
                return {operand::buffer, i.out, nullptr, 0, true};
        const operand there = {operand::matrix, s};
        to.code.push_back({nullptr, there, there, take_buffer()});
        return {operand::buffer, to.code.back().out, nullptr, 0, true};
    }

    // The matrix of a node that holds what is wanted.
    operand read_own(const part &p)
    {
        const matrix_lock &m = f.locked(token_of(p.n)->data);
        failed = failed || !m.data;
        return failed ? constant(0) : read(m.info, m.data, 0, false);
    }

    operand ramp(const part &p)
    {
        const std::vector<double> values = ramp_values(f.info_, p.dim, p.mode);
        const long n = static_cast<long>(values.size());
        unsigned char *line = b.keep(n * bytes_of(b.type));
        copy::current_kernels()->convert[b.type][copy::cell_float64](line, values.data(), n);
        if (!p.along)
            return {operand::constant, 0, line};
        if (p.dim == 0 && b.together > 1) {
            unsigned char *repeated = b.keep(n * b.together * bytes_of(b.type));
            op::kernels().spread[b.type](n, line, 1, repeated, b.together);
            line = repeated;
        }
        return {operand::line, 0, line, static_cast<int>(p.dim)};
    }

    // A node whose matrix the other road fills.
    operand general(const part &p)
    {
        bool unchanged = true;
        if (prepare(f.x_, p.n, f.inputs_, &f.info_, unchanged) || !vok_expr_treecalc(f.x_, p.n))
            failed = true;
        return failed ? constant(0) : read_own(p);
    }

    operand emit(int index, bool whole)
    {
        const part p = f.parts_[static_cast<size_t>(index)];
        switch (p.kind) {
        case part::number: return constant(p.value);
        case part::ramp: return ramp(p);
        case part::source:
            if (!p.object)
                return constant(0);
            if (f.readable(p))
                return read(f.locked(p.object).info, f.locked(p.object).data, p.plane, p.own);
            return general(p);
        case part::matrix: return general(p);
        default: break;
        }
        if (!whole && f.keeps(p)) {
            failed = failed || (!f.settled(p) && !f.calculate_kept(p, index));
            return failed ? constant(0) : read_own(p);
        }
        return call(p);
    }

    operand call(const part &p)
    {
        const operand first = emit(p.kids[0], false), second = p.count > 1 ? emit(p.kids[1], false) : first;
        if (first.kind <= operand::line && second.kind <= operand::line) {
            const operand *lines[2] = {&first, &second};
            const bool crossing =
                first.kind == operand::line && second.kind == operand::line && first.dim != second.dim;
            if (!crossing)
                return line(p, first.kind == operand::line ? *lines[0] : *lines[1], first, second);
        }
        give_back(first);
        give_back(second);
        const int out = take_buffer();
        if (p.count == 1 || !join(p.fn, first, second, out))
            to.code.push_back({p.fn, first, second, out});
        return {operand::buffer, out};
    }

    // Makes one chain of this and of the last instructions, as far as they give the operands.
    bool join(vok_op_vector_fn fn, const operand &first, const operand &second, int out)
    {
        const int outer = chain_index(fn);
        if (outer < 0 || b.type < copy::cell_float32)
            return false;
        const int right = inner_index(to.code.size(), second);
        const int left = inner_index(to.code.size() - (right < chain_pass), first);
        if (left == chain_pass && right == chain_pass)
            return false;
        instruction joined = {fn, first, first, out};
        joined.c = joined.d = second;
        const auto take = [&](operand &x, operand &y) {
            x = to.code.back().a, y = to.code.back().b;
            to.code.pop_back();
        };
        if (right < chain_pass)
            take(joined.c, joined.d);
        if (left < chain_pass)
            take(joined.a, joined.b);
        joined.chain = kernels()->chain[b.type - copy::cell_float32][left][right][outer];
        to.code.push_back(joined);
        return true;
    }

    // The operator of the last of `count` instructions if it is one for chains and gives `o`, else
    // pass.
    int inner_index(size_t count, const operand &o) const
    {
        if (!count || o.kind != operand::buffer || o.shared)
            return chain_pass;
        const instruction &i = to.code[count - 1];
        const int index = i.out == o.index && !i.chain ? chain_index(i.fn) : -1;
        return index < 0 ? chain_pass : index;
    }

    int chain_index(vok_op_vector_fn fn) const
    {
        for (int i = 0; fn && i < chain_words; i++)
            if (fn == vok_op_sym2fn(f.chain_names_[i], f.info_.type))
                return i;
        return -1;
    }

    // Calculated here and now, like the operand `like`.
    operand line(const part &p, const operand &like, const operand &first, const operand &second)
    {
        const long n = like.kind != operand::line ? 1 : f.info_.dim[like.dim] * (like.dim == 0 ? b.together : 1);
        unsigned char *values = b.keep(n * bytes_of(b.type));
        const auto arg = [](const operand &o) {
            return vok_op_vector_arg{const_cast<unsigned char *>(o.p), o.kind == operand::line ? 1 : 0};
        };
        vok_op_vector_arg x = arg(first), y = arg(second), z{values, 1};
        p.fn(n, nullptr, &x, &y, &z);
        return {like.kind, 0, values, like.dim};
    }

    void finish(const operand &o)
    {
        const bool made = o.kind == operand::buffer && !o.shared;
        if (!made && (o.kind != operand::buffer || b.direct())) {
            to.code.push_back({vok_op_sym2fn(gensym("pass"), f.info_.type), o, o, take_buffer()});
        } else if (!made) {
            to.result = o.index; // loaded, and only to be converted again
        }
        if (to.result < 0) {
            if (b.direct())
                to.code.back().out = -1;
            else
                to.result = to.code.back().out;
        }
        to.buffers = static_cast<int>(busy.size());
    }
};

// `whole`: the root itself is calculated, not kept.
bool fusion::emit(batch &b, program &to, int root, bool whole)
{
    emitter e{*this, b, to};
    const operand o = e.emit(root, whole);
    if (!e.failed)
        e.finish(o);
    return !e.failed;
}

bool fusion::calculate_kept(const part &p, int index)
{
    token *t = token_of(p.n);
    if (!t->data)
        t->data = vok_matrix_new(&info_);
    else
        send(t->data, _vok_sym_setinfo, &info_);
    const matrix_lock m(t->data);
    if (!m.data)
        return false;
    batch b(type_, m.info, m.data);
    program own;
    if (!emit(b, own, index, true))
        return false;
    b.programs.push_back(std::move(own));
    b.run();
    t->valid = 1;
    return true;
}

bool fusion::take_all(node *tree)
{
    if (type_ < 0 || out_.planecount < 2 || !packed(out_) || child_count(tree) != 1)
        return false;
    parts_.clear();
    const int root = look(child_at(tree, 0));
    if (root < 0)
        return false;
    for (const part &p : parts_)
        if ((p.kind == part::matrix || keeps(p)) ? p.moving || !x_->cache
                                                 : p.kind == part::source && !one_for_all(p))
            return false;
    batch all(type_, out_, data_, out_.planecount);
    program next;
    if (emit(all, next, root, false)) {
        all.programs.push_back(std::move(next));
        all.run();
    }
    return true;
}

// Whether a source gives each plane its like, or all planes one that no plane is written to.
bool fusion::one_for_all(const part &p)
{
    if (!p.object)
        return true;
    if (!readable(p))
        return false;
    const matrix_lock &m = locked(p.object);
    return (p.own && packed(m.info) && m.info.planecount == out_.planecount) ||
           ((!p.own || m.info.planecount == 1) && m.data != data_);
}

bool fusion::take(long plane, node *tree)
{
    if (type_ < 0 || child_count(tree) != 1)
        return false;
    parts_.clear();
    const int root = look(child_at(tree, 0));
    if (root < 0)
        return false;
    // what is about to be calculated into a matrix may be read by what is waiting, or read
    // what that is to write
    for (const part &p : parts_)
        if ((p.kind == part::matrix || keeps(p)) ? !settled(p) : p.kind == part::source && !readable(p))
            flush();
    program next;
    next.plane = plane;
    if (emit(pending_, next, root, false))
        pending_.programs.push_back(std::move(next));
    return true;
}

void fusion::flush()
{
    pending_.run();
}

} // namespace vok::expr

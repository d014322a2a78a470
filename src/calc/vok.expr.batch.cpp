// The running of programs over the rows of an output, block by block, on the pool.
#include <algorithm>
#include <set>
#include <utility>

#include <vokra/parallel_ndim.h>

#include "calc/vok.expr.fused.h"
#include "calc/vok.op.h"
#include "kernel/isa.h"
#include "kernel/message.h"
#include "matrix/copy_plan.h"

namespace vok::expr {

VOKRA_PER_ISA(kernel_table, table)

const kernel_table *kernels()
{
    return table_in_use();
}

namespace {

// Of a buffer. What a program touches of a block should fit a first-level cache of 32 to 48 KiB:
// four runs of 8 KiB do, above that blocks of half the size are faster. So they are where a
// function takes its time, during which the next operands come in (measured).
constexpr long block_bytes = 8192;
constexpr int buffers_on_stack = 12;

long bytes_of(int type)
{
    return copy::cell_bytes[type];
}

// How many cells a block has, when a row has n: equal blocks, none larger than fits.
long block_of(long n, long most)
{
    const long blocks = (n + most - 1) / most;
    return std::min(most, ((n + blocks - 1) / blocks + 15) & ~15L);
}

// Whether the runs of elements that a program touches (sources, lines, buffers, the output) fit
// in whole blocks, and none of its functions takes long.
bool is_light(const program &p, int type)
{
    std::set<std::pair<int, uintptr_t>> runs;
    for (const instruction &i : p.code) {
        if (op::is_library(i.fn, type))
            return false;
        runs.emplace(operand::buffer, static_cast<uintptr_t>(i.out));
        for (const operand *o : {&i.a, &i.b, &i.c, &i.d})
            if (o->kind == operand::matrix)
                runs.emplace(o->kind, static_cast<uintptr_t>(o->index));
            else if (o->kind == operand::line && o->dim == 0)
                runs.emplace(o->kind, reinterpret_cast<uintptr_t>(o->p));
    }
    return runs.size() <= 4;
}

} // namespace

// Where the walk stands.
struct batch::row {
    unsigned char *out;
    long at[32];
    std::vector<const unsigned char *> sources; // their first cell of this row
};

// A worker's blocks: two for what is on its way, then the buffers.
struct batch::room {
    unsigned char *first;
    unsigned char *scratch(int i) const { return first + i * block_bytes; }
    unsigned char *buffer(int i) const { return first + (2 + i) * block_bytes; }
};

batch::batch(int t, const vok_matrix_info &o, unsigned char *data, long all)
    : type(t), out(o), together(all), data_(data), out_type_(copy::cell_type_of(o.type)),
      kernels_(copy::current_kernels())
{
}

int batch::add_source(const vok_matrix_info &info, const unsigned char *data, long plane, bool own)
{
    const int t = copy::cell_type_of(info.type);
    const long size = bytes_of(t);
    const bool whole = own && info.planecount == together;
    const unsigned char *first = whole ? data : data + plane % info.planecount * size;
    for (size_t i = 0; i < sources.size(); i++)
        if (sources[i].data == first && sources[i].type == t && sources[i].whole == whole)
            return static_cast<int>(i);
    sources.push_back({&info, first, t, info.dimstride[0] / size * size, whole, {}});
    return static_cast<int>(sources.size()) - 1;
}

bool batch::in_place(const source &s) const
{
    return s.type == type && s.cell == together * bytes_of(type) && (together == 1 || s.whole);
}

unsigned char *batch::keep(long bytes)
{
    kept_.emplace_back(new unsigned char[static_cast<size_t>(bytes)]);
    return kept_.back().get();
}

bool batch::direct() const
{
    return out_type_ == type && out.dimstride[0] == together * bytes_of(type);
}

vok_op_vector_arg batch::resolve(const operand &o, const row &r, long from, const room &space) const
{
    const long size = bytes_of(type);
    const auto arg = [](const unsigned char *p, long stride) {
        return vok_op_vector_arg{const_cast<unsigned char *>(p), stride};
    };
    switch (o.kind) {
    case operand::constant: return arg(o.p, 0);
    case operand::line:
        return o.dim == 0 ? arg(o.p + from * together * size, 1) : arg(o.p + r.at[o.dim] * size, 0);
    case operand::matrix: return arg(r.sources[static_cast<size_t>(o.index)] + from * together * size, 1);
    default: return arg(space.buffer(o.index), 1);
    }
}

// A source's cells, from `at` on, as elements of the calculation.
void batch::load(const source &s, const unsigned char *at, long cells, unsigned char *to, const room &space) const
{
    const bool whole = s.whole && together > 1;
    const long n = whole ? cells * together : cells, size = bytes_of(s.type);
    unsigned char *one_plane = whole || together == 1 ? to : space.scratch(1);
    if (!whole && s.cell != size) {
        unsigned char *packed = s.type == type ? one_plane : space.scratch(0);
        if (size == 1 && s.cell == 4) {
            kernels()->take_of_four(packed, at, n);
        } else {
            copy::collect_job job = {};
            job.offset = s.offset.data();
            job.n = n;
            job.bytes = size;
            job.planes = 1;
            kernels_->chunk[size](packed, at, &job);
        }
        at = packed;
    }
    if (at != one_plane && (s.type != type || together == 1 || whole)) {
        kernels_->convert[type][s.type](one_plane, at, n);
        at = one_plane;
    }
    if (at != to)
        op::kernels().spread[type](cells, at, 1, to, together);
}

void batch::store(const program &p, unsigned char *at, long cells, const room &space) const
{
    const unsigned char *result = space.buffer(p.result);
    const long n = cells * together, size = bytes_of(out_type_);
    const bool packed = out.dimstride[0] == together * size;
    if (packed || out_type_ != type) {
        unsigned char *to = packed ? at : space.scratch(0);
        kernels_->convert[out_type_][type](to, result, n);
        result = to;
    }
    constexpr long first_plane = 0;
    if (packed)
        return;
    if (size == 1 && out.dimstride[0] == 4)
        kernels()->put_in_four(at, result, n);
    else
        kernels_->scatter[out_type_](at, out.dimstride[0], result, n, &first_plane, 1);
}

void batch::calculate(const program &p, const row &r, long from, long cells, const room &space) const
{
    unsigned char *at = r.out + p.plane * bytes_of(out_type_) + from * out.dimstride[0];
    const long n = cells * together;
    for (const instruction &i : p.code) {
        if (!i.fn) {
            const source &s = sources[static_cast<size_t>(i.a.index)];
            load(s, r.sources[static_cast<size_t>(i.a.index)] + from * s.cell, cells, space.buffer(i.out), space);
            continue;
        }
        vok_op_vector_arg a = resolve(i.a, r, from, space), b = resolve(i.b, r, from, space);
        vok_op_vector_arg z{i.out < 0 ? at : space.buffer(i.out), 1};
        if (i.chain) {
            const vok_op_vector_arg c = resolve(i.c, r, from, space), d = resolve(i.d, r, from, space);
            i.chain(n, &a, &b, &c, &d, z.p);
        } else {
            i.fn(n, nullptr, &a, &b, &z);
        }
    }
    if (p.result >= 0)
        store(p, at, cells, space);
}

// A worker's rows, over all higher dimensions.
void batch::slice(batch *self, long dimcount, long *dim, long, vok_matrix_info *info, unsigned char *first,
                  vok_parallel_ndim_worker *worker)
{
    int count = 0;
    for (const program &p : self->programs)
        count = std::max(count, p.buffers + 2);
    alignas(64) unsigned char near_room[buffers_on_stack * block_bytes];
    const std::unique_ptr<unsigned char[]> far_room(
        count > buffers_on_stack ? new unsigned char[static_cast<size_t>(count * block_bytes)] : nullptr);
    const room space = {far_room ? far_room.get() : near_room};

    row r{first, {}, std::vector<const unsigned char *>(self->sources.size())};
    const long rows = dimcount > 1 ? dim[1] : 1;
    for (;;) {
        for (long y = 0; y < rows; y++) {
            r.at[1] = worker->offset[1] + y;
            r.out = first + y * info->dimstride[1];
            for (long d = 2; d < dimcount; d++)
                r.out += r.at[d] * info->dimstride[d];
            for (size_t i = 0; i < r.sources.size(); i++) {
                const source &s = self->sources[i];
                r.sources[i] = s.data;
                for (long d = 1; d < dimcount; d++)
                    r.sources[i] += r.at[d] * s.info->dimstride[d];
            }
            for (long from = 0; from < dim[0]; from += self->block_)
                for (const program &p : self->programs)
                    self->calculate(p, r, from, std::min(self->block_, dim[0] - from), space);
        }
        long d = 2;
        while (d < dimcount && ++r.at[d] == dim[d])
            r.at[d++] = 0;
        if (d >= dimcount)
            return;
    }
}

void batch::run()
{
    if (programs.empty())
        return;
    long widest = std::max(bytes_of(type), bytes_of(out_type_));
    for (const source &s : sources)
        widest = std::max(widest, bytes_of(s.type));
    const bool light =
        std::all_of(programs.begin(), programs.end(), [&](const program &p) { return is_light(p, type); });
    block_ = block_of(out.dim[0], (light ? block_bytes : block_bytes / 2) / (widest * together));
    for (source &s : sources)
        if (!s.whole && s.cell != bytes_of(s.type)) {
            s.offset.resize(static_cast<size_t>(block_));
            for (long i = 0; i < block_; i++)
                s.offset[static_cast<size_t>(i)] = static_cast<int32_t>(i * s.cell);
        }
    long dim[32];
    std::copy_n(out.dim, 32, dim);
    vok_matrix_info info = out;
    vok_parallel_ndim_simplecalc1(method(slice), this, out.dimcount, dim, out.planecount, &info, data_, 0);
    programs.clear();
    sources.clear();
    kept_.clear();
}

} // namespace vok::expr

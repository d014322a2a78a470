// The running of programs over the rows of an output, block by block, on the pool.
#include <algorithm>
#include <array>

#include <vokra/parallel_ndim.h>

#include "calc/vok.expr.fused.h"
#include "kernel/message.h"
#include "matrix/copy_plan.h"

namespace vok::expr {
namespace {

constexpr long block_bytes = 8192;
constexpr int buffers_on_stack = 12;

long bytes_of(int type)
{
    return copy::cell_bytes[type];
}

// How many cells a block has, when a row has n: equal blocks, none larger than fits.
long block_of(long n, long most)
{
    const long blocks = std::max(1L, (n + most - 1) / most);
    return std::min(most, ((n + blocks - 1) / blocks + 63) & ~63L);
}

} // namespace

// Where the walk stands.
struct batch::row {
    unsigned char *out;
    long at[32];
    std::vector<const unsigned char *> sources; // their first cell of this row
};

batch::batch(int t, const vok_matrix_info &o, unsigned char *data)
    : type(t), out(o), data_(data), out_type_(copy::cell_type_of(o.type)), kernels_(copy::current_kernels())
{
}

int batch::add_source(const vok_matrix_info &info, const unsigned char *data, long plane)
{
    const int t = copy::cell_type_of(info.type);
    const long size = bytes_of(t);
    const unsigned char *first = data + plane % info.planecount * size;
    for (size_t i = 0; i < sources.size(); i++)
        if (sources[i].data == first && sources[i].type == t)
            return static_cast<int>(i);
    sources.push_back({&info, first, t, info.dimstride[0] / size * size, {}});
    return static_cast<int>(sources.size()) - 1;
}

unsigned char *batch::keep(long bytes)
{
    kept_.emplace_back(new unsigned char[static_cast<size_t>(bytes)]);
    return kept_.back().get();
}

bool batch::direct() const
{
    return out_type_ == type && out.dimstride[0] == bytes_of(type);
}

vok_op_vector_arg batch::resolve(const operand &o, const row &r, long from, const unsigned char *buffers) const
{
    const long size = bytes_of(type);
    const auto arg = [](const unsigned char *p, long stride) {
        return vok_op_vector_arg{const_cast<unsigned char *>(p), stride};
    };
    switch (o.kind) {
    case operand::constant: return arg(o.p, 0);
    case operand::line: return o.dim == 0 ? arg(o.p + from * size, 1) : arg(o.p + r.at[o.dim] * size, 0);
    case operand::matrix: return arg(r.sources[static_cast<size_t>(o.index)] + from * size, 1);
    default: return arg(buffers + o.index * block_bytes, 1);
    }
}

void batch::load(const source &s, const unsigned char *cells, long n, unsigned char *to,
                 unsigned char *scratch) const
{
    if (s.cell != bytes_of(s.type)) {
        copy::collect_job job = {};
        job.offset = s.offset.data();
        job.n = n;
        job.bytes = bytes_of(s.type);
        job.planes = 1;
        unsigned char *packed = s.type == type ? to : scratch;
        kernels_->chunk[job.bytes](packed, cells, &job);
        cells = packed;
    }
    if (cells != to)
        kernels_->convert[type][s.type](to, cells, n);
}

void batch::calculate(const program &p, const row &r, long from, long n, unsigned char *buffers,
                      unsigned char *scratch) const
{
    unsigned char *out_cells = r.out + p.plane * bytes_of(out_type_) + from * out.dimstride[0];
    for (const instruction &i : p.code) {
        if (!i.fn) {
            const source &s = sources[static_cast<size_t>(i.a.index)];
            load(s, r.sources[static_cast<size_t>(i.a.index)] + from * s.cell, n, buffers + i.out * block_bytes,
                 scratch);
            continue;
        }
        vok_op_vector_arg a = resolve(i.a, r, from, buffers), b = resolve(i.b, r, from, buffers);
        vok_op_vector_arg z{i.out < 0 ? out_cells : buffers + i.out * block_bytes, 1};
        i.fn(n, nullptr, &a, &b, &z);
    }
    if (p.result < 0)
        return;
    const unsigned char *result = buffers + p.result * block_bytes;
    const bool packed = out.dimstride[0] == bytes_of(out_type_);
    if (packed || out_type_ != type) {
        unsigned char *to = packed ? out_cells : scratch;
        kernels_->convert[out_type_][type](to, result, n);
        result = to;
    }
    constexpr long first_plane = 0;
    if (!packed)
        kernels_->scatter[out_type_](out_cells, out.dimstride[0], result, n, &first_plane, 1);
}

// A worker's rows, over all higher dimensions.
void batch::slice(batch *self, long dimcount, long *dim, long, vok_matrix_info *info, unsigned char *first,
                  vok_parallel_ndim_worker *worker)
{
    int count = 1;
    for (const program &p : self->programs)
        count = std::max(count, p.buffers + 1);
    alignas(64) unsigned char near_buffers[buffers_on_stack * block_bytes];
    const std::unique_ptr<unsigned char[]> far_buffers(
        count > buffers_on_stack ? new unsigned char[static_cast<size_t>(count * block_bytes)] : nullptr);
    unsigned char *scratch = far_buffers ? far_buffers.get() : near_buffers;
    unsigned char *buffers = scratch + block_bytes;

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
                    self->calculate(p, r, from, std::min(self->block_, dim[0] - from), buffers, scratch);
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
    block_ = block_of(out.dim[0], block_bytes / widest);
    for (source &s : sources)
        if (s.cell != bytes_of(s.type)) {
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

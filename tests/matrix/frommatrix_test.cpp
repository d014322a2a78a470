// The copy between matrices: thousands of random cases against the model, on every
// instruction set of the machine and on the general road; where bytes are shared;
// and the messages between matrices.
#include "matrix/matrix_tools.h"

#include <algorithm>
#include <limits>
#include <random>
#include <set>

#include <vokra/matrix_copy.h>

#include "matrix/copy_model.h"
#include "other_paths.h"

namespace {

const char *const type_names[] = {"char", "long", "float32", "float64"};

// A block of cells, exactly as large as its info says, at any alignment, so that the
// address sanitizer sees a step outside.
struct block {
    vok_matrix_info info = {};
    long shift = 0; // of the first cell from the start of the allocation
    std::vector<unsigned char> bytes;

    unsigned char *data() { return bytes.data() + shift; }
};

struct generator {
    explicit generator(unsigned seed) : random(seed) { initialize(); }

    long pick(long low, long high)
    {
        return low + static_cast<long>(random() % static_cast<unsigned long>(high - low + 1));
    }
    bool chance(int percent) { return pick(1, 100) <= percent; }

    // Numbers, some of them special.
    void fill(block &b)
    {
        constexpr double inf = std::numeric_limits<double>::infinity();
        constexpr double specials[] = {0.0,           -0.0, 1.0,   255.0, -1e-40, 2147483647.0, 2147483648.0,
                                       -2147483649.0, 1e30, -1e30, inf,   -inf,   NAN};
        const char kind = copy_model::kind_of(b.info.type);
        const long size = copy_model::bytes_of(kind);
        const bool special = chance(40);
        std::generate(b.bytes.begin(), b.bytes.end(), [this] { return static_cast<unsigned char>(random()); });
        if (kind == 'f' || kind == 'd')
            for (long at = 0; b.shift + at + size <= static_cast<long>(b.bytes.size()); at += size)
                copy_model::store(kind, b.data() + at,
                                  special && chance(20) ? specials[pick(0, 12)]
                                                        : static_cast<double>(pick(-999, 1001)) / 500);
    }

    block make(const char *type, long planes, long dimcount, bool large)
    {
        block b;
        b.info.type = gensym(type);
        b.info.planecount = planes;
        b.info.dimcount = dimcount;
        std::fill(b.info.dim, b.info.dim + 32, 1);
        for (long k = 0; k < dimcount; k++)
            b.info.dim[k] = k > 1 ? pick(1, 3) : chance(12) ? pick(20, 150) : pick(1, chance(15) ? 2 : 20);
        if (large) { // along one dimension
            std::fill_n(b.info.dim, std::min(dimcount, 2L), pick(1, 2));
            b.info.dim[dimcount > 1 && chance(50)] = pick(8097, 8200);
        }
        long bytes =
            planes * copy_model::bytes_of(copy_model::kind_of(b.info.type)) + (chance(25) ? pick(1, 9) : 0);
        for (long k = 0; k < dimcount; k++) {
            b.info.dimstride[k] = bytes;
            bytes *= b.info.dim[k];
            if (k == 0)
                bytes += chance(33) ? 0 : chance(50) ? (16 - bytes % 16) % 16 : pick(1, 40);
        }
        b.info.size = bytes;
        b.shift = chance(30) ? pick(1, 7) : 0;
        b.bytes.resize(static_cast<size_t>(bytes + b.shift));
        fill(b);
        return b;
    }

    vok_matrix_conv_info record(const block &dst, const block &src)
    {
        vok_matrix_conv_info conv = {};
        conv.flags = (chance(60) ? vok_matrix_conv_interp : 0) | (chance(50) ? vok_matrix_conv_usesrcdim : 0) |
                     (chance(40) ? vok_matrix_conv_usedstdim : 0);
        const long kind = pick(0, 5);
        for (int p = 0; p < 32; p++)
            conv.planemap[p] = kind < 2 ? p : kind == 2 ? 3 - p % 4 : kind == 3 ? pick(0, 3) : pick(-2, 40);
        for (int k = 0; k < 32; k++) {
            const auto index = [&](long dim, long usual) {
                return chance(30) ? usual : chance(10) ? pick(-5, dim + 5) : pick(0, dim - 1);
            };
            conv.srcdimstart[k] = index(src.info.dim[k], 0);
            conv.srcdimend[k] = index(src.info.dim[k], src.info.dim[k] - 1);
            conv.dstdimstart[k] = index(dst.info.dim[k], 0);
            conv.dstdimend[k] = index(dst.info.dim[k], dst.info.dim[k] - 1);
        }
        return conv;
    }

    std::mt19937 random;
};

// A packed matrix of these dimensions.
vok_matrix_info packed(const char *type, long planes, std::initializer_list<long> dims)
{
    initialize(); // the library knows types by its common symbols
    vok_matrix_info info = shape(type, planes, dims);
    info.size = planes * copy_model::bytes_of(copy_model::kind_of(info.type));
    for (long k = 0; k < info.dimcount; k++) {
        info.dimstride[k] = info.size;
        info.size *= info.dim[k];
    }
    return info;
}

// Planes as they are, all ranges 0.
vok_matrix_conv_info record(long flags)
{
    vok_matrix_conv_info conv = {};
    conv.flags = flags;
    for (int p = 0; p < 32; p++)
        conv.planemap[p] = p;
    return conv;
}

// Which NaN comes out of a sum of several is the processor's choice. `n`: the dimensions below.
void unify_nans(const vok_matrix_info &m, unsigned char *at, long n)
{
    const char kind = copy_model::kind_of(m.type);
    const long size = copy_model::bytes_of(kind);
    const long stride = n > 1 ? m.dimstride[n - 1] : n > 0 ? m.dimstride[0] / size * size : size;
    for (long i = 0; i < (n > 0 ? m.dim[n - 1] : m.planecount); i++, at += stride)
        if (n > 0)
            unify_nans(m, at, n - 1);
        else if (std::isnan(copy_model::read(kind, at)))
            std::fill(at, at + size, 0xFF);
}

TEST(frommatrix, random_cases)
{
    std::set<std::string> taken;
    using slice_function = decltype(vok_matrix_frommatrix_2d_char);
    slice_function *const slices[] = {vok_matrix_frommatrix_2d_char, vok_matrix_frommatrix_2d_long,
                                      vok_matrix_frommatrix_2d_float32, vok_matrix_frommatrix_2d_float64};
    for (unsigned seed = 0; seed < 6000; seed++) {
        generator g(seed);
        const bool large = seed % 16 == 0;
        const long dimcount = large || g.chance(60) ? 2 : g.pick(1, 4);
        // every pair of types in turn, twice as often the same
        const unsigned pair = seed / 16 % 20;
        const char *dst_type = type_names[pair % 4], *src_type = type_names[pair < 16 ? pair / 4 : pair % 4];
        const auto planes = [&] {
            return g.chance(50) ? 4L : g.chance(95) || large ? g.pick(1, 6) : g.pick(7, 32);
        };
        const long dst_planes = planes();
        block src =
            g.make(src_type, g.chance(50) ? dst_planes : planes(), g.chance(80) ? dimcount : g.pick(1, 4), large);
        block dst = g.make(dst_type, dst_planes, dimcount, large && g.chance(50));
        if (g.chance(20)) // the same size, so that straight copies come up
            for (int k = 0; k < 2; k++)
                if (k < std::min(src.info.dimcount, dst.info.dimcount))
                    src.info.dim[k] = dst.info.dim[k] = std::min(src.info.dim[k], dst.info.dim[k]);
        vok_matrix_conv_info conv = g.record(dst, src);
        vok_matrix_conv_info *record = g.chance(80) ? &conv : nullptr;

        block expected = dst;
        const long n = std::max(dst.info.dimcount, src.info.dimcount);
        const char which = copy_model::walk(n, record, dst.info, expected.data(), src.info, src.data());
        if (n == 2 && g.chance(20)) {
            slices[pair % 4](record, &dst.info, dst.data(), &src.info, src.data());
        } else if (g.chance(50) && !vok_matrix_canfastcopy(record, &dst.info, &src.info)) {
            dst.info.flags = src.info.flags = vok_matrix_flag_reference | vok_matrix_flag_use;
            const matrix to(dst.info), from(src.info);
            send_words(to, "data", as_word(dst.data()));
            send_words(from, "data", as_word(src.data()));
            vok_matrix_conv_info kept = conv; // ranges are clamped in place
            for (int k = 0; k < 32 && record; k++) {
                for (long *range : {kept.srcdimstart, kept.srcdimend})
                    range[k] = conv.flags & 4 ? std::clamp(range[k], 0L, src.info.dim[k] - 1) : range[k];
                for (long *range : {kept.dstdimstart, kept.dstdimend})
                    range[k] = conv.flags & 8 ? std::clamp(range[k], 0L, dst.info.dim[k] - 1) : range[k];
            }
            ASSERT_EQ(send_words(to, "frommatrix", as_word(from), as_word(record)), 0);
            ASSERT_EQ(std::memcmp(&conv, &kept, sizeof conv), 0);
        } else {
            vok_matrix_frommatrix_calculate_ndim(n, record, &dst.info, dst.data(), &src.info, src.data());
        }
        taken.insert(std::string(1, which) + dst_type + src_type);
        if (which == 'E') {
            unify_nans(dst.info, dst.data(), dst.info.dimcount);
            unify_nans(dst.info, expected.data(), dst.info.dimcount);
        }
        ASSERT_EQ(std::mismatch(dst.bytes.begin(), dst.bytes.end(), expected.bytes.begin()).first -
                      dst.bytes.begin(),
                  static_cast<long>(dst.bytes.size()))
            << "seed " << seed << ", case " << which << ", " << dst_type << " from " << src_type;
    }
    EXPECT_EQ(taken.size(), 4 * 16 + 4u) << "every case of every pair of types; in fixed point only char is read";
}

TEST(frommatrix_path, agrees_with_the_model)
{
    run_on_every_path("frommatrix.*");
}

TEST(frommatrix, huge_mirrored_sources)
{
    // 16.16 positions wrap here: whatever they point at is inside, and all roads agree
    generator g(1);
    for (const auto &[from, to] : {std::pair{100000L, 3000L}, {33000, 8000}, {69905, 16}}) // the last wraps twice
        for (int test = 0; test < 16; test++) {
            const char *type = type_names[test / 4];
            block src, dst;
            src.info = test & 2 ? packed("char", 4, {from, 2}) : packed("char", 4, {2, from});
            dst.info = test & 2 ? packed(type, 4, {to, 3}) : packed(type, 4, {3, to});
            for (block *b : {&src, &dst}) {
                b->bytes.resize(static_cast<size_t>(b->info.size));
                g.fill(*b);
            }
            auto conv = record(vok_matrix_conv_usesrcdim | (test & 1 ? vok_matrix_conv_interp : 0));
            for (int k = 0; k < 2; k++)
                conv.srcdimstart[k] = src.info.dim[k] - 1;
            block expected = dst;
            copy_model::walk(2, &conv, dst.info, expected.data(), src.info, src.data());
            vok_matrix_frommatrix_calculate_ndim(2, &conv, &dst.info, dst.data(), &src.info, src.data());
            EXPECT_TRUE(dst.bytes == expected.bytes) << from << " to " << to << ", test " << test;
        }
}

using bytes = std::vector<unsigned char>;

TEST(frommatrix_result, where_bytes_are_shared_the_order_shows)
{
    vok_matrix_info shared = packed("char", 1, {3, 3});
    shared.dimstride[1] = 1; // each row but the last is overwritten by the next
    vok_matrix_conv_info reversed = record(0);
    for (int p = 0; p < 4; p++)
        reversed.planemap[p] = 3 - p;
    const vok_matrix_info c22 = packed("char", 1, {2, 2}), c21 = packed("char", 1, {2, 1});
    const vok_matrix_info planes = packed("char", 4, {2, 1});
    const struct {
        long dimcount;
        const vok_matrix_conv_info *conv;
        vok_matrix_info dst, src;
        bytes cells;
        long source; // where its cells begin; the destination's begin at 0
        bytes expected;
    } rows[] = {
        {1, nullptr, c22, c21, {77, 77, 77, 77, 1, 2}, 4, {1, 2, 77, 77, 1, 2}},
        {2, nullptr, c22, c22, {77, 77, 77, 77, 1, 2, 3, 4}, 4, {1, 2, 3, 4, 1, 2, 3, 4}},
        {0, nullptr, c22, c21, {77, 77, 77, 77, 1, 2}, 4, {77, 77, 77, 77, 1, 2}},
        {2,
         nullptr,
         shared,
         packed("char", 1, {3, 1}),
         {7, 7, 7, 7, 7, 7, 1, 2, 3},
         6,
         {1, 1, 1, 2, 3, 7, 1, 2, 3}},
        // the first plane is written before the last one reads it
        {2, &reversed, planes, planes, {1, 2, 3, 4, 5, 6, 7, 8}, 0, {4, 3, 3, 4, 8, 7, 7, 8}},
        // the second row is read when the first, twice as long, has gone over it
        {2, nullptr, packed("char", 1, {4, 2}), c22, {1, 2, 3, 4, 5, 6, 7, 8}, 0, {1, 1, 1, 1, 1, 1, 1, 1}},
        {2, nullptr, packed("symbol", 1, {1, 1}), c21, {1, 2, 3, 4, 5, 6, 7, 8}, 4, {1, 2, 3, 4, 5, 6, 7, 8}},
        {2, nullptr, c21, packed("pointer", 1, {1, 1}), {1, 2, 3, 4, 5, 6, 7, 8}, 4, {1, 2, 3, 4, 5, 6, 7, 8}},
    };
    for (const auto &row : rows) {
        bytes cells = row.cells;
        vok_matrix_frommatrix_calculate_ndim(row.dimcount, row.conv, &row.dst, cells.data(), &row.src,
                                             cells.data() + row.source);
        EXPECT_EQ(cells, row.expected) << &row - rows;
    }
}

TEST(canfastcopy, asks_for_the_very_same_shape)
{
    vok_matrix_info a = packed("char", 4, {5, 3}), b = a;
    auto conv = record(0);
    EXPECT_TRUE(vok_matrix_canfastcopy(nullptr, &a, &b) && vok_matrix_canfastcopy(&conv, &a, &b));
    conv.planemap[2] = 1;
    EXPECT_EQ(vok_matrix_canfastcopy(&conv, &a, &b), 0);
    for (const long end : {1, 0}) // one past the last is what counts as whole
        for (const long flag : {vok_matrix_conv_usesrcdim, vok_matrix_conv_usedstdim}) {
            conv = record(flag);
            for (int k = 0; k < 2; k++)
                conv.srcdimend[k] = conv.dstdimend[k] = a.dim[k] - end;
            EXPECT_EQ(vok_matrix_canfastcopy(&conv, &a, &b), !end);
        }
    b.dimstride[1] += 16;
    EXPECT_EQ(vok_matrix_canfastcopy(nullptr, &a, &b), 0);
}

// ---- the messages ----

TEST_F(Library, frommatrix_copies_padding_and_gives_locks_back)
{
    const long handle = vok_matrix_flag_handle | vok_matrix_flag_use;
    const matrix padded("char", 1, {3, 2}), twin("char", 1, {3, 2}), from("char", 1, {2, 2}, handle);
    const matrix to("char", 1, {3, 3}, handle),
        empty("char", 1, {2, 2}, vok_matrix_flag_use | vok_matrix_flag_reference);
    std::memset(padded->data, 5, 32);
    EXPECT_EQ(send_words(twin, "frommatrix", as_word(padded)), 0);
    EXPECT_EQ(std::memcmp(padded->data, twin->data, 32), 0);
    EXPECT_EQ(vok_matrix_frommatrix(to, from, nullptr), 0);
    EXPECT_TRUE(!sysmem_lockhandle(to->handle, 0) && !sysmem_lockhandle(from->handle, 0));
    EXPECT_EQ(vok_matrix_frommatrix(to, empty, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(vok_matrix_frommatrix(empty, from, nullptr), VOK_ERR_EROR);
    EXPECT_TRUE(sysmem_lockhandle(to->handle, 0) && sysmem_lockhandle(from->handle, 0)) << "where there's no data";
    for (const long err :
         {vok_matrix_frommatrix(nullptr, from, nullptr), vok_matrix_frommatrix(to, nullptr, nullptr),
          vok_matrix_frommatrix_trunc(nullptr, from), vok_matrix_frommatrix_trunc(to, nullptr)})
        EXPECT_EQ(err, VOK_ERR_INVP);
}

TEST_F(Library, frommatrix_trunc_lands_in_the_corner_or_is_squeezed)
{
    const matrix from("char", 1, {4, 2});
    for (int i = 0; i < 8; i++)
        from->data[i % 4 + i / 4 * from->info.dimstride[1]] = static_cast<unsigned char>(i + 1);
    for (const auto &[width, expected] :
         {std::pair{6, bytes{1, 2, 3, 4, 9, 9, 5, 6, 7, 8, 9, 9, 9, 9, 9, 9, 9, 9}},
          {2, bytes{1, 3, 5, 7, 9, 9}}}) {
        const matrix to("char", 1, {width, 3}, vok_matrix_flag_packed);
        message(to, "setall", "9");
        EXPECT_EQ(send_words(to, "frommatrix_trunc", as_word(from)), 0);
        EXPECT_EQ(bytes(to->data, to->data + to->info.size), expected);
    }
}

} // namespace

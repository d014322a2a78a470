// The copy between matrices: thousands of random cases against the model, on every
// instruction set of the machine and on the general road; then the cases that a
// person would name.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <map>
#include <random>
#include <string>

#include <vokra/kernel.h>
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

class generator {
  public:
    explicit generator(unsigned seed) : random_(seed) { initialize(); }

    long pick(long low, long high)
    {
        return low + static_cast<long>(random_() % static_cast<unsigned long>(high - low + 1));
    }
    bool chance(int percent) { return pick(1, 100) <= percent; }
    template <class T> T one_of(std::initializer_list<T> values)
    {
        return values.begin()[pick(0, static_cast<long>(values.size()) - 1)];
    }

    // From a stock of numbers, some of them special.
    void fill(block &b)
    {
        for (auto &byte : b.bytes)
            byte = static_cast<unsigned char>(random_());
        const char kind = copy_model::kind_of(b.info.type);
        if (kind == 'c' || kind == 'l')
            return;
        constexpr double inf = std::numeric_limits<double>::infinity();
        double stock[64] = {0.0,           -0.0, 1.0,   255.0, -1e-40, 2147483647.0, 2147483648.0,
                            -2147483649.0, 1e30, -1e30, inf,   -inf,   NAN};
        for (int i = 13; i < 64; i++)
            stock[i] = (static_cast<double>(pick(0, 1 << 20)) / (1 << 19) - 0.5) * (i % 3 ? 1 : 1000);
        const bool special = chance(40);
        const long size = copy_model::bytes_of(kind);
        for (long at = 0; b.shift + at + size <= static_cast<long>(b.bytes.size()); at += size) {
            const unsigned long n = random_();
            const double v = stock[special ? n % 64 : 13 + n % 51];
            copy_model::store(kind, b.data() + at, v);
        }
    }

    block make(const char *type, long planes, long dimcount, bool large)
    {
        block b;
        b.info.type = gensym(type);
        b.info.planecount = planes;
        b.info.dimcount = dimcount;
        std::fill(b.info.dim, b.info.dim + 32, 1);
        for (long k = 0; k < dimcount; k++)
            b.info.dim[k] = k > 1        ? pick(1, 3)
                            : chance(15) ? pick(1, 2)
                            : chance(85) ? pick(1, 20)
                                         : pick(20, 150);
        if (large) {
            b.info.dim[0] = chance(50) ? pick(8097, 8200) : pick(1, 20);
            if (dimcount > 1)
                b.info.dim[1] = b.info.dim[0] > 8096 ? pick(1, 2) : pick(8097, 8200);
        }
        const long size = copy_model::bytes_of(copy_model::kind_of(b.info.type));
        long stride = planes * size + (chance(25) ? pick(1, 9) : 0);
        long bytes = stride;
        const bool rows_first = dimcount > 1 && chance(5);
        for (long n = 0; n < dimcount; n++) {
            const long k = rows_first && n < 2 ? 1 - n : n;
            b.info.dimstride[k] = bytes;
            bytes *= b.info.dim[k];
            if (n == 0)
                bytes += one_of({0L, (16 - bytes % 16) % 16, pick(1, 40)});
        }
        if (rows_first) // the stride along dimension 0 counts whole elements
            b.info.dimstride[0] -= b.info.dimstride[0] % size;
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
            auto index = [&](long dim) { return chance(10) ? pick(-5, dim + 5) : pick(0, dim - 1); };
            conv.srcdimstart[k] = chance(30) ? 0 : index(src.info.dim[k]);
            conv.srcdimend[k] = chance(30) ? src.info.dim[k] - 1 : index(src.info.dim[k]);
            conv.dstdimstart[k] = chance(30) ? 0 : index(dst.info.dim[k]);
            conv.dstdimend[k] = chance(30) ? dst.info.dim[k] - 1 : index(dst.info.dim[k]);
        }
        return conv;
    }

  private:
    std::mt19937 random_;
};

// A packed matrix of these dimensions.
vok_matrix_info packed(const char *type, long planes, std::initializer_list<long> dims)
{
    initialize(); // the library knows types by its common symbols
    vok_matrix_info info = {};
    info.type = gensym(type);
    info.planecount = planes;
    std::fill(info.dim, info.dim + 32, 1);
    info.size = planes * copy_model::bytes_of(copy_model::kind_of(info.type));
    for (const long d : dims) {
        info.dimstride[info.dimcount] = info.size;
        info.dim[info.dimcount++] = d;
        info.size *= d;
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

// Which NaN comes out of a sum of several is the processor's choice.
void unify_nans(block &b)
{
    const vok_matrix_info &m = b.info;
    const char kind = copy_model::kind_of(m.type);
    const long size = copy_model::bytes_of(kind);
    if (kind == 'c' || kind == 'l')
        return;
    std::vector<long> offsets = {0};
    for (long k = 0; k < m.dimcount; k++) {
        std::vector<long> next;
        for (const long o : offsets)
            for (long i = 0; i < m.dim[k]; i++)
                next.push_back(o + i * (k ? m.dimstride[k] : m.dimstride[0] / size * size));
        offsets = next;
    }
    for (const long o : offsets)
        for (long p = 0; p < m.planecount; p++)
            if (unsigned char *at = b.data() + o + p * size; std::isnan(copy_model::read(kind, at)))
                std::fill(at, at + size, 0xFF);
}

TEST(frommatrix, random_cases)
{
    std::map<std::string, int> taken;
    for (unsigned seed = 0; seed < 6000; seed++) {
        generator g(seed);
        const bool large = seed % 16 == 0;
        const long dimcount = large ? 2 : g.one_of({1L, 2L, 2L, 2L, 2L, 3L, 4L});
        // every pair of types in turn, twice as often the same
        const unsigned pair = seed / 16 % 20;
        const char *dst_type = type_names[pair % 4];
        const char *src_type = type_names[pair < 16 ? pair / 4 : pair % 4];
        auto planes = [&] { return g.chance(50) ? 4L : g.chance(95) ? g.pick(1, 6) : g.pick(7, 32); };
        const long dst_planes = large ? g.pick(1, 4) : planes();
        block src = g.make(src_type,
                           g.chance(50) ? dst_planes
                           : large      ? g.pick(1, 3)
                                        : planes(),
                           g.chance(80) ? dimcount : g.pick(1, 4), large);
        block dst = g.make(dst_type, dst_planes, dimcount, large && g.chance(50));
        if (g.chance(20)) // the same size, so that straight copies come up
            for (int k = 0; k < 2; k++)
                if (src.info.dimstride[0] < src.info.dimstride[1] && k < src.info.dimcount &&
                    k < dst.info.dimcount)
                    src.info.dim[k] = dst.info.dim[k] = std::min(src.info.dim[k], dst.info.dim[k]);
        vok_matrix_conv_info conv = g.record(dst, src);
        const vok_matrix_conv_info *record = g.chance(80) ? &conv : nullptr;

        block expected = dst;
        const long n = std::max(dst.info.dimcount, src.info.dimcount);
        const char which = copy_model::walk(n, record, dst.info, expected.data(), src.info, src.data());
        vok_matrix_frommatrix_calculate_ndim(n, record, &dst.info, dst.data(), &src.info, src.data());
        taken[std::string(1, which) + " " + dst_type + " from " + src_type]++;
        if (which == 'E') {
            unify_nans(dst);
            unify_nans(expected);
        }
        const auto [got, wanted] = std::mismatch(dst.bytes.begin(), dst.bytes.end(), expected.bytes.begin());
        ASSERT_TRUE(got == dst.bytes.end())
            << "seed " << seed << ", case " << which << ", " << dst_type << " from " << src_type << ", byte "
            << got - dst.bytes.begin() - dst.shift << ": " << int{*got} << " instead of " << int{*wanted};
    }
    for (const char which : {'A', 'B', 'C', 'D', 'E'})
        for (const char *to : type_names)
            for (const char *from : type_names)
                if (which != 'D' || from == type_names[0]) {
                    EXPECT_GT(taken[std::string(1, which) + " " + to + " from " + from], 0)
                        << "no case " << which << " of " << to << " from " << from;
                }
}

TEST(frommatrix_path, agrees_with_the_model)
{
    run_on_every_path("frommatrix.*");
}

// ---- what a person would name ----

template <class T>
constexpr const char *type_name = sizeof(T) == 1             ? "char"
                                  : sizeof(T) == 8           ? "float64"
                                  : std::is_same_v<T, float> ? "float32"
                                                             : "long";

// Copies a list of elements into a fresh list, all of it planes x dims.
template <class D, class S>
std::vector<D> copied(std::vector<S> from, long src_planes, std::initializer_list<long> src_dims, long dst_planes,
                      std::initializer_list<long> dst_dims, const vok_matrix_conv_info *conv = nullptr,
                      D before = 77)
{
    const vok_matrix_info src = packed(type_name<S>, src_planes, src_dims);
    const vok_matrix_info dst = packed(type_name<D>, dst_planes, dst_dims);
    EXPECT_EQ(src.size, static_cast<long>(from.size() * sizeof(S)));
    std::vector<D> to(static_cast<size_t>(dst.size) / sizeof(D), before);
    vok_matrix_frommatrix_calculate_ndim(std::max(dst.dimcount, src.dimcount), conv, &dst, to.data(), &src,
                                         from.data());
    return to;
}

using bytes = std::vector<unsigned char>;

TEST(frommatrix_result, is_what_it_should_be)
{
    auto conv = record(vok_matrix_conv_interp);
    EXPECT_EQ(copied<float>(std::vector<float>{0, 1}, 1, {2, 1}, 1, {5, 1}, &conv),
              (std::vector<float>{0, 0.25f, 0.5f, 0.75f, 1}));
    EXPECT_EQ(copied<unsigned char>(bytes{0, 200}, 1, {2, 1}, 1, {5, 1}, &conv), (bytes{0, 50, 100, 150, 200}));
    EXPECT_EQ(copied<unsigned char>(bytes{1, 2}, 1, {2, 1}, 1, {5, 1}), (bytes{1, 1, 1, 2, 2}));
    conv = record(vok_matrix_conv_usesrcdim); // a reversed source is mirrored
    conv.srcdimstart[0] = 3;
    EXPECT_EQ(copied<unsigned char>(bytes{1, 2, 3, 4}, 1, {4, 1}, 1, {4, 1}, &conv), (bytes{4, 3, 2, 1}));
    conv = record(vok_matrix_conv_usedstdim); // and a reversed destination not
    conv.dstdimstart[0] = 4;
    conv.dstdimend[0] = 1;
    EXPECT_EQ(copied<unsigned char>(bytes{1, 2, 3, 4}, 1, {4, 1}, 1, {6, 1}, &conv), (bytes{77, 1, 2, 3, 4, 77}));
    conv = record(0);
    conv.planemap[1] = -1;
    conv.planemap[2] = 7; // wraps to 3
    EXPECT_EQ(copied<unsigned char>(bytes{1, 2, 3, 4}, 4, {1, 1}, 4, {1, 1}, &conv), (bytes{1, 77, 4, 4}));
    EXPECT_EQ(copied<unsigned char>(bytes{1, 2, 3, 4, 5, 6, 7, 8}, 1, {2, 2, 2}, 1, {2, 2}), (bytes{1, 2, 3, 4}));
    EXPECT_EQ(copied<unsigned char>(std::vector<float>{1.5f, -0.5f, NAN, 0.5f, 1}, 1, {5}, 1, {5}),
              (bytes{255, 0, 0, 127, 255}));
    EXPECT_EQ(copied<unsigned char>(std::vector<int32_t>{300, -1, 44}, 1, {3}, 1, {3}), (bytes{44, 255, 44}));
    EXPECT_EQ(copied<double>(bytes{255, 0, 51}, 1, {3}, 1, {3}), (std::vector<double>{1.0, 0.0, 51 / 255.0}));
    EXPECT_EQ(copied<int32_t>(std::vector<double>{-2.9, 3e9, NAN, 2147483647.9}, 1, {4}, 1, {4}),
              (std::vector<int32_t>{-2, INT32_MIN, INT32_MIN, INT32_MAX}));
}

TEST(frommatrix_result, one_dimension_is_one_row)
{
    const vok_matrix_info src = packed("char", 1, {2, 1}), dst = packed("char", 1, {2, 2});
    const bytes from = {1, 2};
    bytes to(4, 77);
    vok_matrix_frommatrix_calculate_ndim(1, nullptr, &dst, to.data(), &src, from.data());
    EXPECT_EQ(to, (bytes{1, 2, 77, 77}));
    vok_matrix_frommatrix_calculate_ndim(0, nullptr, &dst, to.data(), &src, from.data());
    EXPECT_EQ(to, (bytes{1, 2, 77, 77}));
}

TEST(frommatrix_result, rows_of_the_destination_may_share_bytes)
{
    // a stride of one cell: each row but the last is overwritten by the next
    vok_matrix_info src = packed("char", 1, {3, 1}), dst = packed("char", 1, {3, 3});
    dst.dimstride[1] = 1;
    const bytes from = {1, 2, 3};
    bytes to(6, 77);
    vok_matrix_frommatrix_calculate_ndim(2, nullptr, &dst, to.data(), &src, from.data());
    EXPECT_EQ(to, (bytes{1, 1, 1, 2, 3, 77}));
}

TEST(frommatrix_result, in_place_planes_go_in_order)
{
    // the first plane is written before the last one reads it
    bytes cells = {1, 2, 3, 4, 5, 6, 7, 8};
    const vok_matrix_info info = packed("char", 4, {2, 1});
    auto conv = record(0);
    for (int p = 0; p < 4; p++)
        conv.planemap[p] = 3 - p;
    vok_matrix_frommatrix_calculate_ndim(2, &conv, &info, cells.data(), &info, cells.data());
    EXPECT_EQ(cells, (bytes{4, 3, 3, 4, 8, 7, 7, 8}));
    // and rows: the second is read when the first, twice as long, has gone over it
    const vok_matrix_info small = packed("char", 1, {2, 2}), large = packed("char", 1, {4, 2});
    cells = {1, 2, 3, 4, 5, 6, 7, 8};
    vok_matrix_frommatrix_calculate_ndim(2, nullptr, &large, cells.data(), &small, cells.data());
    EXPECT_EQ(cells, (bytes{1, 1, 1, 1, 1, 1, 1, 1}));
}

TEST(frommatrix, huge_mirrored_sources)
{
    // 16.16 positions wrap here: whatever they point at is inside, and all roads agree
    generator g(1);
    constexpr struct {
        long src, dst;
    } sizes[] = {{100000, 3000}, {33000, 8000}, {69905, 16}}; // the last wraps twice in 16 cells
    for (const auto size : sizes)
        for (const int test : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}) {
            const long flags = test & 1 ? 6 : 4;
            const bool across = test & 2;
            const char *type = type_names[test / 4];
            block src, dst;
            src.info = across ? packed("char", 4, {size.src, 2}) : packed("char", 4, {2, size.src});
            dst.info = across ? packed(type, 4, {size.dst, 3}) : packed(type, 4, {3, size.dst});
            for (block *b : {&src, &dst}) {
                b->bytes.resize(static_cast<size_t>(b->info.size));
                g.fill(*b);
            }
            auto conv = record(flags);
            for (int k = 0; k < 2; k++)
                conv.srcdimstart[k] = src.info.dim[k] - 1;
            block expected = dst;
            copy_model::walk(2, &conv, dst.info, expected.data(), src.info, src.data());
            vok_matrix_frommatrix_calculate_ndim(2, &conv, &dst.info, dst.data(), &src.info, src.data());
            EXPECT_TRUE(dst.bytes == expected.bytes)
                << size.src << " to " << size.dst << " " << type << ", flags " << flags << ", across " << across;
        }
}

TEST(frommatrix_result, unknown_types_copy_nothing)
{
    const bytes from(32, 1);
    for (const auto &[to_type, from_type] : {std::pair{"symbol", "char"}, {"char", "pointer"}}) {
        const vok_matrix_info src = packed(from_type, 1, {2, 2}), dst = packed(to_type, 1, {2, 2});
        bytes to(32, 9);
        vok_matrix_frommatrix_calculate_ndim(2, nullptr, &dst, to.data(), &src, from.data());
        EXPECT_EQ(to, bytes(32, 9));
    }
}

TEST(canfastcopy, asks_for_the_very_same_shape)
{
    vok_matrix_info a = packed("char", 4, {5, 3}), b = a;
    auto conv = record(0);
    EXPECT_EQ(vok_matrix_canfastcopy(nullptr, &a, &b), 1);
    EXPECT_EQ(vok_matrix_canfastcopy(&conv, &a, &b), 1);
    conv.planemap[2] = 1;
    EXPECT_EQ(vok_matrix_canfastcopy(&conv, &a, &b), 0);
    conv = record(vok_matrix_conv_usesrcdim | vok_matrix_conv_usedstdim);
    for (int k = 0; k < 2; k++)
        conv.srcdimend[k] = conv.dstdimend[k] = a.dim[k] - 1;
    EXPECT_EQ(vok_matrix_canfastcopy(&conv, &a, &b), 0);
    for (int k = 0; k < 2; k++)
        conv.srcdimend[k] = conv.dstdimend[k] = a.dim[k];
    EXPECT_EQ(vok_matrix_canfastcopy(&conv, &a, &b), 1);
    b.dimstride[1] += 16;
    EXPECT_EQ(vok_matrix_canfastcopy(nullptr, &a, &b), 0);
}

} // namespace

// frommatrix as a message between matrices: locks, results, the record's clamping, and
// the copy that trims.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <vector>

#include <vokra/kernel.h>
#include <vokra/matrix.h>
#include <vokra/matrix_copy.h>
#include <zan/zan.h>

namespace {

struct release {
    void operator()(vok_matrix *m) const { vok_object_free(m); }
};
using matrix = std::unique_ptr<vok_matrix, release>;

matrix make(long planes, std::initializer_list<long> dims, long flags = 0, const char *type = "char")
{
    initialize();
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    info.type = gensym(type);
    info.planecount = planes;
    info.flags = flags;
    info.dimcount = 0;
    for (const long d : dims)
        info.dim[info.dimcount++] = d;
    return matrix(vok_matrix_new(&info));
}

// One plane of one row.
std::vector<int> row(const vok_matrix *m, long y = 0)
{
    const unsigned char *at = m->data + y * m->info.dimstride[1];
    return {at, at + m->info.dim[0]};
}

void fill_rows(vok_matrix *m, int first)
{
    for (long y = 0; y < m->info.dim[1]; y++)
        for (long x = 0; x < m->info.dim[0]; x++)
            m->data[y * m->info.dimstride[1] + x] = static_cast<unsigned char>(first++);
}

zan_word send(void *x, const char *message, void *a, void *b = nullptr)
{
    return object_method_imp(x, gensym(message), reinterpret_cast<zan_word>(a), reinterpret_cast<zan_word>(b), 0,
                             0, 0, 0, 0, 0);
}

TEST(frommatrix_message, null_matrices_are_invalid)
{
    const matrix m = make(1, {2, 2});
    EXPECT_EQ(vok_matrix_frommatrix(nullptr, m.get(), nullptr), VOK_ERR_INVP);
    EXPECT_EQ(send(m.get(), "frommatrix", nullptr), VOK_ERR_INVP);
    EXPECT_EQ(send(m.get(), "frommatrix_trunc", nullptr), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_frommatrix_trunc(nullptr, m.get()), VOK_ERR_INVP);
}

TEST(frommatrix_message, same_shape_takes_the_padding_too)
{
    const matrix from = make(1, {3, 2}), to = make(1, {3, 2});
    ASSERT_EQ(from->info.size, 32);
    std::memset(from->data, 5, 32);
    EXPECT_EQ(send(to.get(), "frommatrix", from.get()), 0);
    EXPECT_EQ(std::memcmp(from->data, to->data, 32), 0);
}

TEST(frommatrix_message, the_record_is_clamped_in_place)
{
    const matrix from = make(1, {4, 2}), to = make(1, {4, 2});
    fill_rows(from.get(), 1);
    std::memset(to->data, 9, static_cast<size_t>(to->info.size));
    vok_matrix_conv_info conv = {};
    conv.flags = vok_matrix_conv_usesrcdim | vok_matrix_conv_usedstdim;
    for (int k = 0; k < 32; k++) {
        conv.srcdimstart[k] = -7;
        conv.srcdimend[k] = conv.dstdimend[k] = 1000;
        conv.dstdimstart[k] = 2;
    }
    EXPECT_EQ(send(to.get(), "frommatrix", from.get(), &conv), 0);
    for (int k = 0; k < 32; k++) {
        const long last = k == 0 ? 3 : k == 1 ? 1 : 0;
        EXPECT_EQ(conv.srcdimstart[k], 0);
        EXPECT_EQ(conv.srcdimend[k], last);
        EXPECT_EQ(conv.dstdimstart[k], std::min(2L, last));
        EXPECT_EQ(conv.dstdimend[k], last);
    }
    EXPECT_EQ(row(to.get(), 0), (std::vector<int>{9, 9, 9, 9}));
    EXPECT_EQ(row(to.get(), 1), (std::vector<int>{9, 9, 1, 3}));
}

TEST(frommatrix_message, ranges_without_their_flags_stay_as_they_are)
{
    const matrix from = make(1, {2, 2}), to = make(1, {2, 2});
    vok_matrix_conv_info conv = {};
    std::fill(conv.srcdimend, conv.srcdimend + 32, 99);
    EXPECT_EQ(vok_matrix_frommatrix(to.get(), from.get(), &conv), 0);
    EXPECT_EQ(conv.srcdimend[0], 99);
}

TEST(frommatrix_message, locks_come_back_except_where_there_is_no_data)
{
    const long handle = vok_matrix_flag_handle | vok_matrix_flag_use;
    const matrix from = make(1, {2, 2}, handle), to = make(1, {3, 3}, handle);
    EXPECT_EQ(vok_matrix_frommatrix(to.get(), from.get(), nullptr), 0);
    EXPECT_EQ(sysmem_lockhandle(to->handle, 0), 0);
    EXPECT_EQ(sysmem_lockhandle(from->handle, 0), 0);

    const matrix empty = make(1, {2, 2}, vok_matrix_flag_reference | vok_matrix_flag_use);
    ASSERT_EQ(empty->data, nullptr);
    EXPECT_EQ(vok_matrix_frommatrix(to.get(), empty.get(), nullptr), VOK_ERR_EROR);
    EXPECT_EQ(sysmem_lockhandle(to->handle, 0), 1);
    EXPECT_EQ(vok_matrix_frommatrix(empty.get(), from.get(), nullptr), VOK_ERR_EROR);
    EXPECT_EQ(sysmem_lockhandle(from->handle, 0), 1);
}

TEST(frommatrix_message, trunc_lands_in_the_corner_or_is_squeezed)
{
    const matrix from = make(1, {4, 2}), larger = make(1, {6, 3}), smaller = make(1, {2, 3});
    fill_rows(from.get(), 1);
    std::memset(larger->data, 9, static_cast<size_t>(larger->info.size));
    std::memset(smaller->data, 9, static_cast<size_t>(smaller->info.size));
    EXPECT_EQ(send(larger.get(), "frommatrix_trunc", from.get()), 0);
    EXPECT_EQ(row(larger.get(), 0), (std::vector<int>{1, 2, 3, 4, 9, 9}));
    EXPECT_EQ(row(larger.get(), 1), (std::vector<int>{5, 6, 7, 8, 9, 9}));
    EXPECT_EQ(row(larger.get(), 2), (std::vector<int>{9, 9, 9, 9, 9, 9}));
    EXPECT_EQ(send(smaller.get(), "frommatrix_trunc", from.get()), 0);
    EXPECT_EQ(row(smaller.get(), 0), (std::vector<int>{1, 3}));
    EXPECT_EQ(row(smaller.get(), 1), (std::vector<int>{5, 7}));
    EXPECT_EQ(row(smaller.get(), 2), (std::vector<int>{9, 9}));
}

TEST(frommatrix_message, a_matrix_without_dimensions_is_one_cell_or_nothing)
{
    const matrix from = make(2, {}), to = make(2, {}), wide = make(2, {4});
    from->data[0] = 3;
    EXPECT_EQ(vok_matrix_frommatrix(to.get(), from.get(), nullptr), 0);
    EXPECT_EQ(to->data[0], 3);
    EXPECT_EQ(vok_matrix_frommatrix(wide.get(), from.get(), nullptr), 0);
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(wide->data[2 * i], 3);
}

} // namespace

// frommatrix as a message between matrices: locks, results, the record's clamping, and
// the copy that trims.
#include "matrix/matrix_tools.h"

#include <algorithm>
#include <cstring>

#include <vokra/matrix_copy.h>

namespace {

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

class frommatrix_message : public Library {};

TEST_F(frommatrix_message, null_matrices_are_invalid)
{
    const matrix m("char", 1, {2, 2});
    EXPECT_EQ(vok_matrix_frommatrix(nullptr, m, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(send_words(m, "frommatrix"), VOK_ERR_INVP);
    EXPECT_EQ(send_words(m, "frommatrix_trunc"), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_frommatrix_trunc(nullptr, m), VOK_ERR_INVP);
}

TEST_F(frommatrix_message, same_shape_takes_the_padding_too)
{
    const matrix from("char", 1, {3, 2}), to("char", 1, {3, 2});
    ASSERT_EQ(from->info.size, 32);
    std::memset(from->data, 5, 32);
    EXPECT_EQ(send_words(to, "frommatrix", as_word(from)), 0);
    EXPECT_EQ(std::memcmp(from->data, to->data, 32), 0);
}

TEST_F(frommatrix_message, the_record_is_clamped_in_place)
{
    const matrix from("char", 1, {4, 2}), to("char", 1, {4, 2});
    fill_rows(from, 1);
    std::memset(to->data, 9, static_cast<size_t>(to->info.size));
    vok_matrix_conv_info conv = {};
    conv.flags = vok_matrix_conv_usesrcdim | vok_matrix_conv_usedstdim;
    for (int k = 0; k < 32; k++) {
        conv.srcdimstart[k] = -7;
        conv.srcdimend[k] = conv.dstdimend[k] = 1000;
        conv.dstdimstart[k] = 2;
    }
    EXPECT_EQ(send_words(to, "frommatrix", as_word(from), as_word(&conv)), 0);
    for (int k = 0; k < 32; k++) {
        const long last = k == 0 ? 3 : k == 1 ? 1 : 0;
        EXPECT_EQ(conv.srcdimstart[k], 0);
        EXPECT_EQ(conv.srcdimend[k], last);
        EXPECT_EQ(conv.dstdimstart[k], std::min(2L, last));
        EXPECT_EQ(conv.dstdimend[k], last);
    }
    EXPECT_EQ(row(to, 0), (std::vector<int>{9, 9, 9, 9}));
    EXPECT_EQ(row(to, 1), (std::vector<int>{9, 9, 1, 3}));
    conv.flags = 0; // ranges without their flags stay as they are
    conv.srcdimend[0] = 99;
    EXPECT_EQ(vok_matrix_frommatrix(to, from, &conv), 0);
    EXPECT_EQ(conv.srcdimend[0], 99);
}

TEST_F(frommatrix_message, locks_come_back_except_where_there_is_no_data)
{
    const long handle = vok_matrix_flag_handle | vok_matrix_flag_use;
    const matrix from("char", 1, {2, 2}, handle), to("char", 1, {3, 3}, handle);
    EXPECT_EQ(vok_matrix_frommatrix(to, from, nullptr), 0);
    EXPECT_EQ(sysmem_lockhandle(to->handle, 0), 0);
    EXPECT_EQ(sysmem_lockhandle(from->handle, 0), 0);

    const matrix empty("char", 1, {2, 2}, vok_matrix_flag_reference | vok_matrix_flag_use);
    ASSERT_EQ(empty->data, nullptr);
    EXPECT_EQ(vok_matrix_frommatrix(to, empty, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(sysmem_lockhandle(to->handle, 0), 1);
    EXPECT_EQ(vok_matrix_frommatrix(empty, from, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(sysmem_lockhandle(from->handle, 0), 1);
}

TEST_F(frommatrix_message, trunc_lands_in_the_corner_or_is_squeezed)
{
    const matrix from("char", 1, {4, 2}), larger("char", 1, {6, 3}), smaller("char", 1, {2, 3});
    fill_rows(from, 1);
    std::memset(larger->data, 9, static_cast<size_t>(larger->info.size));
    std::memset(smaller->data, 9, static_cast<size_t>(smaller->info.size));
    EXPECT_EQ(send_words(larger, "frommatrix_trunc", as_word(from)), 0);
    EXPECT_EQ(row(larger, 0), (std::vector<int>{1, 2, 3, 4, 9, 9}));
    EXPECT_EQ(row(larger, 1), (std::vector<int>{5, 6, 7, 8, 9, 9}));
    EXPECT_EQ(row(larger, 2), (std::vector<int>{9, 9, 9, 9, 9, 9}));
    EXPECT_EQ(send_words(smaller, "frommatrix_trunc", as_word(from)), 0);
    EXPECT_EQ(row(smaller, 0), (std::vector<int>{1, 3}));
    EXPECT_EQ(row(smaller, 1), (std::vector<int>{5, 7}));
    EXPECT_EQ(row(smaller, 2), (std::vector<int>{9, 9}));
}

TEST_F(frommatrix_message, a_matrix_without_dimensions_is_one_cell_or_nothing)
{
    const matrix from("char", 2, {}), to("char", 2, {}), wide("char", 2, {4});
    from->data[0] = 3;
    EXPECT_EQ(vok_matrix_frommatrix(to, from, nullptr), 0);
    EXPECT_EQ(to->data[0], 3);
    EXPECT_EQ(vok_matrix_frommatrix(wide, from, nullptr), 0);
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(wide->data[2 * i], 3);
}

} // namespace

// A slice copy made ready: the tables of a plan, worked out once and used for every
// slice of the higher dimensions. It takes the fast road where there is one.
#pragma once
#include "matrix/copy_kernels.h"
#include "matrix/copy_plan.h"

namespace vok::copy {

class slice_copy {
  public:
    // `p` must outlive it.
    explicit slice_copy(const plan &p);
    ~slice_copy();
    slice_copy(const slice_copy &) = delete;
    slice_copy &operator=(const slice_copy &) = delete;

    // Copies one slice; the pointers are the bases of the two slices.
    void run(unsigned char *dst, const unsigned char *src) const;

  private:
    // How the bytes of a row of source cells come together.
    enum class collecting {
        none,     // they already lie packed and in order
        chunks,   // one chunk of each cell
        shuffled, // one chunk of four bytes, then put in order
        spread,   // one byte, to four planes
        planes    // plane by plane
    };
    // What the rows of one sampling keep between them.
    struct kept_row {
        long index = -1;
        bool filled = false;
        uint16_t *sums = nullptr;
        double *products[2] = {};
    };

    void choose_collecting();
    bool reserve();
    void fill_tables();
    bool overlap(const unsigned char *dst, const unsigned char *src) const;
    const void *collected(void *into, const unsigned char *row, const int32_t *offset) const;
    void nearest(unsigned char *dst, const unsigned char *src) const;
    void bilinear(unsigned char *dst, const unsigned char *src) const;
    const kept_row &columns_of(kept_row kept[2], long index, long other, const unsigned char *src) const;
    void repeat(unsigned char *out, const unsigned char *above) const;
    void finish(unsigned char *out, const void *packed) const;

    const plan &p_;
    const kernels *kernels_; // null: the general road
    bool interpolates_;
    bool whole_;            // destination cells are packed and all planes written
    bool identity_ = false; // column i comes from column i
    long n_;                // columns
    long elements_;         // written elements of a row
    long chunk_ = 0;        // bytes from a source cell to the chunk taken of it
    collecting collecting_ = collecting::none;
    uint8_t order_[4] = {};
    long to_plane_[32] = {}; // destination plane of each written plane
    collect_job job_ = {};
    collect_function *collect_ = nullptr;

    // parts of one block
    void *block_ = nullptr;
    int32_t *offset_[2] = {};     // of the first and second neighbour
    uint16_t *weight_[2] = {};    // of each element, in fixed point
    double *share_[2] = {};       // the same in double
    uint16_t *sums_[2] = {};      // kept rows
    double *products_[2][2] = {}; // the same in double
    unsigned char *collected_[2] = {};
    unsigned char *packed_ = nullptr;       // a finished row, ahead of scattering
    alignas(64) unsigned char small_[4096]; // the block of narrow matrices
};

} // namespace vok::copy

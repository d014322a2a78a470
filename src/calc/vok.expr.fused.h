// The fast road of expressions. Cell operators are calculated together in blocks of a row
// that stay in the cache, all planes of the output in one hand-over to the pool: a list of
// vector functions a block, with node buffers of some KiB. Ramps are kept as one line.
// What it gives is to the bit what prepcalc and treecalc give, which remain for what can't
// go together: classes, calls with wrong arguments, functions of other modules.
#pragma once
#include <memory>
#include <vector>

#include <vokra/op.h>
#include <vokra/parallel_ndim.h>

#include "calc/vok.expr.h"
#include "calc/vok.expr.kernels.h"
#include "matrix/copy_kernels.h"
#include "matrix/matrix_lock.h"

namespace vok::expr {

// Where an operand lies.
struct operand {
    enum kind_t { constant, line, matrix, buffer } kind;
    int index = 0;                    // of a matrix in `sources`, of a buffer
    const unsigned char *p = nullptr; // a constant's value, a line's first element
    int dim = 0;                      // along which the line runs
    bool shared = false;              // a buffer that other instructions may read too
};

// A matrix that is read: dimensions as in the output.
struct source {
    const vok_matrix_info *info;
    const unsigned char *data; // first cell, the plane's element
    int type;
    long cell;                   // bytes from cell to cell
    bool whole;                  // all planes of the output run together in it too
    std::vector<int32_t> offset; // of the cells of a block, where one plane is collected
};

// out = fn(a, b), element by element, or with a chain what that makes of a, b, c and d.
// Without a function a source is brought into the type of the calculation; its buffer stays
// as it is from then on.
struct instruction {
    vok_op_vector_fn fn;
    operand a, b;
    int out; // a buffer, or -1: the output itself
    chain_function *chain = nullptr;
    operand c = a, d = a;
};

// How a plane of the output comes about, or all planes together, in each block.
struct program {
    long plane = 0;
    std::vector<instruction> code;
    int result = -1; // the buffer that is converted into the output; -1: nothing is left to do
    int buffers = 0;
};

// Programs for planes of one output, calculated in one walk over its rows.
class batch {
  public:
    // `together`: the planes that one program is for, 1 or all of them. Interleaved planes
    // calculated alike are one run of elements.
    batch(int type, const vok_matrix_info &out, unsigned char *data, long together = 1);
    // A source for reading a plane of a matrix of the output's dimensions, or all planes when
    // `own` tells that each goes to its like.
    int add_source(const vok_matrix_info &info, const unsigned char *data, long plane, bool own);
    // Whether it can be read where it lies.
    bool in_place(const source &s) const;
    // Room that lives as long as the programs.
    unsigned char *keep(long bytes);
    // Whether the output can be written without conversion.
    bool direct() const;
    void run();

    const int type; // of the calculation
    const vok_matrix_info &out;
    const long together;
    std::vector<source> sources;
    std::vector<program> programs;

  private:
    struct row;
    struct room;
    static void slice(batch *self, long dimcount, long *dim, long planecount, vok_matrix_info *info,
                      unsigned char *first, vok_parallel_ndim_worker *worker);
    void calculate(const program &p, const row &r, long from, long cells, const room &space) const;
    void load(const source &s, const unsigned char *at, long cells, unsigned char *to, const room &space) const;
    void store(const program &p, unsigned char *at, long cells, const room &space) const;
    vok_op_vector_arg resolve(const operand &o, const row &r, long from, const room &space) const;

    unsigned char *data_;
    const int out_type_;
    const copy::kernels *kernels_;
    long block_ = 0; // cells
    std::vector<std::unique_ptr<unsigned char[]>> kept_;
};

// One calculation of an object: takes plane after plane and calculates them at the next
// flush.
class fusion {
  public:
    // `info` describes the matrices of the calculation, `out` the output's.
    fusion(vok_expr *x, void *inputs, vok_matrix_info &info, const vok_matrix_info &out, unsigned char *data);
    ~fusion(); // gives the locks of what was read back, last first
    fusion(const fusion &) = delete;
    fusion &operator=(const fusion &) = delete;
    // False when the tree has to go the other road, for which all that was taken must be flushed.
    bool take(long plane, node *tree);
    // Calculates all planes by one tree, if they can be calculated as one.
    bool take_all(node *tree);
    void flush();

  private:
    // What is known of a node ahead of its calculation.
    struct part {
        enum kind_t { number, ramp, source, matrix, call } kind;
        node *n = nullptr;
        double value = 0;       // of a number
        long dim = 0, mode = 0; // of a ramp
        void *object = nullptr; // of a source, null: zeros
        long plane = 0;
        bool own = false; // the plane that is being calculated
        vok_op_vector_fn fn = nullptr;
        int kids[2] = {-1, -1};
        int count = 0;
        unsigned along = 0;  // dimensions of the ramps below
        bool full = false;   // a matrix is below
        bool moving = false; // an input is below: it is calculated anew each time
        bool named = false;  // a registered matrix is below
        bool dear = false;   // a function that takes its time is below
    };
    struct emitter;

    int look(node *n);
    bool look_at_variable(node *n, part &p);
    bool look_at_call(node *n, part &p);
    bool keeps(const part &p) const;
    bool readable(const part &p);
    bool one_for_all(const part &p);
    bool settled(const part &p) const;
    const matrix_lock &locked(void *object);
    bool emit(batch &b, program &to, int root, bool whole);
    bool calculate_kept(const part &p, int index);

    vok_expr *x_;
    void *inputs_;
    vok_matrix_info &info_;
    const vok_matrix_info &out_;
    unsigned char *data_;
    int type_;
    symbol *chain_names_[chain_words];
    batch pending_;
    std::vector<part> parts_;
    std::vector<std::pair<void *, std::unique_ptr<matrix_lock>>> locks_;
};

// What the general road does for one node: readies its matrix and all below it. EROR
// after a message.
vok_err prepare(vok_expr *x, node *n, void *inputs, vok_matrix_info *info, bool &all_unchanged);
bool same_shape(const vok_matrix_info &a, const vok_matrix_info &b);

} // namespace vok::expr

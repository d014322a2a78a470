// Linear algebra against the definitions, in a few lines of plain arithmetic.
#include <algorithm>
#include <complex>
#include <functional>
#include <memory>
#include <random>

#include "calc/expr_tools.h"
#include "other_paths.h"

namespace {

using number = std::complex<double>;
using object_ptr = std::unique_ptr<void, decltype([](void *x) { vok_object_free(x); })>;

struct format {
    const char *type;
    long planes;
};
constexpr format formats[] = {{"float32", 1}, {"float32", 2}, {"float64", 1}, {"float64", 2}};

// A matrix of the library as one of numbers.
class grid {
  public:
    grid(const format &f, long rows, long columns) : m_(f.type, f.planes, {columns, rows}) {}
    grid(const format &f, long rows, long columns, const std::function<number(long, long)> &value)
        : grid(f, rows, columns)
    {
        for (long r = 0; r < rows; r++)
            for (long c = 0; c < columns; c++) {
                const number v = value(r, c);
                const double parts[] = {v.real(), v.imag()};
                for (long p = 0; p < f.planes; p++)
                    at(r, c, p, [&](auto &part) { part = static_cast<std::decay_t<decltype(part)>>(parts[p]); });
            }
    }
    vok_matrix *matrix() const { return m_; }
    long rows() const { return m_->info.dim[1]; }
    long columns() const { return m_->info.dim[0]; }
    number at(long r, long c) const
    {
        double parts[2] = {};
        for (long p = 0; p < m_->info.planecount; p++)
            at(r, c, p, [&](auto &part) { parts[p] = static_cast<double>(part); });
        return {parts[0], parts[1]};
    }

  private:
    template <typename F> void at(long r, long c, long plane, F use) const
    {
        unsigned char *cell = m_->data + r * m_->info.dimstride[1] + c * m_->info.dimstride[0];
        if (m_->info.type == _vok_sym_float32)
            use(reinterpret_cast<float *>(cell)[plane]);
        else
            use(reinterpret_cast<double *>(cell)[plane]);
    }
    ::matrix m_;
};

struct calculation {
    object_ptr x;
    explicit calculation(const char *name) : x(vok_object_new(gensym(name))) {}
    long run(std::vector<const grid *> in, const grid *out = nullptr) const
    {
        const object_ptr holder(
            vok_object_new(gensym("vok_mop"), static_cast<long>(in.size()), static_cast<long>(out != nullptr)));
        auto *mop = static_cast<vok_mop *>(holder.get());
        for (size_t i = 0; i < in.size(); i++)
            vok_mop_io_matrix(static_cast<vok_mop_io *>(vok_mop_getinput(mop, static_cast<long>(i) + 1)),
                              in[i]->matrix());
        if (out)
            vok_mop_io_matrix(static_cast<vok_mop_io *>(vok_mop_getoutput(mop, 1)), out->matrix());
        return vok_mop_matrix_calc(mop, x.get());
    }
    number result() const
    {
        long argc = 0;
        atom *argv = nullptr;
        vok_object_method(x.get(), gensym("getresult"), &argc, &argv);
        number r(argc > 0 ? atom_getfloat(argv) : 0, argc > 1 ? atom_getfloat(argv + 1) : 0);
        sysmem_freeptr(argv);
        return r;
    }
};

class La : public Library {
  protected:
    // Halves of small integers: their products and sums are exact in every type.
    std::function<number(long, long)> some()
    {
        return [this](long, long) {
            const auto half = [this] { return static_cast<double>(random() % 41) / 2 - 10; };
            return number(half(), half());
        };
    }
    std::mt19937 random{5};
};

// Real sums round, which shows their order: k rises, in double for both types.
TEST_F(La, a_product_is_the_sum_of_products)
{
    const auto tenths = [this](long, long) { return number(static_cast<double>(random()) / 1e9); };
    const struct {
        long rows, inner, columns;
    } shapes[] = {{1, 1, 1}, {3, 2, 4}, {4, 9, 32}, {5, 7, 33}, {9, 1, 65}, {17, 40, 31}, {6, 200, 37}};
    for (const format &f : formats)
        for (const auto &s : shapes) {
            const std::function<number(long, long)> value = f.planes == 1 ? tenths : some();
            const grid a(f, s.rows, s.inner, value), b(f, s.inner, s.columns, value), c(f, 1, 1);
            ASSERT_EQ(calculation("vok_la_mult").run({&a, &b}, &c), 0);
            ASSERT_TRUE(c.rows() == s.rows && c.columns() == s.columns);
            const grid sums(f, s.rows, s.columns, [&](long r, long k) {
                number sum = 0;
                for (long i = 0; i < s.inner; i++)
                    sum += a.at(r, i) * b.at(i, k);
                return sum;
            });
            EXPECT_TRUE(same_bits(c.matrix(), sums.matrix())) << f.type << " " << f.planes << ", " << s.columns;
        }
}

TEST_F(La, a_matrix_times_its_inverse_is_the_identity)
{
    for (const format &f : formats)
        for (const long n : {1L, 2L, 5L, 33L}) {
            const grid a(f, n, n,
                         [&](long r, long c) { return some()(r, c) + (r == c ? number(100) : number(0)); });
            const grid inverse(f, n, n), product(f, 1, 1);
            const auto before = a.at(n - 1, 0);
            ASSERT_EQ(calculation("vok_la_inverse").run({&a}, &inverse), 0);
            EXPECT_EQ(a.at(n - 1, 0), before);
            ASSERT_EQ(calculation("vok_la_mult").run({&a, &inverse}, &product), 0);
            for (long r = 0; r < n; r++)
                for (long c = 0; c < n; c++)
                    EXPECT_LT(std::abs(product.at(r, c) - number(r == c)), f.type[5] == '3' ? 2e-4 : 1e-12)
                        << f.type << " " << f.planes << " of " << n;
        }
}

TEST_F(La, small_matrices_with_known_answers)
{
    const struct {
        std::vector<double> cells;   // of a square
        std::vector<double> inverse; // empty: singular
        double determinant, trace, product;
    } rows[] = {
        {{4}, {0.25}, 4, 4, 4},
        {{0, 2, 4, 0}, {0, 0.25, 0.5, 0}, -8, 0, 0},
        {{1, 2, 2, 4}, {}, 0, 5, 4},
        {{0, 0, 2, 0, 1, 0, 4, 0, 0}, {0, 0, 0.25, 0, 1, 0, 0.5, 0, 0}, -8, 1, 0},
        {{1e-10, 1, 1, 0}, {0, 1, 1, -1e-10}, -1, 1e-10, 0}, // what is below thresh is no pivot and stays
    };
    for (const format &f : formats)
        for (const auto &row : rows) {
            const long n = row.cells.size() == 1 ? 1 : row.cells.size() == 4 ? 2 : 3;
            const auto cell = [&](const std::vector<double> &v) {
                return [&v, n](long r, long c) { return number(v[static_cast<size_t>(r * n + c)]); };
            };
            const grid a(f, n, n, cell(row.cells)), out(f, n, n, some());
            const calculation inverse("vok_la_inverse"), determinant("vok_la_determinant"), trace("vok_la_trace"),
                product("vok_la_diagproduct");
            EXPECT_EQ(inverse.run({&a}, &out), row.inverse.empty() ? VOK_ERR_EROR : 0);
            for (long r = 0; r < n; r++)
                for (long c = 0; c < n; c++)
                    EXPECT_LT(std::abs(out.at(r, c) - (row.inverse.empty() ? number(0) : cell(row.inverse)(r, c))),
                              1e-8);
            for (const calculation *x : {&determinant, &trace, &product})
                EXPECT_EQ(x->run({&a}), 0);
            EXPECT_NEAR(determinant.result().real(), row.determinant, 1e-6);
            EXPECT_NEAR(trace.result().real(), row.trace, 1e-12);
            EXPECT_NEAR(product.result().real(), row.product, 1e-12);
        }
    const grid tall({"float64", 1}, 3, 1, [](long, long) { return 5; });
    const calculation product("vok_la_diagproduct");
    EXPECT_EQ(product.run({&tall}), 0);
    EXPECT_EQ(product.result(), 0.0); // the strides lead into the padding
}

// By the sum over permutations.
number determinant(const grid &m, std::vector<long> columns)
{
    if (columns.empty())
        return 1;
    number sum = 0;
    const long row = m.rows() - static_cast<long>(columns.size());
    for (size_t i = 0; i < columns.size(); i++) {
        std::vector<long> rest = columns;
        rest.erase(rest.begin() + static_cast<long>(i));
        sum += (i % 2 ? -1.0 : 1.0) * m.at(row, columns[i]) * determinant(m, rest);
    }
    return sum;
}

TEST_F(La, a_determinant_is_the_sum_over_permutations)
{
    for (const format &f : formats)
        for (int i = 0; i < 20; i++) {
            const grid a(f, 4, 4, some()), upper(f, 4, 4);
            const calculation x("vok_la_determinant"), uppertri("vok_la_uppertri");
            ASSERT_EQ(x.run({&a}), 0);
            const number expected = determinant(a, {0, 1, 2, 3});
            EXPECT_LT(std::abs(x.result() - expected), 1e-3 * (1 + std::abs(expected)));
            ASSERT_EQ(uppertri.run({&a}, &upper), 0);
            for (long r = 1; r < 4; r++)
                for (long c = 0; c < r; c++)
                    EXPECT_LT(std::abs(upper.at(r, c)), 1e-4);
        }
}

TEST_F(La, what_does_not_fit_is_refused)
{
    const format f = formats[0];
    const grid tall(f, 3, 2), wide(f, 2, 4), square(f, 2, 2), other({"float64", 1}, 2, 2),
        bytes({"char", 1}, 2, 2), three({"float32", 3}, 2, 2), complex(formats[1], 2, 2), small(f, 1, 1);
    const struct {
        const char *name;
        std::vector<const grid *> in;
        const grid *out;
        long error;
    } rows[] = {
        {"vok_la_mult", {&wide, &tall}, &small, VOK_ERR_MSDM},
        {"vok_la_mult", {&square, &other}, &square, VOK_ERR_MSTP},
        {"vok_la_mult", {&square, &complex}, &square, VOK_ERR_MSPL},
        {"vok_la_inverse", {&tall}, &tall, VOK_ERR_MSDM},
        {"vok_la_inverse", {&square}, &small, VOK_ERR_MSDM},
        {"vok_la_inverse", {&bytes}, &bytes, VOK_ERR_MSTP},
        {"vok_la_uppertri", {&tall}, &square, VOK_ERR_MSDM},
        {"vok_la_uppertri", {&three}, &three, VOK_ERR_MSPL},
        {"vok_la_determinant", {&tall}, nullptr, VOK_ERR_MSDM},
        {"vok_la_determinant", {&bytes}, nullptr, VOK_ERR_MSTP},
        {"vok_la_trace", {&tall}, nullptr, VOK_ERR_MSDM},
        {"vok_la_diagproduct", {&tall}, nullptr, 0},
        {"vok_la_diagproduct", {&three}, nullptr, VOK_ERR_MSPL},
    };
    for (const auto &r : rows)
        EXPECT_EQ(calculation(r.name).run(r.in, r.out), r.error) << r.name;
    EXPECT_EQ(small.rows(), 1);
}

TEST_F(La, vector_primitives_step_by_elements)
{
    double x[] = {1, 2, 99, 99, 3, 4, 99, 99}, y[] = {5, 6, 7, 8}, alpha[] = {2, 1}, sum[2];
    vok_op_vector_arg a{x, 2}, b{y, 1};
    vok_op_vector_dotprod_float64_complex(2, sum, &a, &b);
    EXPECT_EQ(number(sum[0], sum[1]), number(1, 2) * number(5, 6) + number(3, 4) * number(7, 8));
    vok_op_vector_axpy_float64_complex(2, alpha, &a, &b, &b);
    EXPECT_EQ(number(y[2], y[3]), number(7, 8) + number(2, 1) * number(3, 4));
    vok_op_vector_ax_float64_complex(2, nullptr, &a, nullptr, &b);
    EXPECT_EQ(number(y[0], y[1]), number(1, 2));
    float p[] = {1, 2, 3, 4}, q[] = {9, 8};
    vok_op_vector_arg c{p, 3}, d{q, 1};
    vok_op_vector_swap_float32(2, nullptr, &c, &d);
    EXPECT_EQ(std::vector<float>(p, p + 4), (std::vector<float>{9, 2, 3, 8}));
    EXPECT_EQ(q[1], 4);
}

// Compilers know vector instructions that multiply, add and subtract with one rounding.
TEST_F(La, every_product_is_rounded)
{
    constexpr long n = 37;
    double x[2 * n], y[2 * n], sum[2 * n], multiple[2 * n], alpha[2];
    for (double *list : {x, y})
        std::generate_n(list, 2 * n, [this] { return random() / 7e8 - 3; });
    std::generate_n(alpha, 2, [this] { return random() / 7e8 - 3; });
    vok_op_vector_arg a{x, 1}, b{y, 1}, c{sum, 1}, d{multiple, 1};
    vok_op_vector_axpy_float64_complex(n, alpha, &a, &b, &c);
    vok_op_vector_ax_float64_complex(n, alpha, &a, nullptr, &d);
    for (long i = 0; i < 2 * n; i += 2) {
        const double re = alpha[0] * x[i] - alpha[1] * x[i + 1], im = alpha[0] * x[i + 1] + alpha[1] * x[i];
        EXPECT_EQ(number(multiple[i], multiple[i + 1]), number(re, im));
        EXPECT_EQ(number(sum[i], sum[i + 1]), number(y[i] + re, y[i + 1] + im));
    }
}

TEST_F(La, every_path_of_the_machine)
{
    run_on_every_path("La.*:-*every_path*");
}

} // namespace

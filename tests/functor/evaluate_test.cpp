// The evaluator's coordinates, storage, rotation and failures, and the sampler.
#include <cstring>
#include <numbers>

#include <vokra/parallel_ndim.h>

#include "functor/functor_tools.h"
#include "scratch.h"

namespace {

class Evaluate : public Library {};

// The sum of absolute values shows coordinates as they are, as long as they are above 0.
struct manhattan : filler {
    manhattan(std::initializer_list<const char *> settings = {}) : filler("vok_functor_evaluate")
    {
        set("basis distance.manhattan");
        set("align 0.");
        set("weight 1. 1. 1. 1.");
        for (const char *text : settings)
            EXPECT_EQ(set(text), 0) << text;
    }
};

TEST_F(Evaluate, a_grid_begins_at_origin_and_offset)
{
    const manhattan e = {"origin 1. 10.", "offset 0.5 20.", "scale 2. 3."};
    matrix m("float64", 1, {5, 4});
    ASSERT_EQ(e.set("precision float64"), 0);
    ASSERT_EQ(e.run(m), 0);
    for (long y = 0; y < 4; y++)
        for (long x = 0; x < 5; x++)
            EXPECT_EQ(*cell<double>(m, x, y), 1.5 + 0.5 * static_cast<double>(x) + 30 + static_cast<double>(y));
    e.set("autocenter 1");
    ASSERT_EQ(e.run(m), 0);
    EXPECT_EQ(*cell<double>(m, 0, 0), 2 * 4 * 0.5 + 0.5 + 3 * 3 * 0.5 + 20);
}

TEST_F(Evaluate, nothing_is_done_twice)
{
    const manhattan e = {"scale 1. 1."};
    matrix m("float32", 1, {4, 4}), other("float32", 1, {4, 5});
    const auto runs = [&](vok_matrix *to) { // whether it writes
        *cell<float>(to, 2, 1) = 77;
        e.run(to);
        return *cell<float>(to, 2, 1) != 77;
    };
    EXPECT_TRUE(runs(m));
    EXPECT_FALSE(runs(m));
    e.set("scale 1. 1.");
    EXPECT_FALSE(runs(m)) << "an equal value is no change";
    std::vector<atom> list = atoms("basis nothing 1");
    vok_object_method_typed(e.object, gensym("setattr"), 3, list.data(), nullptr);
    EXPECT_TRUE(runs(m));
    EXPECT_TRUE(runs(other)) << "another shape";
}

TEST_F(Evaluate, cells_that_get_no_value)
{
    for (const char *precision : {"float", "double"}) { // offered in the menu, and no words: nothing is written
        const manhattan e = {"scale 1.", "origin 1."};
        e.set(std::string("precision ") + precision);
        matrix m("float64", 1, {2});
        ASSERT_EQ(e.run(m), 0);
        EXPECT_EQ(*cell<double>(m, 0), 0) << precision;
    }
    const manhattan e = {"scale 1. 1."};
    matrix line("float32", 1, {4, 1}); // along a single cell no step is finite
    ASSERT_EQ(e.run(line), 0);
    EXPECT_TRUE(std::isnan(*cell<float>(line, 1)));
}

TEST_F(Evaluate, an_input_gives_the_coordinates)
{
    const manhattan e = {"scale 9. 9.", "offset 9. 9."};
    matrix in("float32", 3, {4, 3}), out("float32", 2, {5, 2}), wrong("float64", 1, {4, 3});
    message(in, "setall", "100. 20. 3.");
    message(in, "setcell", "1 1 val 5. 6. 7."); // what isn't the same along its row
    message(out, "setall", "-1. -1.");
    ASSERT_EQ(e.run(out, in), 0);
    EXPECT_EQ(::cell(out, "3 1") + " " + ::cell(out, "1 1"), "123 123 18 18");
    EXPECT_EQ(::cell(out, "4 0"), "-1 -1") << "beyond the input";
    ASSERT_EQ(e.run(wrong, in), 0);
    EXPECT_EQ(*cell<double>(wrong, 3, 1), 0) << "types differ";

    matrix chars("char", 1, {3}), bytes("char", 1, {3});
    message(chars, "setcell", "0 val 255"); // -1
    message(chars, "setcell", "1 val 2");
    e.set("weight 0.25");
    ASSERT_EQ(e.run(bytes, chars), 0);
    EXPECT_EQ(::cell(bytes, "0") + " " + ::cell(bytes, "1"), "63 127");

    matrix longs("long", 1, {3}), fixed("long", 1, {3});
    *cell<int32_t>(longs, 1) = 49152; // as it stands: 0.75
    e.set("precision fixed");
    e.set("weight 1.");
    ASSERT_EQ(e.run(fixed, longs), 0);
    EXPECT_EQ(*cell<int32_t>(fixed, 1), 0) << "without an alignment the coordinates aren't written";
    e.set("align 1e-9");
    ASSERT_EQ(e.run(fixed, longs), 0);
    EXPECT_EQ(*cell<int32_t>(fixed, 1), 0x7FFFFF * 192 >> 16);
}

TEST_F(Evaluate, turns_the_grid)
{
    const double quarter = std::numbers::pi / 2 - 0.0015707963267948967;
    vok_functor_fractal_rotation_matrix r = {};
    ASSERT_EQ(vok_functor_evaluate_rotation_matrix_init(&r, 2, &quarter), 0);
    EXPECT_NEAR(r.float64[0][1], -1, 1e-15);
    EXPECT_NEAR(r.float64[1][0], 1, 1e-15);
    EXPECT_EQ(r.fixed[1][0], 65536);
    vok_functor_fractal_rotation_matrix_destroy(&r);
    EXPECT_EQ(vok_functor_evaluate_rotation_matrix_init(nullptr, 2, &quarter), VOK_ERR_INVP);

    // a quarter turn makes (x, y) into (-y, x); the weights of radial tell them apart
    const manhattan e = {"basis distance.manhattan.radial", "origin 1. 10.", "scale 2. 4.", "precision float64"};
    const double radii[] = {1, 1000};
    vok_attr_setdouble_array(held_by(e.object, {"basis"}), gensym("radius"), 2, radii);
    vok_attr_setdouble_array(e.object, gensym("rotation"), 1, &quarter);
    matrix m("float64", 1, {3, 3});
    ASSERT_EQ(e.run(m), 0);
    EXPECT_NEAR(*cell<double>(m, 1, 2), 14 + 2000, 1e-9);
    ASSERT_EQ(e.set("rotation 0."), 0);
    ASSERT_EQ(e.run(m), 0);
    EXPECT_NEAR(*cell<double>(m, 1, 2), 2 + 14000, 1e-9);
}

TEST_F(Evaluate, a_split_gives_the_same_picture)
{
    const long parallel = _vok_parallel, thresh = _vok_parallelthresh;
    const filler e("vok_functor_evaluate");
    e.set("basis fractal.mono");
    e.set("weight 1. 1.");
    e.set("scale 7.7 -3.3 1.1");
    matrix one("float32", 2, {301, 97, 2}), split("float32", 2, {301, 97, 2});
    _vok_parallel = 0;
    ASSERT_EQ(e.run(one), 0);
    e.set("align 9.");
    e.set("align 10.");
    _vok_parallel = 1;
    _vok_parallelthresh = 1;
    ASSERT_EQ(e.run(split), 0);
    _vok_parallel = parallel;
    _vok_parallelthresh = thresh;
    for (long z = 0; z < 2; z++)
        for (long y = 0; y < 97; y++)
            ASSERT_EQ(std::memcmp(cell<float>(one, 0, y, z), cell<float>(split, 0, y, z), 301 * 8), 0) << y;
}

TEST_F(Evaluate, says_what_it_cannot_do)
{
    report_catcher reports;
    const filler e("vok_functor_evaluate");
    matrix m("float32", 1, {4, 4});
    EXPECT_EQ(e.run(m), 0) << "no functor yet";
    EXPECT_EQ(e.set("basis noise.gradiant"), VOK_ERR_INVP);
    EXPECT_TRUE(reports.take().empty()) << "the category isn't known";
    EXPECT_EQ(e.set("basis noise no.such"), VOK_ERR_INVP);
    EXPECT_NE(reports.one_error().find("unable to create object for evaluation 'noise.no.such'"),
              std::string::npos);
    EXPECT_EQ(e.set("basis noise gradient"), 0) << "a category and a name";
    EXPECT_EQ(e.set("autocenter 1"), 0);
    EXPECT_EQ(e.set("origin 1. 2."), VOK_ERR_EROR);
    EXPECT_NE(reports.one_error().find("disable autocenter in order to set origin."), std::string::npos);
    EXPECT_EQ(vok_functor_evaluate_setattr_category(nullptr, nullptr, 0, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(vok_object_method(e.object, gensym("matrix_calc"), nullptr, nullptr), 0);
}

TEST_F(Evaluate, a_chain_reaches_inner_functors)
{
    const filler e("vok_functor_evaluate");
    e.set("basis fractal.mono");
    std::vector<atom> list = atoms("basis basis filter a 0.5");
    EXPECT_EQ(vok_object_method_typed(e.object, gensym("setattr"), 5, list.data(), nullptr), 0);
    EXPECT_EQ(vok_attr_getfloat(held_by(e.object, {"functor", "basis", "filter"}), gensym("a")), 0.5);
    list = atoms("weight 0.25"); // nothing to the fractal
    EXPECT_EQ(vok_object_method_typed(e.object, gensym("setattr"), 2, list.data(), nullptr), 0);
    EXPECT_EQ(vok_attr_getfloat(e.object, gensym("weight")), 0.25);
}

TEST_F(Evaluate, the_sampler_writes_its_grid_once)
{
    const filler s("vok_functor_sampler_regular");
    s.set("offset 10. 20. 30.");
    s.set("scale 1. 3. 5.");
    matrix m("float32", 2, {5, 4, 3}), longs("long", 4, {5, 4, 3}), bytes("char", 1, {257}),
        wide("float64", 1, {2});
    ASSERT_EQ(s.run(m), 0);
    EXPECT_EQ(::cell(m, "2 3 1"), "10.5 23");
    message(m, "setall", "7. 7.");
    ASSERT_EQ(s.run(m), 0);
    EXPECT_EQ(::cell(m, "2 3 1"), "7 7") << "once";
    s.set("scale 2. 3. 5.");
    message(longs, "setall", "42 42 42 42");
    ASSERT_EQ(s.run(longs), 0);
    EXPECT_EQ(::cell(longs, "1 0 2"), "688128 1310720 2293760 42") << "planes beyond the dimensions stay";
    s.set("scale 1.");
    s.set("offset 0.0001");
    ASSERT_EQ(s.run(bytes), 0);
    EXPECT_EQ(*cell<uint8_t>(bytes, 256), static_cast<uint8_t>(fixed_of(0.0001) + 65536));
    s.set("offset 0.");
    ASSERT_EQ(s.run(wide), 0);
    EXPECT_EQ(*cell<double>(wide, 1), 1);
}

} // namespace

// The frame of the functors: names and categories, what a class gets at set-up, the three
// number formats, folding, and the messages of all.
#include <cstring>

#include "functor/functor_tools.h"

namespace {

class Functors : public Library {};

// Without what all names begin with.
std::string class_named(zan_class *c)
{
    return c ? class_nameget(c)->name + std::strlen("vok_functor_") : "";
}

TEST_F(Functors, are_found_by_short_and_dotted_name)
{
    const struct {
        const char *name, *exact, *relaxed; // "": none
    } rows[] = {
        {"gaussian", "filter_gaussian", "filter_gaussian"},
        {"filter.gaussian", "filter_gaussian", "filter_gaussian"},
        {"vok.functor.filter.gaussian", "", "filter_gaussian"},
        {"distance.manhattan.radial", "distance_manhattan_radial", "distance_manhattan_radial"},
        {"linear", "curve_linear", "curve_linear"},
        {"transfer.linear", "", "curve_linear"}, // the curve came first
        {"radial", "", ""},
        {"", "", ""},
        {"a.b.c", "", ""},
        {".", "", ""},
    };
    for (const auto &row : rows) {
        symbol *name = gensym(row.name);
        EXPECT_EQ(class_named(vok_functor_lookup(nullptr, name)), row.exact) << row.name;
        EXPECT_EQ(class_named(vok_functor_lookup_relaxed(gensym("noise"), name)), row.relaxed) << row.name;
        vok_functor_wrapper held = {};
        vok_functor_new_object_with_interface(&held.object, &held.interface, nullptr, name);
        EXPECT_EQ(class_named(held.object ? object_class(held.object) : nullptr), row.relaxed) << row.name;
        vok_object_free(held.object);
    }
    EXPECT_EQ(vok_functor_lookup(gensym("noise"), gensym("gaussian")), nullptr);
    EXPECT_NE(vok_functor_lookup(gensym("filter"), gensym("gaussian")), nullptr);
    EXPECT_EQ(vok_functor_distance_radial_new(), nullptr) << "nothing set it up";
}

TEST_F(Functors, categories_list_each_class_twice)
{
    const struct {
        const char *category;
        long classes;
    } rows[] = {{"curve", 2}, {"filter", 9}, {"distance", 7}, {"transfer", 11}}; // transfer.linear lost its name
    for (const auto &row : rows) {
        void *list = vok_functor_classlist_in_category(gensym(row.category));
        EXPECT_EQ(linklist_getsize(list), 2 * row.classes) << row.category;
        linklist_chuck(list);
    }
    EXPECT_EQ(vok_functor_classlist_in_category(gensym("nothing")), nullptr);
    zan_class *c = vok_class_findbyname(gensym("vok_functor_transfer_linear"));
    EXPECT_EQ(vok_functor_category_match(c, gensym("transfer")), 1);
    EXPECT_EQ(class_extra_lookup(c, gensym("functor_interface")), nullptr);
    EXPECT_EQ(vok_functor_category_match(vok_class_findbyname(gensym("vok_matrix")), gensym("transfer")), 0);
}

// A class of the tests' own, which knows float64 alone and tells what came.
struct probe {
    object header;
};
long seen;
double probe_eval(void *, long n, const double *values)
{
    seen = n;
    return n > 1 ? values[n - 1] : values[0];
}

TEST_F(Functors, a_class_gets_what_it_lacks)
{
    zan_class *c = vok_class_new("test_functor_probe", reinterpret_cast<zan_method>(+[]() -> void * {
                                     return vok_object_alloc(vok_class_findbyname(gensym("test_functor_probe")));
                                 }),
                                 nullptr, sizeof(probe), argtype_cant, 0);
    vok_class_addmethod(c, reinterpret_cast<zan_method>(probe_eval), "evalfloat64", argtype_cant, 0);
    EXPECT_EQ(vok_functor_setup_class(c, "test", "probe"), 0);
    EXPECT_EQ(vok_functor_addcategory(c, gensym("more")), 0);
    vok_class_register(c);
    EXPECT_NE(vok_functor_lookup(gensym("more"), gensym("test.probe")), nullptr);

    const functor f("probe");
    const auto *entry = static_cast<zan_method *>(static_cast<void *>(f.interface));
    for (const std::string format : {"evalfixed", "evalfloat32", "evalfloat64"})
        for (const char *suffix : {"", "_1d", "_2d", "_3d"})
            EXPECT_EQ(*entry++, vok_object_getmethod(f.object, gensym((format + suffix).c_str())))
                << format << suffix;

    // Counts are cut to 256 on the way through a conversion, and only there.
    std::vector<int32_t> raw(300);
    for (size_t i = 0; i < raw.size(); i++)
        raw[i] = static_cast<int32_t>(i << 16);
    EXPECT_EQ(eval(f, 300, raw.data()), 255 << 16);
    EXPECT_EQ(seen, 256);
    std::vector<double> wide(300, 7);
    EXPECT_EQ(eval(f, 300, wide.data()), 7);
    EXPECT_EQ(seen, 300);

    const double values[] = {1.5, -1.5, -0.00001, 1e9, NAN};
    const int32_t expected[] = {98304, -98304, 0, INT32_MIN, INT32_MIN};
    for (size_t i = 0; i < std::size(values); i++)
        vok_functor_eval_float64_with_fixed(const_cast<int32_t *>(&expected[i]), 1, &values[i],
                                            [](void *wanted, long, const int32_t *v) {
                                                EXPECT_EQ(*v, *static_cast<int32_t *>(wanted));
                                                return *v;
                                            });
}

TEST_F(Functors, conversions_go_through_the_other_format)
{
    constexpr auto half = [](void *, long n, const auto *v) { return n == 2 ? v[0] + v[1] / 2 : -1; };
    const int32_t raw[] = {65536, 3 * 65536};
    const float f32[] = {1, 3};
    const double f64[] = {1, 3};
    EXPECT_EQ(vok_functor_eval_fixed_with_float32(nullptr, 2, raw, half), 163840);
    EXPECT_EQ(vok_functor_eval_fixed_with_float64(nullptr, 2, raw, half), 163840);
    EXPECT_EQ(vok_functor_eval_float32_with_float64(nullptr, 2, f32, half), 2.5f);
    EXPECT_EQ(vok_functor_eval_float32_with_fixed(nullptr, 2, f32, half), 2.5f);
    EXPECT_EQ(vok_functor_eval_float64_with_fixed(nullptr, 2, f64, half), 2.5);
    EXPECT_EQ(vok_functor_eval_float64_with_float32(nullptr, 2, f64, half), 2.5);
}

TEST_F(Functors, rules_fold_over_coordinates)
{
    constexpr auto twice = [](void *, auto v) { return 2 * v; };
    const int32_t raw[] = {65536, 32768, 4097};
    const float f32[] = {1, 0.5f, 3};
    const double f64[] = {1, 0.5, 3};
    const auto product = [](int32_t a, int32_t b) { return (a >> 4) * (b >> 4) >> 8; };
    EXPECT_EQ(vok_functor_eval_fixed_with_scalar_product(nullptr, 3, raw, twice),
              product(product(131072, 65536), 8194));
    EXPECT_EQ(vok_functor_eval_fixed_with_scalar_sum(nullptr, 3, raw, twice), 131072 + 65536 + 8194);
    EXPECT_EQ(vok_functor_eval_float32_with_scalar_product(nullptr, 3, f32, twice), 12);
    EXPECT_EQ(vok_functor_eval_float32_with_scalar_sum(nullptr, 3, f32, twice), 9);
    EXPECT_EQ(vok_functor_eval_float64_with_scalar_product(nullptr, 0, f64, twice), 2) << "the first always";
    EXPECT_EQ(vok_functor_eval_float64_with_scalar_sum(nullptr, 3, f64, twice), 9);

    std::vector<int32_t> table(65536);
    for (size_t i = 0; i < table.size(); i++)
        table[i] = static_cast<int32_t>(i) + 100000;
    const int32_t ends[] = {-1, 65536 + 7};
    EXPECT_EQ(vok_functor_eval_fixed_with_lut_wrap_sum(nullptr, 2, ends, table.data()), 165535 + 100007);
    EXPECT_EQ(vok_functor_eval_fixed_with_lut_clip_sum(nullptr, 2, ends, table.data()), 100000 + 165535);
    EXPECT_EQ(vok_functor_eval_fixed_with_lut_wrap_product(nullptr, 2, ends, table.data()),
              static_cast<int32_t>(static_cast<uint32_t>(165535 >> 4) * (100007 >> 4)) >> 8);
    EXPECT_EQ(vok_functor_eval_fixed_with_lut_clip_product(nullptr, 1, ends, table.data()), 100000);
}

TEST_F(Functors, parameters_and_wrappers_own_what_they_hold)
{
    vok_functor_combined_dynarray array = {};
    for (const long count : {5, 2}) {
        EXPECT_EQ(vok_functor_combined_dynarray_init(&array, count), 0);
        EXPECT_TRUE(array.count == count && array.fixed && array.float32 && array.float64);
    }
    EXPECT_EQ(vok_functor_combined_dynarray_init(&array, -1), VOK_ERR_INVP);
    EXPECT_TRUE(!array.fixed && !array.float32 && !array.float64 && !array.count);
    EXPECT_EQ(vok_functor_combined_dynarray_init(nullptr, 2), VOK_ERR_INVP);

    vok_functor_wrapper held = {};
    for (const char *name : {"box", "disk"}) {
        EXPECT_EQ(vok_functor_wrapper_init(&held, nullptr, gensym(name)), 0);
        EXPECT_EQ(vok_object_classname(held.object)->name, std::string("vok_functor_filter_") + name);
    }
    EXPECT_EQ(vok_functor_wrapper_init(&held, nullptr, gensym("no such")), VOK_ERR_INVP);
    EXPECT_EQ(held.object, nullptr);
    EXPECT_EQ(vok_functor_wrapper_init(nullptr, nullptr, gensym("box")), VOK_ERR_INVP);
    EXPECT_EQ(vok_functor_wrapper_init(&held, nullptr, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(vok_functor_new_object_with_interface(nullptr, &held.interface, nullptr, gensym("box")),
              VOK_ERR_INVP);
}

TEST_F(Functors, answer_eval_and_setattr)
{
    const functor f("distance.manhattan");
    for (const char *word : {"eval", "evaluate"}) {
        std::vector<atom> list = atoms("-1.5 2");
        atom rv = {};
        EXPECT_EQ(vok_object_method_typed(f.object, gensym(word), 2, list.data(), &rv), 0);
        EXPECT_EQ(rv.type, argtype_float);
        EXPECT_EQ(atom_getfloat(&rv), 3.5);
    }
    const functor box("box; width 3.");
    EXPECT_EQ(box.set(""), VOK_ERR_EROR);
    EXPECT_EQ(box.set("3 4"), VOK_ERR_EROR);
    EXPECT_NE(box.set("filter width 2."), 0) << "a leaf holds nothing";
    EXPECT_NE(box.set("width"), 0);
    EXPECT_EQ(box.number("width"), 3);
}

} // namespace

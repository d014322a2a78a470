// What tests of functors share: a functor by name with its attributes from text, and an
// evaluator that fills a matrix.
#pragma once
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include <vokra/attributes.h>
#include <vokra/functor.h>
#include <vokra/functor_evaluate.h>
#include <vokra/kernel.h>
#include <vokra/mop.h>
#include <vokra/numerics.h>

#include "matrix/matrix_tools.h"

// The parts of "a; b 1; c 2".
inline std::vector<std::string> parts_of(const std::string &text)
{
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in >> std::ws, part, ';');)
        parts.push_back(part);
    return parts;
}

// A functor made by name, with settings behind it: "name; attribute value ...; ...". Chains are allowed.
struct functor {
    void *object = nullptr;
    vok_functor_interface *interface = nullptr;

    explicit functor(const std::string &text)
    {
        const std::vector<std::string> parts = parts_of(text);
        EXPECT_EQ(vok_functor_new_object_with_interface(&object, &interface, nullptr, gensym(parts[0].c_str())), 0)
            << text;
        for (size_t i = 1; i < parts.size(); i++)
            EXPECT_EQ(set(parts[i]), 0) << text;
    }
    ~functor() { vok_object_free(object); }
    functor(const functor &) = delete;
    functor &operator=(const functor &) = delete;

    zan_word set(const std::string &text) const
    {
        std::vector<atom> list = atoms(text);
        return vok_object_method_typed(object, gensym("setattr"), static_cast<long>(list.size()), list.data(),
                                       nullptr);
    }
    double number(const char *attribute) const { return vok_attr_getfloat(object, gensym(attribute)); }
    template <typename... Args> double at(Args... args) const
    {
        const double values[] = {static_cast<double>(args)...};
        return interface->evalfloat64(object, sizeof...(args), values);
    }
    template <typename... Args> float at32(Args... args) const
    {
        const float values[] = {static_cast<float>(args)...};
        return interface->evalfloat32(object, sizeof...(args), values);
    }
    template <typename... Args> int32_t raw(Args... args) const
    {
        const int32_t values[] = {static_cast<int32_t>(args)...};
        return interface->evalfixed(object, sizeof...(args), values);
    }
};

template <typename T> T eval(const functor &f, long n, const T *values)
{
    if constexpr (std::is_same_v<T, int32_t>)
        return f.interface->evalfixed(f.object, n, values);
    else if constexpr (std::is_same_v<T, float>)
        return f.interface->evalfloat32(f.object, n, values);
    else
        return f.interface->evalfloat64(f.object, n, values);
}

// What a functor or an evaluator holds in these roles, one in the other.
inline void *held_by(void *x, std::initializer_list<const char *> roles)
{
    for (const char *role : roles)
        x = reinterpret_cast<void *>(vok_object_method(x, gensym("subfunctor"), gensym(role)));
    return x;
}

// The float-to-fixed conversion, written out.
inline int32_t fixed_of(double v)
{
    const double scaled = std::trunc(v * 65536);
    return scaled >= -2147483648.0 && scaled <= 2147483647.0 ? static_cast<int32_t>(scaled) : INT32_MIN;
}

// Coordinates all over the place, the same in every run.
inline std::vector<std::vector<double>> places(size_t dims, int count)
{
    std::mt19937_64 random(8);
    std::vector<std::vector<double>> all(static_cast<size_t>(count), std::vector<double>(dims));
    for (auto &place : all)
        for (double &x : place)
            x = (static_cast<double>(random() >> 11) * 0x1p-53 - 0.5) * 30;
    return all;
}

inline double value_at(const functor &f, const std::vector<double> &x)
{
    return eval(f, static_cast<long>(x.size()), x.data());
}

// A matrix operator of the room with its lists of matrices.
struct filler {
    void *object;
    explicit filler(const char *classname) : object(vok_object_new(gensym(classname))) {}
    ~filler() { vok_object_free(object); }
    filler(const filler &) = delete;
    filler &operator=(const filler &) = delete;

    long set(const std::string &text) const // "name value ..."
    {
        std::vector<atom> list = atoms(text);
        return object_attr_setvalueof(object, atom_getsym(list.data()), static_cast<long>(list.size()) - 1,
                                      list.data() + 1);
    }
    // Calculates with the input, or without data there.
    long run(vok_matrix *out, vok_matrix *in = nullptr) const
    {
        void *none = vok_object_new(gensym("vok_mop_io")), *inputs = vok_linklist_new(),
             *outputs = vok_linklist_new();
        vok_linklist_append(inputs, in ? in : none);
        vok_linklist_append(outputs, out);
        const long result = send_words(object, "matrix_calc", as_word(inputs), as_word(outputs));
        vok_linklist_chuck(inputs);
        vok_linklist_chuck(outputs);
        vok_object_free(none);
        return result;
    }
};

template <typename T> T *cell(vok_matrix *m, long x, long y = 0, long z = 0)
{
    const long *stride = m->info.dimstride;
    return reinterpret_cast<T *>(m->data + z * stride[2] + y * stride[1] + x * stride[0]);
}

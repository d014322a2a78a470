// The records of the noises that have kernels of their own, which read them.
#pragma once
#include "functor/vok.functor.noise.h"

struct vok_functor_noise_cell {
    object header;
    long abs, sign;
    vok::functor::noise_tables tables;

    void init() { tables.init(1024); }
    void release() { tables.release(); }
    template <typename T> T eval(long n, const T *x);
    vok::functor::fixed eval_fixed(long n, const vok::functor::fixed *x);
};

struct vok_functor_noise_gradient {
    object header;
    long abs, sign;
    symbol *filter;
    vok::functor::noise_tables tables;
    vok::functor::noise_directions directions;
    vok_functor_wrapper curve; // the filter

    void init();
    void release();
    vok_err rebuild();
    vok_err make_filter();
    bool ready(long n);
    template <typename T> T eval(long n, const T *x);
    vok::functor::fixed eval_fixed(long n, const vok::functor::fixed *x) { return eval(n, x); }
};

struct vok_functor_noise_value_cubicspline {
    object header;
    long abs, sign;
    symbol *basis;
    vok::functor::noise_tables tables;
    long step;
    int32_t matrix_fixed[16];
    float matrix_float32[16];
    double matrix_float64[16];

    void init();
    void release() { tables.release(); }
    void fill_basis();
    template <typename T> T eval(long n, const T *x);
    vok::functor::fixed eval_fixed(long n, const vok::functor::fixed *x) { return eval(n, x); }
};

struct vok_functor_noise_simplex {
    object header;
    long abs, sign;
    vok::functor::noise_tables tables; // twice the size that was set
    vok::functor::noise_directions directions;
    vok::functor::formats skew, unskew;

    using fixed_by = float;
    void init();
    void release();
    bool ready(long n);
    template <typename T> T eval(long n, const T *x);
};

struct vok_functor_noise_voronoi {
    enum class placement { random, triangle, square, hexagon, octagon };

    object header;
    long abs, sign;
    double *weight, *exp; // a number each for `features` ranks, or null
    symbol *distance, *combiner, *metric, *shape;
    long features;
    double density;
    long postsqrt;
    vok::functor::noise_tables tables;
    placement placing;
    bool multiplies, by_id;
    vok_functor_wrapper held; // the distance

    void init();
    void release();
    vok_err make_ranks();
    vok_err make_distance();
    template <typename T> T eval(long n, const T *x);
    vok::functor::fixed eval_fixed(long n, const vok::functor::fixed *x);
};

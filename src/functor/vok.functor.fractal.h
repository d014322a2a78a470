// The one record of all fractals. They sum or multiply octaves of a basis functor, with
// growing frequency and shrinking amplitude, and differ in the rule that combines them.
#pragma once
#include "functor/vok.functor.noise.h"

namespace vok::functor {

enum class combination { mono, multi, hetero, hybrid, ridged, turbulence };

struct fractal {
    object header;
    symbol *basis;
    long seed, rotate;
    double scale[32], offset[32];
    long scale_count, offset_count;
    double roughness, lacunarity, detail, level, gain, result;

    // The same in every format, and what is made from them.
    formats_of<32> scales, offsets;
    formats steps, levels, gains, results; // steps: lacunarity
    double octaves;                        // whole ones, trunc(detail)
    formats fraction;                      // of the last one
    long dimensions;                       // of the rotations
    vok_functor_combined_dynarray exponents;
    vok_functor_fractal_rotations rotations;
    vok_functor_wrapper held;

    using fixed_by = float;
    void init();
    void derive();
    void release();
    vok_err make_exponents();
    vok_err make_octaves();
    vok_err make_rotations();
    vok_err set_basis(symbol *name, const char *prefix);

    bool ready() const { return valid(held) && exponents.fixed && exponents.float32 && exponents.float64; }
    // Makes the rotations for n coordinates if need be.
    void turn(long n)
    {
        if (rotate && n != dimensions) {
            dimensions = n;
            make_rotations();
        }
    }
};

} // namespace vok::functor

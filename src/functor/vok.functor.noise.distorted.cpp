// One noise at coordinates that another one has moved.
#include "functor/vok.functor.noise.h"

using namespace vok::functor;

struct vok_functor_noise_distorted {
    object header;
    symbol *outer, *inner;
    double distortion[32];
    double result;
    long distortion_count; // as it was set; evaluation goes by the coordinates
    formats_of<32> distortions;
    formats factor;
    vok_functor_wrapper outer_held, inner_held;

    using fixed_by = float;
    void init()
    {
        outer = gensym("noise.gradient");
        inner = gensym("noise.simplex");
        for (double &d : distortion)
            d = 1;
        distortion_count = 3;
        result = 1;
        // Noises that came with the object are unsigned, those set later signed (deliberate).
        hold(outer_held, outer, 0);
        hold(inner_held, inner, 0);
    }
    void derive()
    {
        distortions.set(distortion);
        factor.set(result);
    }
    void release()
    {
        clear(outer_held);
        clear(inner_held);
    }
    vok_err make_outer() { return hold(outer_held, outer, 1); }
    vok_err make_inner() { return hold(inner_held, inner, 1); }

    template <typename T> T eval(long n, const T *x) const
    {
        if (!valid(outer_held) || !valid(inner_held))
            return 0;
        n = within(n);
        const T d = eval_of<T>(inner_held.interface)(inner_held.object, n, x);
        T moved[max_dimensions] = {};
        for (long i = 0; i < n; i++)
            moved[i] = distortions.as<T>()[i] * d + x[i];
        return eval_of<T>(outer_held.interface)(outer_held.object, n, moved) * factor.as<T>();
    }

  private:
    static vok_err hold(vok_functor_wrapper &held, symbol *name, long sign)
    {
        static symbol *category = gensym("noise");
        if (const vok_err err = vok_functor_noise_evaluator_init(&held, &category, name))
            return err;
        send_sign(held, sign); // functors without a sign are as welcome
        return VOK_ERR_NONE;
    }
};

namespace vok::functor {

template <>
constexpr auto attributes<vok_functor_noise_distorted> = std::array{
    VOKRA_FUNCTOR_SYMBOL(vok_functor_noise_distorted, outer, "Outer", &vok_functor_noise_distorted::make_outer),
    VOKRA_FUNCTOR_SYMBOL(vok_functor_noise_distorted, inner, "Inner", &vok_functor_noise_distorted::make_inner),
    numbers("distortion", offsetof(vok_functor_noise_distorted, distortion),
            offsetof(vok_functor_noise_distorted, distortion_count),
            fn<set_array<&vok_functor_noise_distorted::distortion, nullptr,
                         &vok_functor_noise_distorted::distortion_count>>,
            "Distortion"),
    VOKRA_FUNCTOR_NUMBER(vok_functor_noise_distorted, result, "Result")};

template <>
constexpr auto roles<vok_functor_noise_distorted> =
    std::array{role<vok_functor_noise_distorted>{"outer", &vok_functor_noise_distorted::outer_held},
               role<vok_functor_noise_distorted>{"inner", &vok_functor_noise_distorted::inner_held}};

} // namespace vok::functor

VOKRA_FUNCTOR(noise, distorted, "distorted")

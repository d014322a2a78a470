// Reading and filling atoms. Numbers convert into each other, nothing else does.
#include "kernel.h"
#include <cmath>

namespace {

// Toward zero, limited to the range of a long; NaN is 0. A plain cast would be
// undefined out of range.
zan_word long_from_double(double value)
{
    constexpr double limit = 9223372036854775808.0; // 2 to the 63rd
    if (value >= limit)
        return INT64_MAX;
    if (value < -limit)
        return INT64_MIN;
    return std::isnan(value) ? 0 : static_cast<zan_word>(value);
}

template <class T, class Read> long read_argument(T *dst, long index, long argc, const atom *argv, Read read)
{
    if (!dst || !argv || index < 0 || index >= argc)
        return zan_err_generic;
    *dst = static_cast<T>(read(argv + index));
    return zan_err_none;
}

} // namespace

extern "C" {

long atom_setlong(atom *a, zan_word value)
{
    if (!a)
        return zan_err_generic;
    a->type = argtype_long;
    a->value.as_long = value;
    return zan_err_none;
}

long atom_setfloat(atom *a, double value)
{
    if (!a)
        return zan_err_generic;
    a->type = argtype_float;
    a->value.as_float = value;
    return zan_err_none;
}

long atom_setsym(atom *a, const symbol *value)
{
    if (!a)
        return zan_err_generic;
    a->type = argtype_sym;
    a->value.as_sym = value ? const_cast<symbol *>(value) : zan::ks().empty;
    return zan_err_none;
}

long atom_setobj(atom *a, void *value)
{
    if (!a)
        return zan_err_generic;
    a->type = argtype_obj;
    a->value.as_obj = static_cast<object *>(value);
    return zan_err_none;
}

zan_word atom_getlong(const atom *a)
{
    if (!a)
        return 0;
    return a->type == argtype_long    ? a->value.as_long
           : a->type == argtype_float ? long_from_double(a->value.as_float)
                                      : 0;
}

double atom_getfloat(const atom *a)
{
    if (!a)
        return 0;
    return a->type == argtype_float  ? a->value.as_float
           : a->type == argtype_long ? static_cast<double>(a->value.as_long)
                                     : 0;
}

symbol *atom_getsym(const atom *a)
{
    return a && a->type == argtype_sym ? a->value.as_sym : nullptr;
}

void *atom_getobj(const atom *a)
{
    return a && a->type == argtype_obj ? a->value.as_obj : nullptr;
}

long atom_getcharfix(const atom *a)
{
    if (!a)
        return 0;
    if (a->type == argtype_float) {
        const double v = a->value.as_float;
        return v > 0 ? static_cast<long>((v < 1 ? v : 1) * 255.0) : 0; // NaN is 0
    }
    const zan_word v = atom_getlong(a);
    return v < 0 ? 0 : v > 255 ? 255 : v;
}

long atom_arg_getlong(zan_word *dst, long index, long argc, const atom *argv)
{
    return read_argument(dst, index, argc, argv, atom_getlong);
}

long atom_arg_getfloat(float *dst, long index, long argc, const atom *argv)
{
    return read_argument(dst, index, argc, argv, atom_getfloat);
}

long atom_arg_getdouble(double *dst, long index, long argc, const atom *argv)
{
    return read_argument(dst, index, argc, argv, atom_getfloat);
}

long atom_arg_getsym(symbol **dst, long index, long argc, const atom *argv)
{
    if (!dst || !argv || index < 0 || index >= argc || argv[index].type != argtype_sym)
        return zan_err_generic;
    *dst = argv[index].value.as_sym;
    return zan_err_none;
}

long attr_args_offset(long argc, const atom *argv)
{
    if (!argv || argc < 0)
        return 0;
    long i = 0;
    while (i < argc &&
           !(argv[i].type == argtype_sym && argv[i].value.as_sym && argv[i].value.as_sym->name[0] == '@'))
        ++i;
    return i;
}

} // extern "C"

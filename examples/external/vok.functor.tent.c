/* A complete functor in a module of its own, meant to be copied.
 *
 * It is a transfer: a wave of straight lines that is 0 at every multiple of `period` and 1
 * half-way between. Several coordinates give the product of their values.
 *
 * What a functor consists of:
 *   1. a record, which begins with the object header;
 *   2. new and free functions;
 *   3. evalfloat64: the value at some coordinates (evalfloat32 and evalfixed are made from it
 *      if the class doesn't bring its own);
 *   4. an init function, which makes the class and enters it as a functor;
 *   5. the module record, through which the host finds the init function.
 *
 * From then on fractals, expressions and vok_functor_evaluate find it as "tent", or as
 * "transfer.tent".
 */
#include <math.h>
#include <stddef.h>

#include <vokra/vokra.h>
#include <zan/zan.h>

/* 1. The record. Attributes are fields of it, found by their offset. */
typedef struct tent {
    object header; /* always first */
    double period; /* length of one wave, above 0 */
} tent;

static zan_class *tent_class;

/* 2. The instance comes zeroed; set what must not start at zero. */
static void *tent_new(void)
{
    tent *x = vok_object_alloc(tent_class);
    if (x)
        x->period = 1.0;
    return x;
}

static void tent_free(tent *x)
{
    (void)x; /* nothing is owned beyond the record */
}

/* 3. Called by many threads at once on one object: it reads the record and writes nothing,
 * allocates nothing, and always gives a number. */
static double tent_evalfloat64(tent *x, long dimcount, const double *values)
{
    double product = 1.0;
    for (long i = 0; i < dimcount; ++i) {
        const double phase = values[i] / x->period - floor(values[i] / x->period);
        product *= 1.0 - fabs(2.0 * phase - 1.0);
    }
    return product;
}

/* 4. The class. vok_functor_setup_class comes behind its own methods and attributes, and
 * ahead of its registration. */
static long tent_init(void)
{
    tent_class = vok_class_new("vok_functor_transfer_tent", (zan_method)tent_new, (zan_method)tent_free,
                               sizeof(tent), argtype_cant, 0);
    if (!tent_class)
        return zan_err_out_of_mem;
    vok_class_addmethod(tent_class, (zan_method)tent_evalfloat64, "evalfloat64", argtype_cant, 0);

    /* One attribute, kept in range by a filter so that no value is divided by 0. */
    void *attr = vok_object_new(_vok_sym_vok_attr_offset, "period", _vok_sym_float64, 0L, (zan_method)0,
                                (zan_method)0, (long)offsetof(tent, period));
    vok_attr_addfilterset_clip(attr, 1e-6, 0, 1, 0);
    vok_class_addattr(tent_class, attr);

    vok_functor_setup_class(tent_class, "transfer", "tent");
    return vok_class_register(tent_class) == VOK_ERR_NONE ? zan_err_none : zan_err_generic;
}

/* 5. How the module is met. */
ZAN_MODULE("vok.functor.tent", tent_init);

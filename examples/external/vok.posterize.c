/* A complete matrix operator in a module of its own, meant to be copied.
 *
 * It reduces every plane of a picture to a few levels of brightness. One input, one
 * output, all four cell types; the attribute `levels` says how many steps there are.
 *
 * What an operator consists of:
 *   1. a record, which begins with the object header;
 *   2. new and free functions;
 *   3. matrix_calc, which takes lists of inputs and outputs and gives 0 or an error code;
 *   4. a calculation function, which is handed a slice of the matrices on each thread;
 *   5. an init function, which makes the class and describes its inputs and outputs;
 *   6. the module record, through which the host finds the init function.
 */
#include <math.h>
#include <stddef.h>

#include <vokra/vokra.h>
#include <zan/zan.h>

/* 1. The record. Attributes are fields of it, found by their offset. */
typedef struct posterize {
    object header; /* always first */
    long levels;   /* steps of brightness, 2 to 256 */
} posterize;

static zan_class *posterize_class;

/* 2. The instance comes zeroed; set what must not start at zero. */
static void *posterize_new(void)
{
    posterize *x = vok_object_alloc(posterize_class);
    if (x)
        x->levels = 4;
    return x;
}

static void posterize_free(posterize *x)
{
    (void)x; /* nothing is owned beyond the record */
}

/* 4. Called on several threads at once, each with a slice of its own: infos, `dim`
 * and the pointers already describe that slice alone. Walk dimensions from the
 * highest down; rows are dimension 1, cells dimension 0, and only `dimstride` tells
 * where the next one is, as rows may be padded. */
static double step(double value, double levels)
{
    double s = floor(value * levels);
    if (s > levels - 1.0)
        s = levels - 1.0;
    return s / (levels - 1.0);
}

static void posterize_slice(posterize *x, long dimcount, long *dim, long planecount, vok_matrix_info *in,
                            unsigned char *ip, vok_matrix_info *out, unsigned char *op)
{
    if (dimcount > 2) {
        for (long i = 0; i < dim[dimcount - 1]; ++i)
            posterize_slice(x, dimcount - 1, dim, planecount, in, ip + i * in->dimstride[dimcount - 1], out,
                            op + i * out->dimstride[dimcount - 1]);
        return;
    }
    const long rows = dimcount > 1 ? dim[1] : 1, n = dim[0] * planecount;
    const double levels = (double)x->levels;
    for (long row = 0; row < rows; ++row) {
        const unsigned char *i = ip + row * in->dimstride[1];
        unsigned char *o = op + row * out->dimstride[1];
        if (in->type == _vok_sym_char)
            for (long k = 0; k < n; ++k)
                o[k] = (unsigned char)(255.0 * step(i[k] / 255.0, levels) + 0.5);
        else if (in->type == _vok_sym_long)
            for (long k = 0; k < n; ++k) /* whole numbers: down to a multiple */
                ((int *)o)[k] = ((const int *)i)[k] / (int)x->levels * (int)x->levels;
        else if (in->type == _vok_sym_float32)
            for (long k = 0; k < n; ++k)
                ((float *)o)[k] = (float)step(((const float *)i)[k], levels);
        else if (in->type == _vok_sym_float64)
            for (long k = 0; k < n; ++k)
                ((double *)o)[k] = step(((const double *)i)[k], levels);
    }
}

/* Sends a message with up to two words. */
static zan_word send(void *x, symbol *message, void *a, void *b)
{
    return object_method_imp(x, message, (zan_word)a, (zan_word)b, 0, 0, 0, 0, 0, 0);
}

/* 3. Fetch, lock, look, check, calculate, restore in reverse order. The entries of
 * the lists answer for their matrices. */
static vok_err posterize_matrix_calc(posterize *x, void *inputs, void *outputs)
{
    void *in = (void *)send(inputs, _vok_sym_getindex, 0, 0);
    void *out = (void *)send(outputs, _vok_sym_getindex, 0, 0);
    if (!x || !in || !out)
        return VOK_ERR_INVP;

    zan_word in_lock = send(in, _vok_sym_lock, (void *)1, 0);
    zan_word out_lock = send(out, _vok_sym_lock, (void *)1, 0);
    vok_matrix_info in_info, out_info;
    unsigned char *in_data = 0, *out_data = 0;
    send(in, _vok_sym_getinfo, &in_info, 0);
    send(out, _vok_sym_getinfo, &out_info, 0);
    send(in, _vok_sym_getdata, &in_data, 0);
    send(out, _vok_sym_getdata, &out_data, 0);

    vok_err err = VOK_ERR_NONE;
    if (!in_data)
        err = VOK_ERR_INVI;
    else if (!out_data)
        err = VOK_ERR_INVO;
    else if (in_info.type != out_info.type)
        err = VOK_ERR_MSTP;
    else if (in_info.planecount != out_info.planecount)
        err = VOK_ERR_MSPL;
    else {
        /* Walk what both have; the array must have all 32 entries. */
        long dim[VOK_MATRIX_MAX_DIMCOUNT];
        long dimcount = in_info.dimcount < out_info.dimcount ? in_info.dimcount : out_info.dimcount;
        for (long i = 0; i < VOK_MATRIX_MAX_DIMCOUNT; ++i)
            dim[i] = in_info.dim[i] < out_info.dim[i] ? in_info.dim[i] : out_info.dim[i];
        vok_parallel_ndim_simplecalc2((zan_method)posterize_slice, x, dimcount, dim, in_info.planecount, &in_info,
                                      in_data, &out_info, out_data, 0, 0);
    }

    send(out, _vok_sym_lock, (void *)out_lock, 0);
    send(in, _vok_sym_lock, (void *)in_lock, 0);
    return err;
}

/* 5. The class, in the order that every operator follows. */
static long posterize_init(void)
{
    posterize_class = vok_class_new("vok_posterize", (zan_method)posterize_new, (zan_method)posterize_free,
                                    sizeof(posterize), argtype_cant, 0);
    if (!posterize_class)
        return zan_err_out_of_mem;

    /* The adornment: one input, one output, linked to each other by default. */
    void *mop = vok_object_new(_vok_sym_vok_mop, 1L, 1L);
    vok_class_addadornment(posterize_class, mop);
    vok_class_addmethod(posterize_class, (zan_method)posterize_matrix_calc, "matrix_calc", argtype_cant, 0);

    /* One attribute, kept in range by a filter so that the calculation never sees 1. */
    void *attr = vok_object_new(_vok_sym_vok_attr_offset, "levels", _vok_sym_long, 0L, (zan_method)0,
                                (zan_method)0, (long)offsetof(posterize, levels));
    vok_attr_addfilterset_clip(attr, 2, 256, 1, 1);
    vok_class_addattr(posterize_class, attr);

    return vok_class_register(posterize_class) == VOK_ERR_NONE ? zan_err_none : zan_err_generic;
}

/* 6. How the module is met. */
ZAN_MODULE("vok.posterize", posterize_init);

/* Loads the example operator and functor from an installed tree and calculates with them. */
#include <stdio.h>

#include <vokra/vokra.h>
#include <zan/host.h>

static int fail(const char *what)
{
    fprintf(stderr, "run_external: %s\n", what);
    return 1;
}

int main(int argc, char **argv)
{
    if (argc != 3)
        return fail("usage: run_external OPERATOR FUNCTOR");
    zan_start();
    initialize();
    if (zan_load_module("there/is/none.so") == zan_err_none)
        return fail("a module that isn't there was loaded");
    if (zan_load_module(argv[1]) != zan_err_none || zan_load_module(argv[1]) != zan_err_none)
        return fail("the module wasn't loaded");
    void *op = vok_object_new(gensym("vok_posterize"));
    if (!op)
        return fail("no object of the module's class");
    if (!vok_class_adornment_get(vok_object_class(op), gensym("vok_mop")))
        return fail("the class is no matrix operator");
    vok_attr_setlong(op, gensym("levels"), 1);
    if (vok_attr_getlong(op, gensym("levels")) != 2)
        return fail("the filter of levels doesn't hold");

    vok_matrix_info info;
    vok_matrix_info_default(&info);
    info.dim[0] = 300;
    info.dim[1] = 200;
    void *in = vok_object_new(gensym("vok_matrix"), &info), *out = vok_object_new(gensym("vok_matrix"), &info);
    unsigned char *ip = 0, *op_data = 0;
    vok_object_method(in, gensym("getdata"), &ip);
    vok_object_method(out, gensym("getdata"), &op_data);
    vok_object_method(in, gensym("getinfo"), &info);
    for (long i = 0; i < info.size; ++i)
        ip[i] = (unsigned char)i;
    if (vok_object_method(op, gensym("matrix_calc"), in, out) != 0)
        return fail("matrix_calc failed");
    for (long i = 0; i < info.size; ++i)
        if (op_data[i] != (ip[i] < 128 ? 0 : 255))
            return fail("a cell has the wrong value");
    vok_object_free(op);
    vok_object_free(in);
    vok_object_free(out);

    if (zan_load_module(argv[2]) != zan_err_none)
        return fail("the functor's module wasn't loaded");
    void *tent = 0;
    vok_functor_interface *table = 0;
    if (vok_functor_new_object_with_interface(&tent, &table, 0, gensym("transfer.tent")) != VOK_ERR_NONE)
        return fail("no functor of the module's class");
    const float at[2] = {0.25f, 1.5f};
    if (table->evalfloat32(tent, 2, at) != 0.5f)
        return fail("the functor has the wrong value");
    vok_object_free(tent);
    zan_stop();
    puts("run_external: right");
    return 0;
}

// A complete control box in C++ in a module of its own, meant to be copied.
//
// `lookout NAME` watches the matrix of that name, whoever made it, and sends copies of it: on a
// bang, every `interval` milliseconds when that is above 0, and whenever its format changes. The
// copies go out by the name of a matrix that the box keeps for itself.
//
// What a control box consists of:
//   1. a record, which begins with the object header; C++ members are held by pointer, as the
//      record comes zeroed and no constructor of it runs;
//   2. new and free functions;
//   3. functions for its messages, with their argument tags;
//   4. an init function, which makes the class in the namespace "box";
//   5. the module record, through which the host finds the init function.
//
// It is lookout.so on the search path that makes `lookout` a box. No exception may leave a
// function that the host calls.
#include <vokra/vokra.h>
#include <zan/zan.h>

#include <cstdio>

namespace {

// 1. The record.
struct lookout {
    object header; // always first
    void *out;     // belongs to the box, as do all outlets
    void *clock;   // owned
    void *qelem;   // owned
    void *copy;    // owned: the box's matrix
    symbol *name;  // of the copy
    symbol *watched;
    double interval; // milliseconds, 0 for never
};

zan_class *lookout_class;

template <class F> zan_method function(F f)
{
    return reinterpret_cast<zan_method>(f);
}

// 3. On the main thread: the matrix is looked up anew each time, as nobody keeps it alive for us.
void send_copy(void *box)
{
    auto *x = static_cast<lookout *>(box);
    void *matrix = x->watched ? vok_object_findregistered(x->watched) : nullptr;
    if (!matrix || !vok_object_method(matrix, _vok_sym_class_vok_matrix))
        return;
    vok_matrix_info info;
    vok_object_method(matrix, _vok_sym_getinfo, &info);
    info.flags = 0; // its memory isn't ours
    vok_object_method(x->copy, _vok_sym_setinfo, &info);
    // frommatrix locks both; whoever walks cells himself does as vok.posterize.c
    vok_object_method(x->copy, _vok_sym_frommatrix, matrix, nullptr);
    atom name;
    atom_setsym(&name, x->name);
    outlet_anything(x->out, _vok_sym_vok_matrix, 1, &name);
}

void bang(lookout *x)
{
    send_copy(x);
}

// On the scheduler thread: it sets the qelem, which works on the main thread, and itself again.
void tick(void *box)
{
    auto *x = static_cast<lookout *>(box);
    qelem_set(x->qelem);
    if (x->interval > 0)
        clock_fdelay(x->clock, x->interval);
}

// On the thread of whoever changes the matrix, in the midst of the change: `modified` comes when
// it has another format, `free` when it goes. Changes that follow each other become one copy.
void notify(lookout *x, symbol *, symbol *message, void *, void *)
{
    if (message == _vok_sym_modified)
        qelem_set(x->qelem);
}

// A name may be watched before there is anything under it.
void watch(lookout *x, symbol *name)
{
    if (x->watched)
        vok_object_detach(x->watched, x);
    x->watched = name;
    vok_object_attach(name, x);
}

vok_err set_interval(lookout *x, void *, long argc, atom *argv)
{
    x->interval = argc > 0 ? atom_getfloat(argv) : 0;
    if (x->interval > 0)
        clock_fdelay(x->clock, x->interval);
    else
        clock_unset(x->clock);
    return VOK_ERR_NONE;
}

void assist(lookout *, void *, long in_or_out, long, char *text)
{
    std::snprintf(text, 512, "%s", in_or_out == 1 ? "bang sends a copy, watch NAME" : "(matrix) the copy");
}

// 2. What free gives back stands here once; it is called for a box that is half made, too.
void lookout_free(lookout *x)
{
    if (x->watched)
        vok_object_detach(x->watched, x);
    object_free(x->clock);
    qelem_free(x->qelem);
    vok_object_free(x->copy);
}

void *lookout_new(symbol *, long argc, atom *argv)
{
    auto *x = static_cast<lookout *>(object_alloc(lookout_class));
    if (!x)
        return nullptr;
    x->out = outlet_new(x, "vok_matrix");
    x->clock = clock_new(x, tick);
    x->qelem = qelem_new(x, send_copy);
    x->copy = vok_object_new(_vok_sym_vok_matrix, nullptr);
    x->name = vok_symbol_unique();
    if (!x->clock || !x->qelem || !x->copy || !vok_object_register(x->copy, x->name)) {
        object_free(x);
        return nullptr;
    }
    const long plain = attr_args_offset(argc, argv);
    if (plain > 0 && argv[0].type == argtype_sym)
        watch(x, atom_getsym(argv));
    for (long i = plain; i + 1 < argc; i += 2) // @interval 40
        if (argv[i].type == argtype_sym)
            object_attr_setvalueof(x, gensym(atom_getsym(argv + i)->name + 1), 1, argv + i + 1);
    return x;
}

// 4. The class.
long lookout_init()
{
    zan_class *c = class_new("lookout", function(lookout_new), function(lookout_free), sizeof(lookout), nullptr,
                             argtype_gimme, 0);
    if (!c)
        return zan_err_out_of_mem;
    class_addmethod(c, function(bang), "bang", 0);
    class_addmethod(c, function(watch), "watch", argtype_sym, 0);
    class_addmethod(c, function(notify), "notify", argtype_cant, 0); // cant: never from a patch
    class_addmethod(c, function(assist), "assist", argtype_cant, 0);
    class_addattr(c, vok_object_new(_vok_sym_vok_attr_offset, "interval", _vok_sym_float64, 0L, nullptr,
                                    function(set_interval), long(offsetof(lookout, interval))));
    class_attr_addattr_parse(c, "interval", "label", _vok_sym_symbol, 0, "\"milliseconds from copy to copy\"");
    zan_class_setdigest(c, "Watches a matrix of any name and sends copies of it.");
    lookout_class = c;
    return class_register(gensym("box"), c);
}

} // namespace

// 5. How the module is met.
ZAN_MODULE("lookout", lookout_init);

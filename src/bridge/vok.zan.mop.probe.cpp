// Probing: what an outlet carries, told ten times a second to one receiver, which a
// helper patch of the application shows. One box in the process is probed at a time. The
// clock runs in the scheduler and asks for the qelem, which does the rest on the main
// thread.
#include <initializer_list>

#include <vokra/attributes.h>
#include <vokra/box.h>
#include <vokra/kernel.h>
#include <vokra/mop_box.h>
#include <zan/zan.h>

#include "bridge/mop_box.h"

void *g_vok_matrix_probe_obj;
void *g_vok_matrix_probe_clock;
void *g_vok_matrix_probe_qelem;
long g_vok_matrix_probe_outnum;

namespace {

constexpr long interval_ms = 100;

// Names that only probing speaks.
struct {
    symbol *vok_matrix_box, *vok_gl_texture_box, *vok_movie_box;
    symbol *getoutputmess, *drawto, *out_name, *output_texture, *texture_name;
    symbol *receive;
} words;

void stop()
{
    if (g_vok_matrix_probe_clock)
        clock_unset(g_vok_matrix_probe_clock);
    if (g_vok_matrix_probe_qelem)
        qelem_unset(g_vok_matrix_probe_qelem);
    g_vok_matrix_probe_obj = nullptr;
}

bool tells_output(void *x)
{
    return object_getmethod(x, words.getoutputmess) != vok::method(method_false);
}

bool draws(void *x)
{
    return zan_vok_obex_attr_getobject(x, words.drawto) && zan_vok_obex_attr_getobject(x, words.out_name);
}

bool can_be_probed(void *x)
{
    symbol *name = object_classname(x);
    return zan_vok_obex_adornment_get(x, _vok_sym_vok_mop) || name == words.vok_matrix_box ||
           name == words.vok_gl_texture_box || tells_output(x) || draws(x);
}

symbol *texture_message()
{
    return _common_symbols[zan_common_vok_gl_texture];
}

// What to send for the probed outlet.
struct message {
    symbol *selector = nullptr;
    atom value = {};

    message() = default;
    message(symbol *s, const symbol *name) : selector(name ? s : nullptr) { atom_setsym(&value, name); }
};

// A box that answers with the message itself, as an atom array.
message told_output(void *x)
{
    message m;
    void *answer = vok::ask<void>(x, words.getoutputmess);
    long argc = 0;
    atom *argv = nullptr;
    if (answer && !atomarray_getatoms(answer, &argc, &argv) && argc >= 2) {
        m.selector = atom_getsym(argv);
        m.value = argv[1];
    }
    object_free(answer);
    return m;
}

// The texture that a drawing object captures to, one a capture outlet.
message drawn_output(void *o, long outnum)
{
    if (outnum == 0)
        return {texture_message(), vok_attr_getsym(o, words.out_name)};
    long argc = 0;
    atom *argv = nullptr;
    message m;
    if (!object_attr_getvalueof(o, words.out_name, &argc, &argv) && argc > 0) {
        m.selector = texture_message();
        m.value = argv[outnum > 0 && outnum < argc ? outnum : 0];
    }
    sysmem_freeptr(argv);
    return m;
}

message current_output(void *x, long outnum)
{
    void *o = zan_vok_obex_vokob_get(x);
    symbol *name = object_classname(x);
    if (zan_vok_obex_adornment_get(x, _vok_sym_vok_mop)) {
        if (vok_attr_getlong(o, words.output_texture))
            return {texture_message(), vok_attr_getsym(o, words.texture_name)};
        // a movie's other outlets carry sound
        const long index = name == words.vok_movie_box ? 1 : outnum + 1;
        const auto *io = static_cast<vok_mop_io *>(zan_vok_mop_getoutput(x, index));
        return io ? message(_vok_sym_vok_matrix, io->matrixname) : message();
    }
    if (name == words.vok_matrix_box)
        return {_vok_sym_vok_matrix, vok_attr_getsym(x, _vok_sym_name)};
    if (name == words.vok_gl_texture_box)
        return {texture_message(), vok_attr_getsym(o, _vok_sym_name)};
    if (tells_output(x))
        return told_output(x);
    if (object_attr_get(o, words.drawto) && object_attr_get(o, words.out_name))
        return drawn_output(o, outnum);
    return {};
}

} // namespace

void vok::forget_probed(void *x)
{
    if (x && x == g_vok_matrix_probe_obj)
        stop();
}

void zan_vok_mop_initprobesyms(void)
{
    words = {gensym("vok.matrix"),     gensym("vok.gl.texture"), gensym("vok.movie~"),
             gensym("getoutputmess"),  gensym("drawto"),         gensym("out_name"),
             gensym("output_texture"), gensym("texture_name"),   gensym("__vok_matrix_probe_receive")};
}

vok_err zan_vok_mop_setup_probing(zan_class *c)
{
    if (!c)
        return VOK_ERR_INVP;
    for (const char *kind : {"vok_matrix", "vok_gl_texture"}) {
        const struct {
            const char *what;
            zan_method fn;
        } rows[] = {
            {"startprobe", vok::method(zan_vok_mop_vok_matrix_startprobe)},
            {"probevalue", vok::method(zan_vok_mop_vok_matrix_probevalue)},
            {"endprobe", vok::method(zan_vok_mop_vok_matrix_endprobe)},
        };
        for (const auto &row : rows) {
            char name[64];
            snprintf_zero(name, sizeof name, "%s_%s", kind, row.what);
            class_addmethod(c, row.fn, name, argtype_cant, 0);
        }
    }
    return VOK_ERR_NONE;
}

void *zan_vok_mop_vok_matrix_startprobe(void *x)
{
    if (!words.receive)
        zan_vok_mop_initprobesyms();
    if (!x || x == g_vok_matrix_probe_obj)
        return nullptr;
    if (g_vok_matrix_probe_obj)
        stop();
    if (!can_be_probed(x))
        return nullptr;
    g_vok_matrix_probe_obj = x;
    return x;
}

vok_err zan_vok_mop_vok_matrix_probevalue(void *, symbol *, long outnum)
{
    g_vok_matrix_probe_outnum = outnum;
    if (!g_vok_matrix_probe_qelem)
        g_vok_matrix_probe_qelem = qelem_new(ps_vokra->thing, zan_vok_mop_vok_matrix_probe_qfn);
    if (!g_vok_matrix_probe_clock)
        g_vok_matrix_probe_clock = clock_new(ps_vokra->thing, zan_vok_mop_vok_matrix_probe_tick);
    clock_delay(g_vok_matrix_probe_clock, 0);
    return VOK_ERR_NONE;
}

vok_err zan_vok_mop_vok_matrix_endprobe(void *)
{
    stop();
    return VOK_ERR_NONE;
}

void zan_vok_mop_vok_matrix_showprobe(void)
{
    void *application = gensym("zan")->thing;
    if (!application)
        return;
    atom names[2];
    atom_setsym(names, gensym("__vok_matrix_probe_window_ptr"));
    atom_setsym(names + 1, gensym("vok_matrix_probe.zanpat"));
    typedmess(application, gensym("openfilefront"), 2, names);
}

void zan_vok_mop_vok_matrix_probe_tick(void *)
{
    qelem_set(g_vok_matrix_probe_qelem);
    clock_delay(g_vok_matrix_probe_clock, interval_ms);
}

void zan_vok_mop_vok_matrix_probe_qfn(void *)
{
    void *receiver = words.receive ? words.receive->thing : nullptr;
    if (!g_vok_matrix_probe_obj || !receiver)
        return;
    message m = current_output(g_vok_matrix_probe_obj, g_vok_matrix_probe_outnum);
    if (m.selector)
        typedmess(receiver, m.selector, 1, &m.value);
}

// The start-up: one table, run from top to bottom. Each row may rely on all those above
// it; a room joins with its row.
#include <zan/classes.h>
#include <zan/objects.h>
#include <zan/preferences.h>
#include <zan/symbols.h>

#include <vokra/anim_node.h>
#include <vokra/attributes.h>
#include <vokra/box.h>
#include <vokra/commonsyms.h>
#include <vokra/expr.h>
#include <vokra/functor.h>
#include <vokra/kernel.h>
#include <vokra/la.h>
#include <vokra/listener.h>
#include <vokra/matrix.h>
#include <vokra/matrix_wrapper.h>
#include <vokra/memory.h>
#include <vokra/mop.h>
#include <vokra/numerics.h>
#include <vokra/op.h>
#include <vokra/parallel_pool.h>
#include <vokra/pixel_formats.h>
#include <vokra/quat_interface.h>
#include <vokra/vecmath.h>
#include <vokra/xml.h>

#include "kernel/message.h"

// Of a room that isn't built yet.
extern "C" __attribute__((weak)) vok_err zan_vok_ob3d_init(zan_method gl_function);

vok_mess _vok_mess_nonmethod;
vok_mess _vok_mess_freemethod;
zan_class *_vok_class_class;

namespace {

vok_err start_numerics(void)
{
    vok_rand_setseed(0); // from the clock
    vok_rand();
    vok_half_init();
    return VOK_ERR_NONE;
}

vok_err fill_message_records(void)
{
    _vok_mess_nonmethod = {gensym("nonmethod"), vok::method(vok_method_false)};
    _vok_mess_freemethod = {_vok_sym_free, vok::method(vok_object_free)};
    return VOK_ERR_NONE;
}

vok_err make_class_of_classes(void)
{
    _vok_class_class = vok_class_new("vok_class", reinterpret_cast<zan_method>(vok_class_new),
                                     vok::method(vok_class_free), sizeof(object), argtype_cant, 0);
    if (!_vok_class_class)
        object_post(nullptr, "couldn't allocate memory for class vok_class");
    return VOK_ERR_NONE;
}

vok_err register_class_of_classes(void)
{
    return _vok_class_class ? class_register(ps_vokra, _vok_class_class) : 0;
}

// The separately loaded OpenGL module has left its functions in the `thing` of two symbols.
vok_err take_over_gl(void)
{
    const bool core = preferences_getsym("gfxengine") == gensym("glcore");
    void *init = gensym(core ? "gl3status_initgl" : "gl2status_initgl")->thing;
    void *gl_function = gensym(core ? "gl3status_gl_function" : "gl2status_gl_function")->thing;
    if (init)
        reinterpret_cast<zan_word (*)(zan_word)>(init)(0);
    if (zan_vok_ob3d_init)
        zan_vok_ob3d_init(reinterpret_cast<zan_method>(gl_function));
    return VOK_ERR_NONE;
}

struct step {
    const char *name;
    vok_err (*run)(void);
};

constexpr step steps[] = {
    {"numerics", start_numerics},
    {"message records", fill_message_records},
    {"vok_class", make_class_of_classes},
    {"vok_linklist", vok_linklist_init},
    {"vok_class registered", register_class_of_classes},
    {"vector constants", vok_vecmath_init},
    {"attributes", vok_attr_init},
    {"vok_usurp", vok_zan_init},
    {"vok_matrix", vok_matrix_init},
    {"vok_matrix_wrapper", vok_matrix_wrapper_init},
    {"vok_mop", vok_mop_init},
    {"vok_kernel", vok_kernel_init},
    {"vok_la_mult", vok_la_mult_init},
    {"vok_la_uppertri", vok_la_uppertri_init},
    {"vok_la_trace", vok_la_trace_init},
    {"vok_la_diagproduct", vok_la_diagproduct_init},
    {"vok_la_determinant", vok_la_determinant_init},
    {"vok_la_inverse", vok_la_inverse_init},
    {"thread pool", vok_parallel_utils_init},
    {"vok_op", vok_op_init},
    {"vok_tree", vok_tree_init},
    {"vok_expr", vok_expr_init},
    {"functors", vok_functor_init},
    {"vok_listener", vok_listener_init},
    {"vok_charset_converter", vok_charset_init},
    {"XML", vok_xml_init},
    {"pixel formats", vok_uyvy_init},
    {"vok_quat_interface", vok_quat_interface_init},
    {"vok_anim_node", vok_anim_node_init},
    {"OpenGL", take_over_gl},
};

} // namespace

vok_err vok_object_init(void)
{
    if (_vok_object_init)
        return VOK_ERR_NONE;
    _vok_object_init = 1; // ahead of all: the steps come back here through vok_class_new
    for (const step &s : steps)
        if (s.run())
            object_error(nullptr, "start-up: %s failed", s.name);
    return VOK_ERR_NONE;
}

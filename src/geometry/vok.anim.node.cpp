// vok_anim_node: the class, birth and death of a node, and the messages that set its
// state. Its updates, names, attributes and motions have files of their own.
#include <vokra/attributes.h>
#include <vokra/kernel.h>
#include <zan/zan.h>

#include "geometry/anim_node.h"
#include "kernel/message.h"

namespace vok::anim {
namespace {

zan_class *node_class;

static_assert(offsetof(vok_anim_node, local) == sizeof(object) + 192 &&
                  offsetof(vok_anim_node, parent) == sizeof(object) + 240 &&
                  offsetof(vok_anim_node, world) == sizeof(object) + 288 &&
                  offsetof(vok_anim_node, locklook) == sizeof(object) + 320 &&
                  offsetof(vok_anim_node, movemode) == sizeof(object) + 360,
              "the record's order is fixed");

constexpr vok_quat no_turn = {0, 0, 0, 1};

void reset(vok_anim_node *x)
{
    const bool away = x->locklook || x->node_type == vok_anim_camera;
    x->position = {0, 0, away ? 2.0f : 0.0f};
    send(x->local, gensym("reset"));
    x->lookat = {0, 0, 0};
    x->direction = {0, 0, x->flip ? -1.0f : 1.0f};
    x->anchor = {0, 0, 0};
    x->scale = {1, 1, 1};
    x->dirty = 1;
}

void set_dirty(vok_anim_node *x)
{
    x->dirty = 1;
}

void set_parent_dirty(vok_anim_node *x)
{
    x->parent_dirty = 1;
}

void set_type(vok_anim_node *x, symbol *type)
{
    static const struct {
        symbol *name;
        long type; // -1: stays
        bool flips;
    } types[] = {
        {gensym("vok_gl_render"), vok_anim_root, false},
        {gensym("vok_gl_node"), vok_anim_gl_node, false},
        {gensym("vok_gl_model_node"), vok_anim_model_node, false},
        {gensym("vok_gl_camera"), vok_anim_camera, true},
        {gensym("vok_gl_light"), -1, true},
    };
    for (const auto &row : types) {
        if (row.name != type)
            continue;
        if (row.type >= 0)
            x->node_type = row.type;
        if (row.type == vok_anim_camera)
            x->animmode = words().local; // how it moves and turns stays as it is, deliberately
        if (row.flips)
            x->flip = 1;
    }
}

void focus_gained(vok_anim_node *x, const symbol *name)
{
    if (attristransformattr(name))
        x->focus = const_cast<symbol *>(name);
}

void focus_lost(vok_anim_node *x, const symbol *name)
{
    if (attristransformattr(name))
        x->focus = _vok_sym_nothing;
}

constexpr message messages[] = {
    {"update", fn<vok_anim_node_update>, {argtype_cant}},
    {"update_node", fn<update_node>, {argtype_defer_low}},
    {"reset", fn<reset>, {argtype_defer_low}},
    {"anim_reset", fn<reset>, {argtype_defer_low}},
    {"move", fn<move>, {argtype_defer_low}},
    {"anim_move", fn<move>, {argtype_defer_low}},
    {"turn", fn<turn>, {argtype_defer_low}},
    {"anim_turn", fn<turn>, {argtype_defer_low}},
    {"grow", fn<grow>, {argtype_defer_low}},
    {"anim_grow", fn<grow>, {argtype_defer_low}},
    {"dirty", fn<set_dirty>, {argtype_cant}},
    {"dirty_parent", fn<set_parent_dirty>, {argtype_cant}},
    {"add_child", fn<add_child>, {argtype_cant}},
    {"remove_child", fn<remove_child>, {argtype_cant}},
    {"clone", fn<clone>, {argtype_cant}},
    {"set_type", fn<set_type>, {argtype_cant}},
    {"concat", fn<concat>, {argtype_defer_low}},
    {"worldtolocal", fn<world_to_local>, {argtype_gimmeback}},
    {"localtoworld", fn<local_to_world>, {argtype_gimmeback}},
    {"worldtolocal_quat", fn<world_to_local_quat>, {argtype_gimmeback}},
    {"localtoworld_quat", fn<local_to_world_quat>, {argtype_gimmeback}},
    {"attrui_focusgained", fn<focus_gained>, {argtype_cant}},
    {"attrui_focuslost", fn<focus_lost>, {argtype_cant}},
};

} // namespace

const node_words &words()
{
    static const node_words w = {gensym("local"),       gensym("parent"),       gensym("world"),
                                 gensym("parentpos"),   gensym("parentquat"),   gensym("parentscale"),
                                 gensym("worldquat"),   gensym("movemode"),     gensym("turnmode"),
                                 gensym("dirty"),       gensym("dirty_parent"), gensym("add_child"),
                                 gensym("remove_child")};
    return w;
}

vok_anim_node *as_node(void *x)
{
    return x && object_class(x) == node_class ? static_cast<vok_anim_node *>(x) : nullptr;
}

} // namespace vok::anim

using namespace vok::anim;

long attristransformattr(const symbol *name)
{
    return name && (name == _vok_sym_position || name == _vok_sym_scale || name == _vok_sym_quat ||
                    name == _vok_sym_rotate || name == _vok_sym_rotatexyz);
}

vok_anim_node *vok_anim_node_new(void)
{
    auto *x = static_cast<vok_anim_node *>(vok_object_alloc(node_class));
    if (!x)
        return nullptr;
    x->name = vok_symbol_unique();
    x->anim = x->target = x->model_name = x->focus = _vok_sym_nothing;
    x->movemode = x->turnmode = x->animmode = words().parent;
    x->children = linklist_new();
    for (vok_quat_interface **i : {&x->local, &x->parent, &x->world})
        *i = static_cast<vok_quat_interface *>(vok_object_new(gensym("vok_quat_interface"), x));
    if (!x->children || !x->local || !x->parent || !x->world || !vok_object_register(x, x->name)) {
        vok_object_free(x);
        return nullptr;
    }
    x->name->thing = x;
    vok_mat4_identity(&x->worldtransform);
    vok_mat4_get_inverse(&x->invtransform, &x->worldtransform);
    x->direction = {0, 0, 1};
    x->up = {0, 1, 0};
    x->scale = x->parentscale = x->worldscale = {1, 1, 1};
    x->quat = x->parentquat = x->worldquat = no_turn;
    x->flags = vok_anim_no_parent;
    x->inherit_position = x->inherit_rotate = x->inherit_scale = 1;
    x->dirty = x->parent_dirty = x->automatic = 1;
    return x;
}

void vok_anim_node_free(vok_anim_node *x)
{
    leave_others(x);
    for (vok_quat_interface *i : {x->local, x->parent, x->world})
        vok_object_free(i);
    if (x->name->thing == x)
        x->name->thing = nullptr;
}

vok_err vok_anim_node_init(void)
{
    node_class = vok::add_class(
        {"vok_anim_node", vok::fn<vok_anim_node_new>, vok::fn<vok_anim_node_free>, sizeof(vok_anim_node)},
        messages);
    if (!node_class)
        return VOK_ERR_OMEM;
    add_attributes(node_class);
    return VOK_ERR_NONE;
}

// The attributes of vok_anim_node: what a set makes out of date, and values that are
// worked out when they are read.
#include <algorithm>
#include <cstring>

#include <vokra/attributes.h>
#include <vokra/kernel.h>
#include <zan/zan.h>

#include "geometry/anim_node.h"
#include "geometry/vecmath.h"
#include "kernel/atoms.h"
#include "kernel/message.h"

namespace vok::anim {
namespace {

using namespace vok::vecmath;

vok_attribute *pushed[3];

template <long n> vok_err answer(const float *values, long *argc, atom **argv)
{
    if (const vok_err err = reserve_atoms(n, argc, argv))
        return err;
    for (long i = 0; i < *argc; i++)
        atom_setfloat(*argv + i, values[i]);
    return VOK_ERR_NONE;
}

// ---- what is set ----

void touch_target(const vok_anim_node *x, symbol *name)
{
    if (void *target = target_of(x))
        vok_attr_user_touch(target, name);
}

vok_err position_set(vok_anim_node *x, void *, long argc, const atom *argv)
{
    x->position = vec3_from(argc, argv);
    x->dirty = 1;
    touch_target(x, _vok_sym_position);
    return VOK_ERR_NONE;
}

vok_err scale_set(vok_anim_node *x, void *, long argc, const atom *argv)
{
    if (argc > 0 && argv)
        x->scale = vec3_from(argc, argv);
    if (argc == 1 && argv)
        x->scale.y = x->scale.z = x->scale.x;
    x->dirty = 1;
    touch_target(x, _vok_sym_scale);
    return VOK_ERR_NONE;
}

// Of direction, lookat and up.
vok_err direction_set(vok_anim_node *x, void *attr, long argc, const atom *argv)
{
    x->dirty = 1;
    if (argc < 3 || !argv)
        return VOK_ERR_NONE;
    const symbol *name = ask<symbol>(attr, _vok_sym_getname);
    vok_vec3 *field = name == _vok_sym_lookat ? &x->lookat : name == _vok_sym_up ? &x->up : &x->direction;
    *field = vec3_from(argc, argv);
    if (field == &x->lookat)
        x->lookat_pending = 1;
    x->direction_dirty = 1;
    return VOK_ERR_NONE;
}

// A parent value that was set has a bit; without any of them there is no parent.
void mark(vok_anim_node *x, long bit, bool set)
{
    constexpr long all = vok_anim_parentpos | vok_anim_parentquat | vok_anim_parentscale;
    if (set)
        x->flags = (x->flags | bit) & ~long{vok_anim_no_parent};
    else
        x->flags &= ~bit;
    if (!(x->flags & all))
        x->flags |= vok_anim_no_parent;
    x->dirty = 1;
}

template <vok_vec3 vok_anim_node::*field, long bit>
vok_err parent_vec3_set(vok_anim_node *x, void *, long argc, const atom *argv)
{
    const bool given = argc > 0 && argv;
    constexpr float otherwise = bit == vok_anim_parentscale ? 1 : 0;
    if (!given)
        x->*field = {otherwise, otherwise, otherwise};
    for (long i = 0; given && i < std::min(argc, 3L); i++)
        numbers(&(x->*field))[i] = static_cast<float>(atom_getfloat(argv + i));
    mark(x, bit, given);
    return VOK_ERR_NONE;
}

template <auto setter> vok_err parent_rotation_set(vok_anim_node *x, void *, long argc, atom *argv)
{
    const bool given = argc > 0 && argv;
    if (given)
        setter(x->parent, nullptr, argc, argv);
    else
        write_quat(x->parent, {0, 0, 0, 1});
    std::memcpy(&x->parentquat, x->parent->quat, sizeof x->parentquat);
    mark(x, vok_anim_parentquat, given);
    return VOK_ERR_NONE;
}

vok_err animmode_set(vok_anim_node *x, void *, long argc, const atom *argv)
{
    symbol *mode = argc > 0 && argv ? vok_atom_getsym(argv) : nullptr;
    if (mode != words().local && mode != words().parent && mode != words().world)
        return VOK_ERR_NONE;
    x->animmode = x->movemode = x->turnmode = mode;
    vok_attr_user_touch(x, words().movemode);
    vok_attr_user_touch(x, words().turnmode);
    return VOK_ERR_NONE;
}

vok_err transform_set(vok_anim_node *x, void *, long argc, const atom *argv)
{
    const vok_mat4 m = mat4_from(argc, argv);
    mat4_decompose(&m, &x->position, &x->scale, &x->quat);
    write_quat(x->local, x->quat);
    x->dirty = 1;
    return VOK_ERR_NONE;
}

// Of values that are worked out, which code may try to set.
vok_err refuse(void *, void *, long, const atom *)
{
    return VOK_ERR_EROR;
}

vok_err matrixoutput_set(vok_anim_node *x, void *, long argc, const atom *argv)
{
    if (argc > 0 && argv && atom_getlong(argv))
        x->flags |= vok_anim_no_parent;
    else
        x->flags &= ~long{vok_anim_no_parent};
    return VOK_ERR_NONE;
}

// ---- what is read ----

vok_err matrixoutput_get(const vok_anim_node *x, void *, long *argc, atom **argv)
{
    if (const vok_err err = reserve_atoms(1, argc, argv))
        return err;
    if (*argc)
        atom_setlong(*argv, x->flags & vok_anim_no_parent);
    return VOK_ERR_NONE;
}

vok_err transform_get(const vok_anim_node *x, void *, long *argc, atom **argv)
{
    return answer<16>(composed(x->quat, x->position, x->scale).e, argc, argv);
}

vok_err direction_get(vok_anim_node *x, void *, long *argc, atom **argv)
{
    if (!x->direction_dirty || x->lookat_pending)
        x->direction = forward(x, x->quat);
    return answer<3>(numbers(&x->direction), argc, argv);
}

vok_err worlddir_get(const vok_anim_node *x, void *, long *argc, atom **argv)
{
    const vok_vec3 direction = forward(x, x->worldquat);
    return answer<3>(numbers(&direction), argc, argv);
}

vok_err lookat_get(vok_anim_node *x, void *, long *argc, atom **argv)
{
    if (!x->lookat_pending && !x->locklook)
        x->lookat = forward(x, x->worldquat) + x->worldpos;
    return answer<3>(numbers(&x->lookat), argc, argv);
}

template <vok_quat_interface *vok_anim_node::*i>
vok_err rotate_get(const vok_anim_node *x, void *, long *argc, atom **argv)
{
    return answer<4>((x->*i)->rotate, argc, argv);
}

// ---- the table ----

using node = vok_anim_node;
#define AT(field) .offset = offsetof(node, field)
constexpr const char *modes = "local parent world";

// clang-format off
constexpr attribute rows[] = {
    {.name = "target", .type = "symbol", .flags = hidden, AT(target), .set = fn<target_set>},
    {.name = "model_name", .type = "symbol", .flags = hidden, AT(model_name)},
    {.name = "worldtransform", .type = "float32", .flags = low_readonly, AT(worldtransform), .size = 16,
     .label = "World Transform"},
    {.name = "invtransform", .type = "float32", .flags = low_readonly, AT(invtransform), .size = 16,
     .label = "Inverse Transform"},
    {.name = "worldquat", .type = "float32", .flags = low_readonly, AT(worldquat), .size = 4,
     .label = "World Quat"},
    {.name = "worldpos", .type = "float32", .flags = low_readonly, AT(worldpos), .size = 3, .label = "World Pos"},
    {.name = "worldrot", .type = "float32", .flags = low_readonly, .size = 4, .get = fn<rotate_get<&node::world>>,
     .set = fn<refuse>, .label = "World Rot"},
    {.name = "worldscale", .type = "float32", .flags = low_readonly, AT(worldscale), .size = 3,
     .label = "World Scale"},
    {.name = "worlddir", .type = "float32", .flags = low_readonly, .size = 3, .get = fn<worlddir_get>,
     .set = fn<refuse>, .label = "World Dir"},
    {.name = "name", .type = "symbol", .flags = low, AT(name), .set = fn<name_set>, .label = "Name"},
    {.name = "anim", .type = "symbol", .flags = low, AT(anim), .set = fn<anim_set>, .label = "Anim"},
    {.name = "transform", .type = "float32", .flags = low, .size = 16, .get = fn<transform_get>,
     .set = fn<transform_set>, .label = "Transform"},
    {.name = "position", .type = "float32", .flags = low, AT(position), .size = 3, .set = fn<position_set>,
     .label = "Position"},
    {.name = "direction", .type = "float32", .flags = low, AT(direction), .size = 3, .get = fn<direction_get>,
     .set = fn<direction_set>, .label = "Direction"},
    {.name = "lookat", .type = "float32", .flags = low, AT(lookat), .size = 3, .get = fn<lookat_get>,
     .set = fn<direction_set>, .label = "Lookat"},
    {.name = "scale", .type = "float32", .flags = low, AT(scale), .size = 3, .set = fn<scale_set>,
     .label = "Scale"},
    {.name = "parentpos", .type = "float32", .flags = low, AT(parentpos), .size = 3,
     .set = fn<parent_vec3_set<&node::parentpos, vok_anim_parentpos>>, .label = "Parent Pos"},
    {.name = "parentrot", .type = "float32", .flags = low, .size = 4, .get = fn<rotate_get<&node::parent>>,
     .set = fn<parent_rotation_set<vok_quat_interface_rotate_set>>, .label = "Parent Rot"},
    {.name = "parentquat", .type = "float32", .flags = low, AT(parentquat), .size = 4,
     .set = fn<parent_rotation_set<vok_quat_interface_quat_set>>, .label = "Parent Quat"},
    {.name = "parentscale", .type = "float32", .flags = low, AT(parentscale), .size = 3,
     .set = fn<parent_vec3_set<&node::parentscale, vok_anim_parentscale>>, .label = "Parent Scale"},
    {.name = "anchor", .type = "float32", .flags = low, AT(anchor), .size = 3, .label = "Anchor"},
    {.name = "inherit_position", .type = "long", .flags = low, AT(inherit_position), .label = "Inherit Position",
     .style = "onoff"},
    {.name = "inherit_rotate", .type = "long", .flags = low, AT(inherit_rotate), .label = "Inherit Rotate",
     .style = "onoff"},
    {.name = "inherit_scale", .type = "long", .flags = low, AT(inherit_scale), .label = "Inherit Scale",
     .style = "onoff"},
    {.name = "tripod", .type = "long", .flags = low, AT(tripod), .label = "Tripod", .style = "onoff"},
    {.name = "lockplane", .type = "long", .flags = low, AT(lockplane), .label = "Lock Plane", .style = "enumindex",
     .enumvals = "none x-plane y-plane z-plane"},
    {.name = "animmode", .type = "symbol", .flags = low, AT(animmode), .set = fn<animmode_set>,
     .label = "Anim Mode", .style = "enum", .enumvals = modes},
    {.name = "movemode", .type = "symbol", .flags = low, AT(movemode), .label = "Move Mode", .style = "enum",
     .enumvals = modes},
    {.name = "turnmode", .type = "symbol", .flags = low, AT(turnmode), .label = "Turn Mode", .style = "enum",
     .enumvals = modes},
    {.name = "locklook", .type = "long", .flags = low, AT(locklook), .label = "Lock Look", .style = "onoff"},
    {.name = "automatic", .type = "long", .flags = low, AT(automatic), .label = "Automatic", .style = "onoff"},
    {.name = "matrixoutput", .type = "long", .flags = hidden, .get = fn<matrixoutput_get>,
     .set = fn<matrixoutput_set>},
    {.name = "up", .type = "float32", .flags = hidden, AT(up), .size = 3, .set = fn<direction_set>},
};
// clang-format on
#undef AT

template <std::size_t n> void filter(zan_class *c, zan_method proc, const char *const (&names)[n])
{
    for (const char *name : names)
        vok_attr_addfilterset_proc(vok_class_attr_get(c, gensym(name)), proc);
}

} // namespace

vok_vec3 vec3_from(long argc, const atom *argv)
{
    vok_vec3 v{};
    for (long i = 0; argv && i < std::min(argc, 3L); i++)
        numbers(&v)[i] = static_cast<float>(atom_getfloat(argv + i));
    return v;
}

vok_quat quat_from(long argc, const atom *argv)
{
    vok_quat q{};
    for (long i = 0; argv && i < std::min(argc, 4L); i++)
        numbers(&q)[i] = static_cast<float>(atom_getfloat(argv + i));
    return q;
}

vok_mat4 mat4_from(long argc, const atom *argv)
{
    vok_mat4 m;
    vok_mat4_identity(&m);
    for (long i = 0; argv && i < std::min(argc, 16L); i++)
        m.e[i] = static_cast<float>(atom_getfloat(argv + i));
    return m;
}

std::span<vok_attribute *const> pushed_attributes()
{
    return pushed;
}

void add_attributes(zan_class *c)
{
    vok::add_attributes(c, rows);
    vok_class_addinterface(c, vok_class_findbyname(gensym("vok_quat_interface")), offsetof(vok_anim_node, local),
                           0);
    filter(c, method(vok_anim_node_filter_dirty),
           {"inherit_position", "inherit_scale", "inherit_rotate", "anchor"});
    filter(c, method(vok_anim_node_filter_rot), {"quat", "rotate", "rotatexyz"});
    vok_attribute **next = pushed;
    for (symbol *name : {words().parentpos, words().parentquat, words().parentscale})
        *next++ = static_cast<vok_attribute *>(vok_class_attr_get(c, name));
}

} // namespace vok::anim

vok_err vok_anim_node_filter_dirty(vok_anim_node *x, void *, long, atom *)
{
    if (!x)
        return VOK_ERR_INVP;
    x->dirty = 1;
    return VOK_ERR_NONE;
}

vok_err vok_anim_node_filter_rot(vok_anim_node *x, void *, long, atom *)
{
    if (!x)
        return VOK_ERR_INVP;
    if (void *target = vok::anim::target_of(x))
        for (symbol *name : {_vok_sym_quat, _vok_sym_rotate, _vok_sym_rotatexyz})
            vok_attr_user_touch(target, name);
    return VOK_ERR_NONE;
}

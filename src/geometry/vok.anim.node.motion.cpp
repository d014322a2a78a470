// The messages that move, turn and scale a node from where it is, and those that convert
// points and rotations between the node and the world.
#include <cmath>
#include <cstring>

#include <vokra/attributes.h>
#include <vokra/kernel.h>
#include <zan/zan.h>

#include "geometry/anim_node.h"
#include "geometry/vecmath.h"
#include "kernel/message.h"

namespace vok::anim {
namespace {

using namespace vok::vecmath;

vok_quat product(const vok_quat &a, const vok_quat &b)
{
    vok_quat out;
    vok_quat_mult(&out, &a, &b);
    return out;
}

vok_quat inverse(const vok_quat &q)
{
    vok_quat out;
    vok_quat_inverse(&out, &q);
    return out;
}

vok_quat quat_of(const vok_quat_interface *i)
{
    return {i->quat[0], i->quat[1], i->quat[2], i->quat[3]};
}

// The fourth argument of the relative messages.
float factor(long argc, const atom *argv)
{
    return argc > 3 ? static_cast<float>(atom_getfloat(argv + 3)) : 1.0f;
}

// `fixed`: the tripod doesn't take the axis along.
void turn_about(vok_anim_node *x, vok_vec3 axis, float degrees, bool fixed)
{
    const vok_quat q = quat_of(x->local);
    const float half = degrees * 0.017453292f * 0.5f;
    if (x->tripod && !fixed)
        axis = rotated(x->quat, axis);
    normalize(&axis);
    const float s = std::sin(half);
    vok_quat r = {axis.x * s, axis.y * s, axis.z * s, std::cos(half)};
    if (!x->tripod)
        vok_quat_normalize(&r);
    if (x->tripod || x->turnmode == words().parent) {
        x->quat = product(r, q);
    } else if (x->turnmode == words().local) {
        x->quat = product(q, r);
    } else if (x->turnmode == words().world) {
        const vok_quat w = quat_of(x->world);
        x->quat = product(q, product(product(inverse(w), r), w));
    }
    normalize_outside(&x->quat);
    write_quat(x->local, x->quat);
}

void update_if_dirty(vok_anim_node *x)
{
    if (x->dirty)
        update_node(x);
}

template <long n> void give_back(atom *rv, const float *values)
{
    if (!rv)
        return;
    atom list[n];
    for (long i = 0; i < n; i++)
        atom_setfloat(list + i, values[i]);
    atom_setobj(rv, make(_vok_sym_nobox, _vok_sym_atomarray, n, list));
}

} // namespace

void move(vok_anim_node *x, symbol *, long argc, const atom *argv)
{
    x->dirty = 1;
    if (argc < 1 || !argv)
        return;
    vok_vec3 by = vec3_from(argc, argv);
    x->quat = quat_of(x->local);
    x->parentquat = quat_of(x->parent);
    if (x->movemode == words().local) {
        by = rotated(x->quat, by);
    } else if (x->movemode == words().world && !(x->flags & vok_anim_no_parent)) {
        by = rotated(inverse(x->parentquat), by);
        vok_vec3_div(&by, &by, &x->parentscale);
    }
    if (x->lockplane >= 1 && x->lockplane <= 3)
        numbers(&by)[x->lockplane - 1] = 0;
    x->saved_position = x->position;
    x->position = x->position + factor(argc, argv) * by;
}

void turn(vok_anim_node *x, symbol *, long argc, const atom *argv)
{
    x->dirty = 1;
    if (argc < 1 || !argv)
        return;
    const vok_vec3 by = factor(argc, argv) * vec3_from(argc, argv);
    turn_about(x, {1, 0, 0}, by.x, false);
    if (argc > 1)
        turn_about(x, {0, 1, 0}, by.y, x->tripod == 1);
    if (argc > 2)
        turn_about(x, {0, 0, 1}, by.z, false);
}

void grow(vok_anim_node *x, symbol *, long argc, const atom *argv)
{
    x->dirty = 1;
    if (argc > 0 && argv)
        x->scale = x->scale + factor(argc, argv) * vec3_from(argc, argv);
}

// The local interface keeps the rotation from before, deliberately.
void concat(vok_anim_node *x, symbol *, long argc, const atom *argv)
{
    if (argc < 1 || !argv)
        return;
    update_if_dirty(x);
    vok_mat4 m = mat4_from(argc, argv);
    vok_mat4_mult(&m, &x->worldtransform, &m);
    mat4_decompose(&m, &x->position, &x->scale, &x->quat);
    x->dirty = 1;
    update_node(x);
}

void world_to_local(vok_anim_node *x, symbol *, long argc, const atom *argv, atom *rv)
{
    if (argc < 1 || !argv)
        return;
    update_if_dirty(x);
    const vok_vec3 v = rotated(inverse(x->worldquat), vec3_from(argc, argv) - x->worldpos),
                   out = {v.x * (1 / x->worldscale.x), v.y * (1 / x->worldscale.y), v.z * (1 / x->worldscale.z)};
    give_back<3>(rv, numbers(&out));
}

void local_to_world(vok_anim_node *x, symbol *, long argc, const atom *argv, atom *rv)
{
    if (argc < 1 || !argv)
        return;
    update_if_dirty(x);
    vok_vec3 v = vec3_from(argc, argv);
    vok_vec3_mult(&v, &v, &x->worldscale);
    v = rotated(x->worldquat, v) + x->worldpos;
    give_back<3>(rv, numbers(&v));
}

void world_to_local_quat(vok_anim_node *x, symbol *, long argc, const atom *argv, atom *rv)
{
    if (argc < 1 || !argv)
        return;
    update_if_dirty(x);
    const vok_quat out = product(inverse(x->worldquat), quat_from(argc, argv));
    give_back<4>(rv, numbers(&out));
}

void local_to_world_quat(vok_anim_node *x, symbol *, long argc, const atom *argv, atom *rv)
{
    if (argc < 1 || !argv)
        return;
    update_if_dirty(x);
    const vok_quat out = product(x->worldquat, quat_from(argc, argv));
    give_back<4>(rv, numbers(&out));
}

} // namespace vok::anim

// The update of nodes: local values to world values, up to the root first or down to the
// leaves. Chains may be as deep as memory goes, so the ways up and down keep their own
// stack; what a node does, and when, is as if each one called the next.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <span>
#include <vector>

#include <vokra/attributes.h>
#include <vokra/kernel.h>
#include <vokra/numerics.h>
#include <zan/zan.h>

#include "geometry/anim_node.h"
#include "geometry/vecmath.h"
#include "kernel/message.h"

namespace vok::anim {
namespace {

using namespace vok::vecmath;

vok_vec3 by_component(const vok_vec3 &a, const vok_vec3 &b)
{
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}

bool same(const vok_vec3 &a, const vok_vec3 &b)
{
    return vok_vec3_equal(&a, &b);
}

// ---- directions ----

void accept(vok_anim_node *x, const vok_quat &q)
{
    x->quat = q;
    write_quat(x->local, q);
}

// Turns the forward axis to the direction on the shortest way.
void turn_towards(vok_anim_node *x, const vok_vec3 &direction)
{
    vok_quat q, arc;
    std::memcpy(&q, x->local->quat, sizeof q);
    vok_vec3 right, up, z;
    vok_quat_to_axes(&q, &right, &up, &z);
    const vok_vec3 sum = z + direction;
    if (dot(sum, sum) >= 5e-5f) {
        vok_quat_shortest_arc(&arc, &z, &direction);
    } else { // opposite: half a turn about the second axis
        normalize(&up);
        arc = {up.x, up.y, up.z, -4.371139e-08f};
    }
    vok_quat_mult(&q, &arc, &q);
    accept(x, q);
}

// The same with the horizon level. False when the direction lies nearly along up: a node
// that has moved goes back then.
bool turn_tripod(vok_anim_node *x, vok_vec3 direction)
{
    const vok_vec3 up = same(x->up, {0, 1, 0}) ? x->up : normalized(x->up),
                   side = normalized(cross(up, direction)), second = normalized(cross(direction, side));
    vok_quat q;
    const vok_mat3 m = {
        {side.x, side.y, side.z, second.x, second.y, second.z, direction.x, direction.y, direction.z}};
    vok_quat_from_mat3(&q, &m);
    if (direction.y < 0)
        direction = -1.0f * direction;
    if (std::fabs(vok_math_fast_acos(dot(up, direction))) >= 0.1f) {
        accept(x, q);
        return true;
    }
    if (same(x->saved_position, x->position)) {
        accept(x, vok_quat(x->quat));
        return true;
    }
    x->position = x->saved_position;
    x->direction_dirty = 0;
    transform_step(x);
    return false;
}

// True when the rotation is accepted.
bool direction_step(vok_anim_node *x, vok_vec3 direction)
{
    if (same(direction, {0, 0, 0}))
        return false;
    if (x->flip)
        direction = -1.0f * direction;
    normalize(&direction);
    if (x->tripod)
        return turn_tripod(x, direction);
    turn_towards(x, direction);
    return true;
}

bool is_at_lookat(const vok_anim_node *x)
{
    const vok_vec3 d = x->worldpos - x->lookat;
    return std::fabs(d.x) <= 0.1f && std::fabs(d.y) <= 0.1f && std::fabs(d.z) <= 0.1f;
}

void look(vok_anim_node *x)
{
    if (x->locklook && is_at_lookat(x)) {
        x->position = x->saved_position;
        x->direction_dirty = 0;
        transform_step(x);
    } else if (x->lookat_pending || x->locklook) {
        if (direction_step(x, x->lookat - x->worldpos)) {
            x->saved_position = x->position;
            x->worldquat = x->quat; // without the parent's, deliberately
            derive_quat(x->world, x->quat);
        }
    } else if (x->direction_dirty && direction_step(x, x->direction)) {
        x->direction_dirty = 0;
        transform_step(x);
    }
    x->direction_dirty = x->lookat_pending = 0;
}

// ---- one node ----

void set_world_matrix(vok_anim_node *x)
{
    x->worldtransform = composed(x->worldquat, x->worldpos, x->worldscale);
    vok_mat4_get_inverse(&x->invtransform, &x->worldtransform);
}

void touch(vok_anim_node *x)
{
    if (!is_nothing(x->focus))
        return;
    symbol *const own[] = {_vok_sym_worldpos, words().worldquat, _vok_sym_worldscale};
    symbol *const transform[] = {_vok_sym_position, _vok_sym_scale, _vok_sym_quat, _vok_sym_rotate,
                                 _vok_sym_rotatexyz};
    if (vok_object_gettopmost(x) != x) {
        for (symbol *name : own)
            vok_attr_user_touch(x, name);
        for (symbol *name : transform)
            vok_attr_user_touch(x, name);
    }
    for (symbol *name : transform)
        if (void *target = target_of(x)) // a touch may end it
            vok_attr_user_touch(target, name);
}

void push_to(const vok_anim_node *x, vok_anim_node *child)
{
    child->parentpos = x->worldpos;
    child->parentquat = x->worldquat;
    child->parentscale = x->worldscale;
    child->flags &= ~long{vok_anim_no_parent};
    child->flags |= vok_anim_parentpos | vok_anim_parentquat | vok_anim_parentscale;
    child->dirty = 1;
    if (vok_object_gettopmost(child) == child) {
        derive_quat(child->parent, x->worldquat);
        return;
    }
    object_retain(child);
    derive_quat(child->parent, x->worldquat);
    for (symbol *name : {words().parentpos, words().parentquat, words().parentscale})
        vok_attr_user_touch(child, name);
    object_release(child);
}

// Children that are no nodes have attributes of these names, or messages.
void push_to_other(const vok_anim_node *x, void *child)
{
    const struct {
        symbol *name;
        long count;
        const float *values;
    } rows[] = {{words().parentpos, 3, numbers(&x->worldpos)},
                {words().parentquat, 4, numbers(&x->worldquat)},
                {words().parentscale, 3, numbers(&x->worldscale)}};
    for (const auto &row : rows)
        vok_attr_setfloat_array(child, row.name, row.count, row.values);
    for (const auto &row : rows)
        vok_attr_clean(child, row.name);
}

void push(const vok_anim_node *x)
{
    const long count = linklist_getsize(x->children);
    for (long i = 0; i < linklist_getsize(x->children); i++) {
        void *child = linklist_getindex(x->children, i);
        if (vok_anim_node *node = as_node(child))
            push_to(x, node);
        else
            push_to_other(x, child);
    }
    if (count)
        for (vok_attribute *attr : pushed_attributes())
            attr->flags &= ~long{vok_attrflag_dirty};
}

// The first half: the link to the parent. False when the update of x ends here.
bool begin(vok_anim_node *x, bool recursing, bool *acyclic)
{
    if (!x->automatic)
        return false;
    if (recursing && !is_nothing(x->target))
        return true;
    if (!(x->flags & vok_anim_parent_new) && !x->parent_dirty)
        return true;
    if (!is_nothing(x->anim) && attach(x, acyclic))
        return false;
    if (!is_nothing(x->anim))
        send(vok_object_findregistered(x->anim), words().dirty);
    else if (x->node_type != vok_anim_model_node)
        clear_parent(x);
    x->flags &= ~long{vok_anim_parent_new};
    x->parent_dirty = 0;
    return true;
}

// Nodes that an update will come back to. A touch may lead to anything, so each of them is
// kept from ending meanwhile.
struct walk {
    struct entry {
        vok_anim_node *node;
        bool inside; // begun, and marked as updating
    };
    std::vector<entry> entries;
    bool acyclic = false;

    walk() = default;
    walk(const walk &) = delete;
    walk &operator=(const walk &) = delete;
    ~walk()
    {
        while (!entries.empty())
            pop();
    }
    void push(vok_anim_node *x)
    {
        entries.push_back({x, false});
        object_retain(x);
    }
    void pop()
    {
        const entry e = entries.back();
        entries.pop_back();
        if (e.inside)
            e.node->updating = 0;
        object_release(e.node);
    }
    // Marks the last entry's node. False when its update ends here.
    bool enter(bool recursing)
    {
        entry &e = entries.back();
        // a circle of model nodes, whose parents aren't looked at
        if (e.node->updating || !begin(e.node, recursing, &acyclic))
            return false;
        e.inside = true;
        e.node->updating = 1;
        return true;
    }
};

// The second half.
void work(vok_anim_node *x)
{
    if (x->local->quatdirty) {
        std::memcpy(&x->quat, x->local->quat, sizeof x->quat);
        x->dirty = 1;
    }
    if (!x->dirty)
        return;
    if (x->node_type != vok_anim_model_node) {
        transform_step(x);
        look(x);
        set_world_matrix(x);
        touch(x);
    }
    x->dirty = 0;
    x->local->quatdirty = 0;
    push(x);
}

void update_from_root(vok_anim_node *x)
{
    walk w;
    for (void *at = x; at;) {
        vok_anim_node *node = as_node(at);
        if (!node) {
            send(at, _vok_sym_update, 0);
            break;
        }
        w.push(node);
        if (!w.enter(false)) {
            w.pop();
            break;
        }
        at = is_nothing(node->anim) ? nullptr : vok_object_findregistered(node->anim);
    }
    for (; !w.entries.empty(); w.pop())
        work(w.entries.back().node);
}

void update_below(vok_anim_node *top)
{
    walk w;
    w.push(top);
    while (!w.entries.empty()) {
        const walk::entry e = w.entries.back();
        if (e.inside || !w.enter(true)) {
            w.pop();
            continue;
        }
        work(e.node);
        for (long i = linklist_getsize(e.node->children); i-- > 0;) {
            void *child = linklist_getindex(e.node->children, i);
            if (vok_anim_node *node = as_node(child))
                w.push(node);
            else
                send(child, _vok_sym_update, 1);
        }
    }
}

} // namespace

vok_mat4 composed(const vok_quat &q, const vok_vec3 &position, const vok_vec3 &scale)
{
    const float x = q.x, y = q.y, z = q.z, w = q.w;
    vok_mat4 m = {{1 - (2 * y * y + 2 * z * z), 2 * x * y + 2 * w * z, 2 * x * z - 2 * w * y, 0, //
                   2 * x * y - 2 * w * z, 1 - (2 * z * z + 2 * x * x), 2 * y * z + 2 * w * x, 0, //
                   2 * x * z + 2 * w * y, 2 * y * z - 2 * w * x, 1 - (2 * y * y + 2 * x * x), 0, //
                   position.x, position.y, position.z, 1}};
    const vok_mat4 s = {{scale.x, 0, 0, 0, 0, scale.y, 0, 0, 0, 0, scale.z, 0, 0, 0, 0, 1}};
    vok_mat4_mult(&m, &m, &s);
    return m;
}

void write_quat(vok_quat_interface *i, const vok_quat &q)
{
    atom a[4];
    for (int k = 0; k < 4; k++)
        atom_setfloat(a + k, numbers(&q)[k]);
    vok_quat_interface_quat_set(i, nullptr, 4, a);
}

// What follows from a quaternion costs more than all the rest of an update. The mark of
// change of these two has no other reader: without it all forms follow from `quat`.
void derive_quat(vok_quat_interface *i, const vok_quat &q)
{
    const auto bits = [](float f) { return std::bit_cast<uint32_t>(f); };
    if (!i->quatdirty && std::ranges::equal(i->quat, std::span(numbers(&q), 4), {}, bits, bits))
        return;
    write_quat(i, q);
    i->quatdirty = 0;
}

void normalize_outside(vok_quat *q)
{
    if (q->w < -1 || q->w > 1)
        vok_quat_normalize(q);
}

vok_vec3 forward(const vok_anim_node *x, const vok_quat &q)
{
    return rotated(q, {0, 0, x->flip ? -1.0f : 1.0f});
}

void transform_step(vok_anim_node *x)
{
    if (x->flags & vok_anim_no_parent) {
        x->worldquat = x->quat;
        x->worldscale = x->scale;
        x->worldpos = x->position;
    }
    if (!x->inherit_rotate || x->direction_dirty) {
        x->worldquat = x->quat;
    } else {
        vok_quat_mult(&x->worldquat, &x->parentquat, &x->quat);
        normalize_outside(&x->worldquat);
    }
    derive_quat(x->world, x->worldquat);
    x->worldscale = x->inherit_scale ? by_component(x->parentscale, x->scale) : x->scale;
    x->worldpos = x->inherit_position
                      ? x->parentpos + rotated(x->parentquat, by_component(x->parentscale, x->position))
                      : x->position;
    if (!same(x->anchor, {0, 0, 0})) // by the parent's scale, deliberately not the node's own
        x->worldpos = x->worldpos + rotated(x->worldquat, by_component(x->anchor, x->parentscale));
}

void update_node(vok_anim_node *x)
{
    if (x->node_type != vok_anim_model_node) {
        object_retain(x);
        const long automatic = x->automatic;
        x->automatic = 1;
        vok_anim_node_update(x, !x->parent_dirty);
        x->automatic = automatic;
        object_release(x);
        return;
    }
    if (void *parent = is_nothing(x->anim) ? nullptr : vok_object_findregistered(x->anim)) {
        vok_attr_getfloat_array(parent, _vok_sym_worldpos, 3, numbers(&x->parentpos));
        vok_attr_getfloat_array(parent, words().worldquat, 4, numbers(&x->parentquat));
        vok_attr_getfloat_array(parent, _vok_sym_worldscale, 3, numbers(&x->parentscale));
    }
    object_retain(x);
    std::memcpy(&x->quat, x->local->quat, sizeof x->quat);
    transform_step(x);
    set_world_matrix(x);
    touch(x);
    object_release(x);
}

} // namespace vok::anim

vok_err vok_anim_node_update(vok_anim_node *x, long recursing)
try {
    if (!x)
        return VOK_ERR_INVP;
    if (recursing)
        vok::anim::update_below(x);
    else
        vok::anim::update_from_root(x);
    return VOK_ERR_NONE;
} catch (const std::bad_alloc &) {
    return VOK_ERR_OMEM;
}

// vok_quat_interface: one rotation as quaternion, angle with axis, and Euler angles.
#include <cmath>
#include <cstring>

#include <vokra/attributes.h>
#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/quat_interface.h>
#include <zan/zan.h>

#include "geometry/vecmath.h"
#include "kernel/class_table.h"

namespace {

using namespace vok::vecmath;

zan_class *interface_class;

constexpr float radians = 0.017453292f, degrees = 57.295776f;

vok_quat *quat_of(vok_quat_interface *x)
{
    return reinterpret_cast<vok_quat *>(x->quat);
}

bool automatic(const vok_quat_interface *x)
{
    return x->rotate_order == _vok_sym_auto;
}

// The box of the owner, when it has the attributes, is told that they changed.
void touch(const vok_quat_interface *x, symbol *first, symbol *second)
{
    static symbol *const key = gensym("zanwrapper");
    void *wrapper = nullptr;
    if (!x->owner || object_obex_lookup(x->owner, key, &wrapper) || !wrapper || wrapper == x->owner)
        return;
    for (symbol *name : {first, second})
        if (object_attr_get(wrapper, name))
            object_attr_touch(wrapper, name);
}

// Arguments as floats, missing ones 0.
template <int n> void take(float (&values)[n], long argc, const atom *argv)
{
    for (long i = 0; i < n; i++)
        values[i] = i < argc ? static_cast<float>(atom_getfloat(argv + i)) : 0.0f;
}

void derive_rotate(vok_quat_interface *x)
{
    vok_vec3 axis;
    float angle;
    vok_quat_to_axisangle(quat_of(x), &axis, &angle);
    x->rotate[0] = angle * degrees;
    std::memcpy(x->rotate + 1, &axis, sizeof axis);
}

void derive_rotatexyz(vok_quat_interface *x)
{
    if (automatic(x))
        vok_quat_to_xyz(quat_of(x), x->rotatexyz);
    else
        vok_quat_interface_to_rotatexyz(x, x->rotatexyz, x->rotate_order);
    for (float &angle : x->rotatexyz)
        angle *= degrees;
}

void clear(vok_quat_interface *x)
{
    constexpr float nothing[4] = {0, 0, 0, 1};
    std::memcpy(x->quat, nothing, sizeof nothing);
    std::memcpy(x->rotate, nothing, sizeof nothing);
    std::memset(x->rotatexyz, 0, sizeof x->rotatexyz);
}

struct named_order {
    const char *name;
    long (*to)(const vok_mat3 *m, float *out);
    void (*from)(vok_mat3 *m, double x, double y, double z);
};
#define VOKRA_NAMED_ORDER(order) {#order, vok_mat3_to_euler##order, vok_mat3_from_euler##order},
constexpr named_order orders[] = {VOKRA_EULER_ORDERS(VOKRA_NAMED_ORDER)};

const named_order *find_order(const symbol *order)
{
    for (const named_order &o : orders)
        if (order && !std::strcmp(o.name, order->name))
            return &o;
    return nullptr;
}

} // namespace

vok_err vok_quat_interface_quat_set(vok_quat_interface *x, void *, long argc, atom *argv)
{
    if (!x || argc < 1 || !argv)
        return VOK_ERR_NONE;
    take(x->quat, argc, argv);
    derive_rotate(x);
    derive_rotatexyz(x);
    x->quatdirty = 1;
    touch(x, _vok_sym_rotate, _vok_sym_rotatexyz);
    return VOK_ERR_NONE;
}

vok_err vok_quat_interface_rotate_set(vok_quat_interface *x, void *, long argc, atom *argv)
{
    if (!x || argc < 1 || !argv)
        return VOK_ERR_NONE;
    take(x->rotate, argc, argv);
    if (argc == 1)
        x->rotate[1] = 1;
    const vok_vec3 axis = normalized({x->rotate[1], x->rotate[2], x->rotate[3]});
    const float half = x->rotate[0] * radians * 0.5f, s = std::sin(half);
    *quat_of(x) = {axis.x * s, axis.y * s, axis.z * s, std::cos(half)};
    derive_rotatexyz(x);
    x->quatdirty = 1;
    touch(x, _vok_sym_quat, _vok_sym_rotatexyz);
    return VOK_ERR_NONE;
}

vok_err vok_quat_interface_rotatexyz_set(vok_quat_interface *x, void *, long argc, atom *argv)
{
    if (!x || argc < 1 || !argv)
        return VOK_ERR_NONE;
    take(x->rotatexyz, argc, argv);
    const float angles[] = {x->rotatexyz[0] * radians, x->rotatexyz[1] * radians, x->rotatexyz[2] * radians};
    if (automatic(x))
        vok_quat_from_xyz(quat_of(x), angles);
    else
        vok_quat_interface_from_rotatexyz(x, angles, x->rotate_order);
    derive_rotate(x);
    x->quatdirty = 1;
    touch(x, _vok_sym_quat, _vok_sym_rotate);
    return VOK_ERR_NONE;
}

vok_err vok_quat_interface_to_rotatexyz(vok_quat_interface *x, float *out, symbol *order)
{
    const named_order *o = find_order(order);
    if (!o)
        return VOK_ERR_NONE;
    const float *q = x->quat;
    const float a = 2 * q[0], b = 2 * q[1], c = 2 * q[2];
    const vok_mat3 m = {{1 - (b * q[1] + c * q[2]), a * q[1] + c * q[3], a * q[2] - b * q[3], //
                         a * q[1] - c * q[3], 1 - (c * q[2] + a * q[0]), b * q[2] + a * q[3], //
                         a * q[2] + b * q[3], b * q[2] - a * q[3], 1 - (b * q[1] + a * q[0])}};
    o->to(&m, out);
    return VOK_ERR_NONE;
}

vok_err vok_quat_interface_from_rotatexyz(vok_quat_interface *x, const float *angles, symbol *order)
{
    const named_order *o = find_order(order);
    if (!o)
        return VOK_ERR_NONE;
    vok_mat3 m;
    o->from(&m, angles[0], angles[1], angles[2]);
    vok_quat_from_mat3(quat_of(x), &m);
    return VOK_ERR_NONE;
}

vok_err vok_quat_interface_reset(vok_quat_interface *x)
{
    if (!x)
        return VOK_ERR_INVP;
    clear(x);
    x->quatdirty = 1;
    return VOK_ERR_NONE;
}

vok_quat_interface *vok_quat_interface_new(void *owner)
{
    auto *x = static_cast<vok_quat_interface *>(vok_object_alloc(interface_class));
    if (!x)
        return nullptr;
    x->owner = owner;
    x->rotate_order = _vok_sym_auto;
    clear(x);
    return x;
}

void vok_quat_interface_free(vok_quat_interface *) {}

vok_err vok_quat_interface_init(void)
{
    constexpr vok::message messages[] = {
        {"reset", vok::fn<vok_quat_interface_reset>, {argtype_cant}},
        {"register", vok::fn<vok_object_register>, {argtype_cant}},
    };
    constexpr vok::attribute attributes[] = {
        {.name = "quat",
         .type = "float32",
         .flags = vok::low,
         .offset = offsetof(vok_quat_interface, quat),
         .size = 4,
         .set = vok::fn<vok_quat_interface_quat_set>,
         .label = "Quat"},
        {.name = "rotate",
         .type = "float32",
         .flags = vok::low,
         .offset = offsetof(vok_quat_interface, rotate),
         .size = 4,
         .set = vok::fn<vok_quat_interface_rotate_set>,
         .label = "Rotate"},
        {.name = "rotatexyz",
         .type = "float32",
         .flags = vok::low,
         .offset = offsetof(vok_quat_interface, rotatexyz),
         .size = 3,
         .set = vok::fn<vok_quat_interface_rotatexyz_set>,
         .label = "\\\"Rotate XYZ\\\""}, // its quotes are part of it
        {.name = "rotate_order",
         .type = "symbol",
         .flags = vok::low,
         .offset = offsetof(vok_quat_interface, rotate_order),
         .label = "\\\"Rotate Order\\\"",
         .style = "enum",
         .enumvals = "auto xyz xzy yxz yzx zxy zyx"},
        {.name = "quatdirty",
         .type = "long",
         .flags = vok::hidden,
         .offset = offsetof(vok_quat_interface, quatdirty)},
    };
    interface_class = vok::add_class({"vok_quat_interface", vok::fn<vok_quat_interface_new>,
                                      vok::fn<vok_quat_interface_free>, sizeof(vok_quat_interface)},
                                     messages, attributes);
    return interface_class ? VOK_ERR_NONE : VOK_ERR_OMEM;
}

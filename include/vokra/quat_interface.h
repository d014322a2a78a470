/* One rotation in three forms that are kept in step: `quat`, `rotate` (angle and axis) and
 * `rotatexyz` (Euler angles). An object that has a rotation owns one of these and takes its
 * attributes over with vok_class_addinterface. Used on the thread of its owner.
 *
 * Angles of the attributes are degrees, those of the functions radians. `rotate_order` says
 * how Euler angles are read: "xyz" to "zyx" name the turns as the product of matrices in the
 * order of the letters; "auto" is an order of its own. Setting it converts nothing: it
 * takes effect at the next set. */
#ifndef VOKRA_QUAT_INTERFACE_H
#define VOKRA_QUAT_INTERFACE_H

#include <vokra/vecmath.h>

VOKRA_BEGIN_C

typedef struct vok_quat_interface {
    object header;
    void *owner;          /* its box is told of changes; not owned */
    float rotate[4];      /* angle in degrees, axis as it was given */
    float quat[4];        /* x y z w as it was given, never normalized */
    float rotatexyz[3];   /* degrees about x, y and z */
    long quatdirty;       /* set to 1 by every change; its reader clears it */
    symbol *rotate_order; /* "auto" at birth */
} vok_quat_interface;

/* Part of the start-up. */
VOKRA_EXPORT vok_err vok_quat_interface_init(void);
/* No rotation: quat 0 0 0 1, rotate 0 0 0 1, rotatexyz 0 0 0. Null when memory is out. */
VOKRA_EXPORT vok_quat_interface *vok_quat_interface_new(void *owner);
VOKRA_EXPORT void vok_quat_interface_free(vok_quat_interface *x);
/* Back to no rotation, with quatdirty 1; the order stays. */
VOKRA_EXPORT vok_err vok_quat_interface_reset(vok_quat_interface *x);
/* The setters of the attributes. Without arguments nothing changes; missing ones are 0, but
 * a `rotate` with an angle alone turns about x. */
VOKRA_EXPORT vok_err vok_quat_interface_quat_set(vok_quat_interface *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_quat_interface_rotate_set(vok_quat_interface *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_quat_interface_rotatexyz_set(vok_quat_interface *x, void *attr, long argc, atom *argv);
/* Between quat and Euler angles of an explicit order; another symbol, "auto" too, does
 * nothing. 0. */
VOKRA_EXPORT vok_err vok_quat_interface_to_rotatexyz(vok_quat_interface *x, float *out, symbol *order);
VOKRA_EXPORT vok_err vok_quat_interface_from_rotatexyz(vok_quat_interface *x, const float *angles, symbol *order);

/* The conversions of the order "auto"; `out` and `angles` are three floats. At the poles
 * (x y + z w beyond 0.499) x is 0 and z a quarter turn. */
VOKRA_EXPORT void vok_quat_to_xyz(const vok_quat *q, float *out);
VOKRA_EXPORT void vok_quat_from_xyz(vok_quat *q, const float *angles);
/* An axis 0 0 1 for no rotation. */
VOKRA_EXPORT void vok_quat_to_axisangle(const vok_quat *q, vok_vec3 *axis, float *angle);

/* Euler angles of a rotation in the six orders, and back. `out` is indexed x, y, z whatever
 * the order. 1, or 0 at a pole, where the third angle of the order is 0. The first angle
 * gives the rotation back there, but for three deliberate oddities: xzy and yxz give it
 * with the other sign, and zyx, at -90 degrees, half a turn off. */
#define VOKRA_EULER_ORDERS(X) X(xyz) X(xzy) X(yxz) X(yzx) X(zxy) X(zyx)
#define VOKRA_DECLARE_EULER(order)                                                                                \
    VOKRA_EXPORT long vok_mat3_to_euler##order(const vok_mat3 *m, float *out);                                    \
    VOKRA_EXPORT void vok_mat3_from_euler##order(vok_mat3 *m, double x, double y, double z);
VOKRA_EULER_ORDERS(VOKRA_DECLARE_EULER)
#undef VOKRA_DECLARE_EULER

VOKRA_END_C

#endif

/* The transform node: a local position, rotation and scale, a parent by name, and the world
 * values that follow. Nodes know each other by name only, so a parent may be made after its
 * children: a node attaches itself at its next update. Used on the main thread.
 *
 * Nodes are made with vok_object_new("vok_anim_node") and driven by messages and attributes;
 * a drawing reads the world fields after an "update". Quaternions are x, y, z, w, matrices
 * column after column. A value set on a node reaches its world fields with the next update:
 *
 *   update(node, 0)   the ancestors, root first, then the node
 *   update(node, 1)   the node and all below it */
#ifndef VOKRA_ANIM_NODE_H
#define VOKRA_ANIM_NODE_H

#include <vokra/quat_interface.h>

VOKRA_BEGIN_C

/* Bits of `flags`. */
enum {
    vok_anim_no_parent = 1,  /* the world copies local values; the attribute matrixoutput */
    vok_anim_parent_new = 2, /* the link to the parent isn't resolved yet */
    vok_anim_parentpos = 4,  /* these three were set, by the parent or by a user */
    vok_anim_parentquat = 8,
    vok_anim_parentscale = 16
};

/* What "set_type" makes of a node. */
enum { vok_anim_plain = 0, vok_anim_root = 1, vok_anim_gl_node = 2, vok_anim_camera = 3, vok_anim_model_node = 4 };

typedef struct vok_anim_node {
    object header;
    vok_mat4 worldtransform; /* composed by an update */
    vok_mat4 invtransform;   /* its inverse */
    vok_vec3 position;
    vok_vec3 direction; /* as it was set or last read */
    vok_vec3 lookat;    /* a point */
    vok_vec3 scale;
    vok_quat quat;             /* a copy of what `local` holds */
    vok_quat_interface *local; /* owned, as the two below */
    vok_vec3 parentpos;        /* the parent's world values, which it pushes */
    vok_vec3 parentscale;
    vok_quat parentquat;
    vok_quat_interface *parent;
    vok_vec3 worldpos;
    vok_vec3 worldscale;
    vok_quat worldquat;
    vok_quat_interface *world;
    vok_vec3 anchor;         /* the node turns about this point */
    vok_vec3 saved_position; /* before the last move or look-at */
    long locklook;           /* looks at `lookat` in every update */
    long lockplane;          /* 0, or the axis x y z that moves leave out, from 1 */
    long tripod;             /* turns keep the horizon */
    vok_vec3 up;             /* of the tripod */
    symbol *movemode;        /* local, parent or world */
    symbol *turnmode;
    symbol *animmode;
    long flags;
    long inherit_position;
    long inherit_rotate;
    long inherit_scale;
    symbol *name; /* registered; its thing is the node */
    symbol *anim; /* name of the parent, or the empty symbol */
    symbol *target;
    symbol *model_name;
    void *children; /* linklist of nodes that aren't owned */
    long dirty;     /* the world values are out of date */
    long parent_dirty;
    long automatic; /* 0: only update_node updates */
    long node_type;
    long flip; /* forward is -z */
    long direction_dirty;
    long lookat_pending;
    symbol *focus; /* the attribute under a user's hand, or the empty symbol */
    long updating; /* an update is on its way through here */
    void *listers; /* linklist of the nodes among whose children this one is, or null */
} vok_anim_node;

/* Part of the start-up. */
VOKRA_EXPORT vok_err vok_anim_node_init(void);
/* A node under a name of its own, without a parent. Null when memory is out. */
VOKRA_EXPORT vok_anim_node *vok_anim_node_new(void);
/* What is freed with a node is told to its target, its parent and its children, which live on. */
VOKRA_EXPORT void vok_anim_node_free(vok_anim_node *x);

/* Brings the world values up to date. `recursing` 0: the ancestors first, and not the
 * children; else all below, and not the ancestors. No depth is too deep. 0; OMEM. A node
 * whose parent can't be found posts so and stays as it is. */
VOKRA_EXPORT vok_err vok_anim_node_update(vok_anim_node *x, long recursing);

/* Set filters: the value makes the world values out of date; the box of the target is told
 * of a new rotation. */
VOKRA_EXPORT vok_err vok_anim_node_filter_dirty(vok_anim_node *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_anim_node_filter_rot(vok_anim_node *x, void *attr, long argc, atom *argv);

/* 1 for position, scale, quat, rotate and rotatexyz. */
VOKRA_EXPORT long attristransformattr(const symbol *name);

VOKRA_END_C

#endif

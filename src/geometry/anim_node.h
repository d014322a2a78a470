// What the files of vok_anim_node share: the words between nodes, the steps of an update,
// and the functions behind messages and attributes.
#pragma once
#include <span>

#include <vokra/anim_node.h>
#include <vokra/commonsyms.h>

#include "kernel/class_table.h"

namespace vok::anim {

struct node_words {
    symbol *local, *parent, *world;
    symbol *parentpos, *parentquat, *parentscale, *worldquat, *movemode, *turnmode;
    symbol *dirty, *dirty_parent, *add_child, *remove_child;
};
const node_words &words();

// The object as a node, or null for anything else.
vok_anim_node *as_node(void *x);

inline bool is_nothing(const symbol *s)
{
    return !s || s == _vok_sym_nothing;
}

// ---- vok.anim.node.update.cpp ----

void transform_step(vok_anim_node *x);
vok_mat4 composed(const vok_quat &q, const vok_vec3 &position, const vok_vec3 &scale);
// Writes a rotation to an interface; derive_quat, for those of world and parent, only one
// that it doesn't hold yet.
void write_quat(vok_quat_interface *i, const vok_quat &q);
void derive_quat(vok_quat_interface *i, const vok_quat &q);
// Only when w lies outside -1..1.
void normalize_outside(vok_quat *q);
// The direction in which q looks.
vok_vec3 forward(const vok_anim_node *x, const vok_quat &q);
void update_node(vok_anim_node *x);

// ---- vok.anim.node.parent.cpp ----

// Finds the parent and joins its children; a name that can't be one is given up. EROR when
// there is none yet. `acyclic` is kept between the nodes of one way up to the root: once
// that has been seen to end, none of them need look for a circle.
vok_err attach(vok_anim_node *x, bool *acyclic);
void clear_parent(vok_anim_node *x);
// The object that the target names, when it has an attribute `anim`. With `report` says
// that it has none.
void *target_of(const vok_anim_node *x, bool report = false);
void leave_others(vok_anim_node *x);
void add_child(vok_anim_node *x, void *child);
void remove_child(vok_anim_node *x, void *child);
vok_err clone(const vok_anim_node *x, vok_anim_node *other);
vok_err name_set(vok_anim_node *x, void *attr, long argc, const atom *argv);
vok_err anim_set(vok_anim_node *x, void *attr, long argc, const atom *argv);
vok_err target_set(vok_anim_node *x, void *attr, long argc, const atom *argv);

// ---- vok.anim.node.attrs.cpp, vok.anim.node.motion.cpp ----

// The class's attribute objects of the three values that parents push.
std::span<vok_attribute *const> pushed_attributes();
void add_attributes(zan_class *c);

// Missing components are 0, missing elements those of the identity.
vok_vec3 vec3_from(long argc, const atom *argv);
vok_quat quat_from(long argc, const atom *argv);
vok_mat4 mat4_from(long argc, const atom *argv);

void move(vok_anim_node *x, symbol *selector, long argc, const atom *argv);
void turn(vok_anim_node *x, symbol *selector, long argc, const atom *argv);
void grow(vok_anim_node *x, symbol *selector, long argc, const atom *argv);
void concat(vok_anim_node *x, symbol *selector, long argc, const atom *argv);
void world_to_local(vok_anim_node *x, symbol *selector, long argc, const atom *argv, atom *rv);
void local_to_world(vok_anim_node *x, symbol *selector, long argc, const atom *argv, atom *rv);
void world_to_local_quat(vok_anim_node *x, symbol *selector, long argc, const atom *argv, atom *rv);
void local_to_world_quat(vok_anim_node *x, symbol *selector, long argc, const atom *argv, atom *rv);

} // namespace vok::anim

/* Outlets, inlet proxies and what a box class is set up with. A box is any object
 * of a class in namespace "box"; its outlets are numbered from the left, and new
 * ones are put in at the left, as boxes make them from right to left. */
#ifndef ZAN_OUTLETS_H
#define ZAN_OUTLETS_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

/* A new leftmost (new) or rightmost (append) outlet; `type` is the one message it
 * sends, or null. `after` (append, insert_after) is an outlet or null. */
ZAN_EXPORT void *outlet_new(void *box, const char *type);
ZAN_EXPORT void *outlet_append(void *box, void *after, const char *type);
ZAN_EXPORT void *outlet_insert_after(void *box, void *after, const char *type);
ZAN_EXPORT void outlet_delete(void *outlet);
/* Counted from the left, null beyond. */
ZAN_EXPORT void *outlet_nth(void *box, long index);
ZAN_EXPORT long outlet_count(void *box);
/* Sends along the cords, in the order in which they were made from the right.
 * Null outlets are allowed. Nesting deeper than a limit drops the message with
 * one error. */
ZAN_EXPORT zan_word outlet_anything(void *outlet, symbol *selector, long argc, atom *argv);
ZAN_EXPORT zan_word outlet_bang(void *outlet);
ZAN_EXPORT zan_word outlet_int(void *outlet, zan_word value);
ZAN_EXPORT zan_word outlet_float(void *outlet, double value);
ZAN_EXPORT zan_word outlet_list(void *outlet, symbol *selector, long argc, atom *argv);

/* An extra inlet: messages that come to it reach the box with *stuffloc set to its
 * number. `id` is the inlet's number, from 1. */
ZAN_EXPORT void *proxy_new(void *box, long id, long *stuffloc);
ZAN_EXPORT void *proxy_append(void *box, long id, long *stuffloc);
ZAN_EXPORT void proxy_delete(void *proxy);
/* The inlet at which the message now running came in; 0 is the left one. */
ZAN_EXPORT long proxy_getinlet(void *box);

/* Add a method to the class in the making. */
ZAN_EXPORT void addmess(zan_method fn, const char *name, ...);
ZAN_EXPORT void addbang(zan_method fn);
ZAN_EXPORT void addint(zan_method fn);
ZAN_EXPORT void addfloat(zan_method fn);
/* The standard answer to `inletinfo`: only the left inlet is hot. */
ZAN_EXPORT void stdinletinfo(void *x, void *box, long index, char *cold);

/* The name of a box in its patch, or null. */
ZAN_EXPORT symbol *zbox_get_id(void *box);
/* Drag roles: whether a role takes a file type; what may be dropped on an object. */
ZAN_EXPORT long zdrag_matchdragrole(void *drag, symbol *role, long flags);
ZAN_EXPORT void zdrag_object_add(void *drag, void *x, symbol *role, symbol *message, ...);

#ifdef __cplusplus
}
#endif
#endif

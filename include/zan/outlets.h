/* Outlets, inlet proxies and what a box class is set up with. A box is any object
 * of a class in namespace "box"; its outlets are numbered from the left, and new
 * ones are put in at the left, as boxes make them from right to left. */
#ifndef ZAN_OUTLETS_H
#define ZAN_OUTLETS_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

/* A new leftmost outlet (new); a new rightmost one, or one right of `after` (append);
 * one right of `after`, leftmost for null (insert_after). `after` is only compared
 * with the box's outlets, anything else counts as the rightmost. `type` is the one
 * message that it is meant to send, or null; it is kept and not enforced. Outlets
 * belong to their box and go with it. Outlets, proxies and cords may change at any
 * time, also while messages pass. */
ZAN_EXPORT void *outlet_new(void *box, const char *type);
ZAN_EXPORT void *outlet_append(void *box, void *after, const char *type);
ZAN_EXPORT void *outlet_insert_after(void *box, void *after, const char *type);
ZAN_EXPORT void outlet_delete(void *outlet);
/* Counted from the left, null beyond. */
ZAN_EXPORT void *outlet_nth(void *box, long index);
ZAN_EXPORT long outlet_count(void *box);
/* Sends along the cords on the calling thread, right to left: each new cord lies left
 * of the earlier ones, so that they are served in the order of their making, but a
 * box with several of them hears at its right inlets first. A cord that is cut
 * meanwhile carries nothing more. Null outlets are allowed. Messages nested deeper
 * than 1000 boxes, or than the thread's stack has room for, are dropped, with one error
 * that names the loop, until all of the nest has returned. So are those of an event that
 * goes round a loop and has come to 1048576 messages. 1, or 0 when something was dropped or there is no outlet.
 *
 * A box without the message takes another form of it when it has that: an int as a
 * float and the other way round; a number as a list; a list as its first number, an
 * empty one as a bang, one that begins with a symbol as that message; then an
 * attribute of the name; then the method "anything" (argtype_gimme). */
ZAN_EXPORT zan_word outlet_anything(void *outlet, symbol *selector, long argc, atom *argv);
ZAN_EXPORT zan_word outlet_bang(void *outlet);
ZAN_EXPORT zan_word outlet_int(void *outlet, zan_word value);
ZAN_EXPORT zan_word outlet_float(void *outlet, double value);
ZAN_EXPORT zan_word outlet_list(void *outlet, symbol *selector, long argc, atom *argv);

/* An extra inlet: messages that come to it reach the box with *stuffloc set to its
 * number, and back to 0 behind it. `id` is the inlet's number, from 1. A proxy goes
 * with its box, or earlier by proxy_delete or object_free, and its cords with it.
 * Without a proxy, methods in1 to in9 (integers) and ft1 to ft9 (floats) make inlets
 * that take numbers. */
ZAN_EXPORT void *proxy_new(void *box, long id, long *stuffloc);
ZAN_EXPORT void *proxy_append(void *box, long id, long *stuffloc);
ZAN_EXPORT void proxy_delete(void *proxy);
/* The inlet of this box at which the message that this thread now handles came in; 0
 * is the left one, or no message. */
ZAN_EXPORT long proxy_getinlet(void *box);

/* Add a method to the class in the making (class_new). */
ZAN_EXPORT void addmess(zan_method fn, const char *name, ...);
ZAN_EXPORT void addbang(zan_method fn);
ZAN_EXPORT void addint(zan_method fn);
ZAN_EXPORT void addfloat(zan_method fn);
/* The standard answer to `inletinfo`: only the left inlet is hot. */
ZAN_EXPORT void stdinletinfo(void *x, void *box, long index, char *cold);

/* The name of a box in its patch, or null. A patcher keeps it, a symbol, as a plain
 * word under "#id" in the box's obex. */
ZAN_EXPORT symbol *zbox_get_id(void *box);
/* Drags, which an embedder makes: any object with a symbol under "#role" in its obex.
 * Whether it carries a role; and, when it does, the offer of x to take it by the given
 * messages (symbols, ended by null): pairs (x, message) in the atom array under
 * "#offers" in the drag's obex, which belongs to the embedder. */
ZAN_EXPORT long zdrag_matchdragrole(void *drag, symbol *role, long flags);
ZAN_EXPORT void zdrag_object_add(void *drag, void *x, symbol *role, symbol *message, ...);

#ifdef __cplusplus
}
#endif
#endif

/* Objects, messages, registration, notification, the object extension (obex). */
#ifndef ZAN_OBJECTS_H
#define ZAN_OBJECTS_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

/* A zeroed instance with its header filled; no constructor runs. Null when
 * memory is out. */
ZAN_EXPORT void *object_alloc(zan_class *c);
/* The same for box classes; the box counts as under construction. */
ZAN_EXPORT void *newobject(zan_class *c);
/* Makes an object by class name with up to eight words for its constructor. */
ZAN_EXPORT void *object_new_imp(symbol *name_space, symbol *classname, zan_word w1, zan_word w2, zan_word w3,
                                zan_word w4, zan_word w5, zan_word w6, zan_word w7, zan_word w8);
/* The same with atoms, converted by the constructor's tags. */
ZAN_EXPORT void *object_new_typed(symbol *name_space, symbol *classname, long argc, atom *argv);
/* A box by name, its module loaded when need be. */
ZAN_EXPORT void *newinstance(symbol *name, long argc, atom *argv);

/* Gives back one reference. With the last one the clients are notified `free` while
 * the object is whole and has its name, the class's free function runs, the object
 * leaves registry, clients, queues and cords, and its memory goes. Null is allowed;
 * an object that is gone or going is left alone. Host error number. */
ZAN_EXPORT long object_free(void *x);
ZAN_EXPORT void freeobject(void *x);
/* One more reference above the one an object is born with; release is object_free. */
ZAN_EXPORT long object_retain(void *x);
ZAN_EXPORT long object_release(void *x);

ZAN_EXPORT zan_class *object_class(void *x);
ZAN_EXPORT symbol *object_classname(void *x);

/* Calls a method by name. Words are passed as they are, whatever the method's
 * tags; attributes answer their name with (argc, argv) and "get" plus their name
 * with (&argc, &argv). An unknown message goes to the object that the method
 * "decorator" (object, selector) gives, else nothing happens and the answer is 0. */
ZAN_EXPORT zan_word object_method_imp(void *x, symbol *selector, zan_word w1, zan_word w2, zan_word w3,
                                      zan_word w4, zan_word w5, zan_word w6, zan_word w7, zan_word w8);
/* A call with atoms in and an atom out (rv, may be null): a typed wrapper first,
 * then a public method with atoms converted by its tags, then an attribute. rv is
 * filled by argtype_gimmeback and by an attribute that is got (several values as an
 * atomarray, the caller's to free); after all else it is argtype_nothing.
 * Deferring tags run through the queue. Host error number or the method's. */
ZAN_EXPORT zan_word object_method_typed(void *x, symbol *selector, long argc, atom *argv, atom *rv);
/* The same on a method table entry that the caller has found. */
ZAN_EXPORT zan_word object_method_typedfun(void *x, zan_messlist *entry, symbol *selector, long argc, atom *argv,
                                           atom *rv);
/* One symbol as the only argument. */
ZAN_EXPORT zan_word object_method_sym(void *x, symbol *selector, symbol *value, atom *rv);
/* A message as a patcher sends it: public methods and attributes. An unknown one
 * is an error with the object's class and the message in it. */
ZAN_EXPORT zan_word typedmess(void *x, symbol *selector, long argc, atom *argv);
/* The table entry for a message, the object's own methods first; null if none. */
ZAN_EXPORT zan_messlist *object_mess(void *x, symbol *selector);
/* The function for a message, or `method_false` when there is none. */
ZAN_EXPORT zan_method object_getmethod(void *x, symbol *selector);
ZAN_EXPORT zan_method_object *object_getmethod_object(void *x, symbol *selector);
/* The function for a message, or null. */
ZAN_EXPORT zan_method zgetfn(void *x, symbol *selector);
/* A method for this object alone; it wins over the class's. */
ZAN_EXPORT long object_addmethod(void *x, zan_method fn, const char *name, ...);
/* Takes anything, does nothing, gives 0. */
ZAN_EXPORT zan_word method_false(void);

/* Registers under a name; an object has one name, so an earlier one is dropped. The
 * object now registered there: x, or the one of the same class that has the name
 * already, with one more reference for the caller, who frees it as x would have been
 * (x is freed). Null, and nothing changed, when another class has the name. One that
 * is being freed gives its name up. */
ZAN_EXPORT void *object_register(symbol *name_space, symbol *name, void *x);
ZAN_EXPORT long object_unregister(void *x);
ZAN_EXPORT void *object_findregistered(symbol *name_space, symbol *name);
ZAN_EXPORT long object_findregisteredbyptr(symbol **name_space, symbol **name, void *x);
/* A client of a name receives notify(client, name, message, sender, data); the
 * name may be registered later, and by another. A client attached twice is told once
 * and detached by two calls. The sender, or null when it isn't there yet. */
ZAN_EXPORT void *object_attach(symbol *name_space, symbol *name, void *client);
ZAN_EXPORT long object_detach(symbol *name_space, symbol *name, void *client);
/* Sends every client of x `notify`. Clients may come and go meanwhile (who came is
 * not told), and x may be freed: the rest isn't told then. A thread that frees x or
 * a client while another one is calling that client waits for the call's end, for a
 * second at most. */
ZAN_EXPORT long object_notify(void *x, symbol *message, void *data);

/* Reports. `x` names the source, null for none. Any thread. Text is cut at 4095 bytes
 * (not within a character), and one line feed at its end is taken off. */
ZAN_EXPORT void object_error(void *x, const char *format, ...) __attribute__((format(printf, 2, 3)));
ZAN_EXPORT void object_warn(void *x, const char *format, ...) __attribute__((format(printf, 2, 3)));
ZAN_EXPORT void object_post(void *x, const char *format, ...) __attribute__((format(printf, 2, 3)));
ZAN_EXPORT void cpost(const char *format, ...);

/* The obex: words under symbol keys, per object. lookup stores into *value and
 * gives 0, or leaves it and gives zan_err_generic. Flag 1 of storeflags marks a
 * plain pointer that is not freed with the object; without it a stored object is.
 * What a store replaces goes back to whoever stored it; null takes the key out. */
ZAN_EXPORT long object_obex_lookup(void *x, symbol *key, void **value);
ZAN_EXPORT long object_obex_store(void *x, symbol *key, void *value);
ZAN_EXPORT long object_obex_storeflags(void *x, symbol *key, void *value, long flags);

/* A copy of an object, its own attributes copied along, by its message object_clone,
 * else by object_clone_generic:
 * a new instance with the same bytes behind the header. Null on failure. */
ZAN_EXPORT void *object_clone(void *x);
ZAN_EXPORT void *object_clone_generic(void *x);

/* Marks in a method object's "groupreference" and "undocumented" attributes. */
ZAN_EXPORT long object_refpage_method_is_groupreference(void *method_object);
ZAN_EXPORT long object_refpage_method_is_undocumented(void *method_object);

#ifdef __cplusplus
}
#endif
#endif

/* The class vok_listener: code that is no object hears of a named one. It attaches to a
 * name of the library's namespace and calls a function for each notification, on the
 * thread of whoever notifies. A name that nothing has yet is polled for, every 2
 * milliseconds or less, on the main thread; so is one whose object has gone. Made with
 * vok_object_new(gensym("vok_listener"), argc, argv): the first atom is the name, if any. */
#ifndef VOKRA_LISTENER_H
#define VOKRA_LISTENER_H

#include <vokra/base.h>

VOKRA_BEGIN_C

/* The atoms are valid during the call; it may free the listener. */
typedef void (*vok_listener_callback)(void *cbdata, symbol *name, symbol *message, long argc, atom *argv);

typedef struct vok_listener {
    object header;
    vok_listener_callback callback; /* message setcallback */
    void *cbdata;                   /* setcbdata, getcbdata */
    symbol *subjectname;            /* the name watched, or the empty symbol; an attribute */
    void (*cleanup)(void *cbdata);  /* setcleanup: called once, when the listener is freed */
    long polltime;                  /* milliseconds; cut to 2 when polling starts; an attribute */
    void *clock;
    void *qelem;
} vok_listener;

/* What a sender of `mouseout` answers to get_mouse_info (8 atoms in use) and, when the
 * message is `mousewheel`, to get_mousewheel_info (10). Its own, valid during the call. */
typedef struct vok_mouse_info {
    symbol *message;
    atom atoms[10];
} vok_mouse_info;

VOKRA_EXPORT vok_err vok_listener_init(void);
VOKRA_EXPORT vok_listener *vok_listener_new(symbol *selector, long argc, atom *argv);
VOKRA_EXPORT void vok_listener_free(vok_listener *x);
/* The attribute's setter, and what it does with the name (null counts as empty). */
VOKRA_EXPORT vok_err vok_listener_subjectname(vok_listener *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT void vok_listener_dosubjectname(vok_listener *x, symbol *name);
/* attr_modified comes with the attribute's name, typedmess as the message in its data,
 * mouseout as the pointer's message with its atoms, all else as it is. */
VOKRA_EXPORT void vok_listener_notify(vok_listener *x, symbol *name, symbol *message, void *sender, void *data);
VOKRA_EXPORT void vok_listener_poll_start(vok_listener *x);
VOKRA_EXPORT void vok_listener_poll_end(vok_listener *x);
/* What the clock and the queue call. */
VOKRA_EXPORT void vok_listener_poll_tick(void *x);
VOKRA_EXPORT void vok_listener_poll_qfn(void *x);

VOKRA_END_C
#ifdef __cplusplus
static_assert(offsetof(vok_listener, callback) == 32 && offsetof(vok_listener, subjectname) == 48 &&
                  offsetof(vok_listener, qelem) == 80,
              "the record of a listener");
#endif
#endif

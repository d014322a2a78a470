/* How this host is embedded and tested: starting and stopping it, driving its main
 * queue, sending messages, cords, and hearing its reports. */
#ifndef ZAN_HOST_H
#define ZAN_HOST_H
#include <zan/zan.h>
#ifdef __cplusplus
extern "C" {
#endif

/* Idempotent. The calling thread becomes the main thread; the scheduler thread
 * starts at the first clock. Everything that needs no queue works before it. After
 * zan_stop it may be called again, on any thread. */
ZAN_EXPORT void zan_start(void);
/* Runs what waits on the main thread's queue now, and not what comes meanwhile: fronted
 * qelems, then deferred calls, then qelems and calls deferred low, each in order of
 * their coming. The number of pieces that ran; 0 and an error on another thread. */
ZAN_EXPORT long zan_service(void);
/* The main loop, on the main thread, until zan_quit (any thread). A zan_quit that
 * comes first ends it after one round. */
ZAN_EXPORT void zan_run(void);
ZAN_EXPORT void zan_quit(void);
/* Runs the quit tasks, last in first out, and joins the scheduler. Clocks that are set
 * wait for the next start of it. At process exit the same happens by itself. */
ZAN_EXPORT void zan_stop(void);
/* Runs fn(arg) on the scheduler thread, ahead of all clocks, and waits for it. At once
 * when called there. */
ZAN_EXPORT void zan_in_scheduler(void (*fn)(void *), void *arg);
/* Delivers a message to an inlet (0 is the left one) on the calling thread, as a cord
 * would; what the method gave, or 0. */
ZAN_EXPORT zan_word zan_send(void *box, long inlet, symbol *selector, long argc, atom *argv);
/* Patch cords; 0, zan_err_invalid_ptr for what is no object, zan_err_duplicate for a
 * cord that is there, zan_err_generic for an outlet, inlet or cord that isn't. */
ZAN_EXPORT long zan_connect(void *src, long outlet, void *dst, long inlet);
ZAN_EXPORT long zan_disconnect(void *src, long outlet, void *dst, long inlet);

enum { zan_report_post = 0, zan_report_warning = 1, zan_report_error = 2, zan_report_console = 3 };
/* Every post, warning and error goes to fn(data, kind, object, text) instead of
 * standard error (as "class: text" lines); null restores that. Calls come one at a
 * time, from any thread. `object` is null or alive. What the reporter itself reports
 * goes to standard error; it must not wait for a thread that may report. The old
 * reporter is out of use when this returns. */
typedef void (*zan_reporter)(void *data, long kind, void *object, const char *text);
ZAN_EXPORT void zan_set_reporter(zan_reporter fn, void *data);
/* What the next dialogs answer: a full name, or null for cancelled. */
ZAN_EXPORT void zan_set_dialog_answer(const char *fullname);

/* The number of objects alive, of one class name or (null) of all. */
ZAN_EXPORT long zan_object_count(symbol *classname);
/* The names of the classes registered in a namespace, in order of their
 * registering; the caller frees
 * *names with sysmem_freeptr. */
ZAN_EXPORT long zan_class_names(symbol *name_space, long *count, symbol ***names);

#ifdef __cplusplus
}
#endif
#endif

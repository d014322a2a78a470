/* How this host is embedded and tested: starting and stopping it, driving its main
 * queue, sending messages, cords, and hearing its reports. */
#ifndef ZAN_HOST_H
#define ZAN_HOST_H
#include <zan/zan.h>
#ifdef __cplusplus
extern "C" {
#endif

/* Idempotent. The calling thread becomes the main thread; the scheduler thread
 * starts at the first clock. Everything that needs no queue works before it. */
ZAN_EXPORT void zan_start(void);
/* Runs once what waits on the main thread's queue; the number of pieces that ran. */
ZAN_EXPORT long zan_service(void);
/* The main loop, on the main thread, until zan_quit (any thread). */
ZAN_EXPORT void zan_run(void);
ZAN_EXPORT void zan_quit(void);
/* Runs the quit tasks and joins the scheduler. */
ZAN_EXPORT void zan_stop(void);
/* Runs fn(arg) on the scheduler thread and waits for it. */
ZAN_EXPORT void zan_in_scheduler(void (*fn)(void *), void *arg);
/* Delivers a message to an inlet (0 is the left one) on the calling thread. */
ZAN_EXPORT zan_word zan_send(void *box, long inlet, symbol *selector, long argc, atom *argv);
/* Patch cords; 0 or a host error number. */
ZAN_EXPORT long zan_connect(void *src, long outlet, void *dst, long inlet);
ZAN_EXPORT long zan_disconnect(void *src, long outlet, void *dst, long inlet);

enum { zan_report_post = 0, zan_report_warning = 1, zan_report_error = 2, zan_report_console = 3 };
/* Every post, warning and error goes to fn(data, kind, object, text) instead of
 * standard error; null restores that. Calls come one at a time, from any thread. */
typedef void (*zan_reporter)(void *data, long kind, void *object, const char *text);
ZAN_EXPORT void zan_set_reporter(zan_reporter fn, void *data);
/* What the next dialogs answer: a full name, or null for cancelled. */
ZAN_EXPORT void zan_set_dialog_answer(const char *fullname);

/* The number of objects alive, of one class name or (null) of all. */
ZAN_EXPORT long zan_object_count(symbol *classname);

#ifdef __cplusplus
}
#endif
#endif

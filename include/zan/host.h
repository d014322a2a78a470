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

/* Where a box stands, as a person wrote it. Any word may be null and the line 0.
 * Places are kept once and for ever, as symbols are. */
typedef struct zan_place {
    symbol *file;
    long line;         /* from 1 */
    symbol *box;       /* its name in the patch */
    symbol *classname; /* of the box */
} zan_place;
/* Tells a box its name (the answer of zbox_get_id) and the line that made it. Host
 * error number. Before messages reach the box, or on the thread that sends them. */
ZAN_EXPORT long zan_set_box_place(void *box, symbol *id, symbol *file, long line);
/* The place of x, or of the box that it belongs to ("#B", "zanwrapper" in its obex);
 * null when none is known. Any thread. */
ZAN_EXPORT const zan_place *zan_place_of(void *x);
/* Inside a reporter: the place that the report is about. That is the place of its
 * object; failing that, of the innermost box that handles a message on this thread; in
 * a deferred call, a qelem's or a clock's function, of the box that was at work when
 * it was queued or set. Null when there is none, or outside of a reporter. */
ZAN_EXPORT const zan_place *zan_report_place(void);
/* "FILE:LINE: BOX (CLASS)" without what isn't known, cut at `size` bytes with the NUL;
 * the length it would have. Null gives the empty text. */
ZAN_EXPORT long zan_place_text(const zan_place *place, char *text, long size);
/* From now on (1) a warning or error that equals an earlier one of the same place is
 * counted instead of told; how often it came is told once, with "(... and N more)" at
 * its end, when this is called again (1 goes on counting from 0, 0 tells each report
 * again), or when 1000 different ones have come. */
ZAN_EXPORT void zan_merge_reports(long on);
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

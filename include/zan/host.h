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
 * their coming. The number of pieces that ran; 0 and an error on another thread. Pieces and
 * clocks' functions take turns: neither begins while one of the other kind runs, unless
 * that takes more than a second. */
ZAN_EXPORT long zan_service(void);
/* The main loop, on the main thread, until zan_quit (any thread). A zan_quit that
 * comes first ends it after one round. */
ZAN_EXPORT void zan_run(void);
ZAN_EXPORT void zan_quit(void);
/* Runs the quit tasks, last in first out, and joins the scheduler. Clocks that are set
 * wait for the next start of it. At process exit the same happens by itself. */
ZAN_EXPORT void zan_stop(void);
/* The main loop until a time, in milliseconds as systimer_gettime tells it. It ends
 * earlier by zan_quit, or when nothing is left to do: nothing waits on the main queue,
 * no clock is set and none runs. Then virtual time stands at `ms` all the same, unless
 * that is INFINITY. One of zan_ran_..., or a host error number on another thread. */
enum { zan_ran_until = 0, zan_ran_quit = 1, zan_ran_dry = 2 };
ZAN_EXPORT long zan_run_until(double ms);
/* From now on (1) no clock's function begins, and one under way has ended when this
 * returns (up to a second); or they go on (0). Time doesn't stop: what fell due
 * meanwhile comes at once. Any thread. */
ZAN_EXPORT void zan_hold(long on);

/* What time clocks go by; called on the main thread, while neither a clock's function
 * runs nor the main queue is served. Clocks that are set keep what is left of their delay.
 *
 * Virtual time starts at 0, stands still while anything runs and jumps to the next
 * clock that is due, so that a run goes as fast as it can. There is no scheduler thread
 * then: inside zan_run and zan_run_until the main thread plays its part as well, by this
 * rule. (1) All that waits on the main queue runs, in rounds as of zan_service, until
 * nothing waits. (2) Time jumps to the clock that is due first (of several the one set
 * first) and its function runs to its end as on the scheduler thread: sched_isinpoll()
 * is non-zero and what is deferred waits. Then (1) again. A main queue that refills
 * itself gets 100 rounds a clock, and the rest goes on behind the next clock. So the
 * same patch gives the same events in the same order on every run, as long as no other
 * thread queues anything. zan_in_scheduler runs at once on the main thread, and from
 * others in the main loop. systimer_gettime and systime_ticks tell virtual time.
 * Host error number. */
enum { zan_clock_real = 0, zan_clock_virtual = 1 };
ZAN_EXPORT long zan_set_clock(long kind);

/* The queues. Each has a limit and drops what comes beyond it, with one error when it
 * fills up, and another one only after it has been half empty:
 *   defer, low    calls by defer and defer_low that wait for the main thread; each call
 *                 counts, and a dropped one gives zan_err_generic
 *   qelem         qelems that wait for the main thread; setting one that waits already
 *                 is no second one
 *   clock         clocks that are set; a new delay of a clock replaces its old one
 * What waits for an object is taken out when the object is freed. */
enum { zan_queue_defer = 0, zan_queue_low = 1, zan_queue_qelem = 2, zan_queue_clock = 3, zan_queue_kinds = 4 };
typedef struct zan_queue_info {
    long waiting; /* now */
    long most;    /* that ever waited at once */
    long passed;  /* have run */
    long dropped; /* found the queue full */
    long limit;   /* 65536 unless set otherwise */
} zan_queue_info;
/* Host error numbers; any thread. A limit below what waits drops nothing of that. */
ZAN_EXPORT long zan_queue_get(long queue, zan_queue_info *info);
ZAN_EXPORT long zan_queue_set_limit(long queue, long limit);

/* Boxes tell here that a frame is done: one picture written, or one beat of a metro
 * behind everything that the beat caused. The frames of a run are those of one box: the
 * first that wrote a picture, or in a patch without such a box the first metro that
 * beat. The number of frames so far. Any thread. */
enum { zan_frame_beat = 0, zan_frame_picture = 1 };
ZAN_EXPORT long zan_frame_done(void *box, long kind);
ZAN_EXPORT long zan_frames(void);
/* Starts counting from 0, and clocks may run again. At so many frames (0: no limit) no
 * clock's function begins any more and zan_run or zan_run_until returns. */
ZAN_EXPORT void zan_set_frame_limit(long frames);
/* Frames to go to the limit; -1 without one. A box that makes several frames of one
 * event leaves off at 0. */
ZAN_EXPORT long zan_frames_left(void);

/* Runs fn(arg) on the scheduler thread, ahead of all clocks, and waits for it. At once
 * when called there. */
ZAN_EXPORT void zan_in_scheduler(void (*fn)(void *), void *arg);
/* Delivers a message to an inlet (0 is the left one) on the calling thread, as a cord
 * would; what the method gave, or 0. On the main thread it waits for the end of a clock's
 * function that runs, up to a second, and none begins meanwhile. */
ZAN_EXPORT zan_word zan_send(void *box, long inlet, symbol *selector, long argc, atom *argv);
/* Patch cords; 0, zan_err_invalid_ptr for what is no object, zan_err_duplicate for a
 * cord that is there, zan_err_generic for an outlet, inlet or cord that isn't. */
ZAN_EXPORT long zan_connect(void *src, long outlet, void *dst, long inlet);
ZAN_EXPORT long zan_disconnect(void *src, long outlet, void *dst, long inlet);

/* The inlets of a box that cords can end at: the left one and those counted up from it. */
ZAN_EXPORT long zan_inlet_count(void *box);

/* A surface of its own from char cells of 1 (grey), 3 (red, green, blue) or 4 planes (alpha,
 * red, green, blue), as matrices hold them: `cell` bytes apart, rows `row` bytes apart.
 * With 4 planes and `keep_alpha` of format 0, colours multiplied by alpha and rounded; else
 * of format 1. Null for other planes, a size below 1, or when memory is out. */
ZAN_EXPORT zan_surface *zan_surface_of_cells(const unsigned char *cells, long planes, long width, long height,
                                             long cell, long row, long keep_alpha);

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

/* Profiling, of messages to boxes and of what boxes have queued; costs one branch while
 * it is off. 1 starts from zero, 0 stops and keeps what there is. `bytes` tells how many
 * bytes a message moves (a name may stand for many); null for none. */
typedef long (*zan_message_bytes)(symbol *selector, long argc, atom *argv);
ZAN_EXPORT void zan_profile(long on, zan_message_bytes bytes);
typedef struct zan_profile_row {
    const zan_place *place; /* a line that made boxes, or null: boxes without a place */
    symbol *classname;
    long messages;   /* delivered to the boxes */
    double own_ms;   /* spent in them */
    double total_ms; /* and in the boxes that they sent to meanwhile */
    double worst_ms; /* the most of own_ms at once */
    long bytes;      /* moved to them */
} zan_profile_row;
/* One row for each line and class that had a message, the most own time first; the
 * caller frees *rows with sysmem_freeptr. Any thread. Host error number. */
ZAN_EXPORT long zan_profile_get(long *count, zan_profile_row **rows);

/* The objects alive of each class that has any, in no order; the caller frees *rows
 * with sysmem_freeptr. Host error number. */
typedef struct zan_class_count {
    symbol *name_space; /* null for a class that isn't registered */
    symbol *classname;
    long alive;
} zan_class_count;
ZAN_EXPORT long zan_class_counts(long *count, zan_class_count **rows);
/* The names that objects stand under in a namespace now, in order of their first use;
 * the caller frees *names with sysmem_freeptr. Host error number. */
ZAN_EXPORT long zan_registered_names(symbol *name_space, long *count, symbol ***names);
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

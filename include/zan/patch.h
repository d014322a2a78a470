/* Patches: text that a person writes, read into a document, checked, written back in
 * its one canonical form, and opened as boxes with cords between them.
 *
 *   patch 1;                    the mark, with the format's number; ahead of it only comments
 *   # a comment                 up to the end of the line, where a statement would begin
 *   box NAME CLASS ARGUMENT...; a box; its name is its own within the patch
 *   cord SOURCE OUTLET DESTINATION INLET;    numbered from 0, from the left; the cords of
 *                               an outlet are served in the order of their lines
 *   NAME MESSAGE...;            sent when all boxes and cords are there, in this order;
 *                               a comma sends one more message to the same box
 *   layout NAME WORD...;        for editors, at the end; changes nothing
 *
 * Words are those of script text (binbuf_settext in zan/files.h): a symbol with blanks goes in
 * double quotes, $1 stands for an argument of the patch, 0 when it is missing.
 *
 * A box's class is one that zan_box_class knows, or CLASS.patch ("CLASS" when it ends so
 * already): first beside the patch that names it, then along path_getclasspath. Such a
 * patch is a box. Each `inlet` and `outlet` box in it is an inlet or outlet of it, from
 * the left in the order of their lines, and words behind `inlet` say what it is for; the
 * box's arguments are its $1, $2... A class with any word under "#unread" in its extra
 * storage gets its arguments as they are written (argtype_dollar, argtype_dollsym,
 * argtype_comma); for all others $1 stands for an argument and a comma is the symbol ",".
 *
 * While a box is being made, the `thing` of the symbol "#B" is an object that stands for
 * it in its patch; afterwards it is under "#B" in the box's obex. zbox_get_id and
 * zan_place_of answer for both, and a file name is looked for beside the patch first.
 *
 * Everything here belongs to the main thread. Text and symbols that are given out
 * belong to the patch and stay until it is freed, or changed by the call named. */
#ifndef ZAN_PATCH_H
#define ZAN_PATCH_H
#include <zan/host.h>
#ifdef __cplusplus
extern "C" {
#endif

typedef struct zan_patch zan_patch;

/* What is wrong with a patch. */
enum {
    zan_finding_text = 0, /* the text says something that can't be, or two things at odds */
    zan_finding_file = 1, /* a file can't be read */
    zan_finding_class = 2 /* a class or patch is missing */
};
typedef struct zan_finding {
    long kind;        /* zan_finding_... */
    long severity;    /* zan_report_warning or zan_report_error */
    zan_place place;  /* file, line, box, class, as far as there are any */
    const char *text; /* one sentence, without the place */
} zan_finding;

/* Reads a file, or text from memory (a negative size: up to the NUL) that counts as the file
 * `name`, null for none. Always gives a patch, null only when memory is out: what can't be
 * read is told by its findings, and all the rest is in it. */
ZAN_EXPORT zan_patch *zan_patch_read(const char *filename);
ZAN_EXPORT zan_patch *zan_patch_parse(const char *name, const char *text, long size);
/* Closes it first. Null is allowed. */
ZAN_EXPORT void zan_patch_free(zan_patch *p);

/* The findings of reading and of the last check or opening, in order of file and line;
 * zan_err_generic past the last, with *finding left alone. At most 1000 are kept. */
ZAN_EXPORT long zan_patch_finding(zan_patch *p, long index, zan_finding *finding);
/* Finds everything that opening with these arguments would find, without running anything:
 * the boxes are made and freed again, with no cords between them and no messages sent; a
 * message among a box's @words is left out. The number of errors. A box's constructor
 * that would touch a file or start something asks zan_patch_checking first. An open patch
 * is closed. */
ZAN_EXPORT long zan_patch_check(zan_patch *p, long argc, const atom *argv);
/* Non-zero while boxes are made for a check only. */
ZAN_EXPORT long zan_patch_checking(void);

/* The canonical text, allocated for the caller (sysmem_freeptr), its length without the NUL
 * in *size when that is given; null when the text isn't marked as a patch or could not be read
 * to its end, so that something of it would be lost. Statements and comments keep their order, and one blank
 * line is kept where there were some. Reading it gives the same patch, and writing that
 * the same bytes. */
ZAN_EXPORT char *zan_patch_text(zan_patch *p, long *size);

/* Makes the boxes and cords, with `argc` atoms as $1, $2... Reports the findings, each as
 * an error or warning with its place. A box that can't be made is replaced by one with the
 * inlets and outlets that its cords name, which drops what it hears. The number of
 * errors; the patch is open whatever they were. An open patch is closed first. */
ZAN_EXPORT long zan_patch_open(zan_patch *p, long argc, const atom *argv);
/* Once after opening: sends `loadbang` to the boxes with a method of that name (public or
 * not, without arguments), then the patch's own messages; boxes that are patches do so
 * first. No clock's function runs meanwhile. */
ZAN_EXPORT void zan_patch_start(zan_patch *p);
/* Frees the boxes, the last made first, while no clock's function runs: it waits for the
 * end of one under way. */
ZAN_EXPORT void zan_patch_close(zan_patch *p);

/* The object of a box by its name ("name/inner" for a box in a box that is a patch); null
 * when there is none or the patch isn't open. */
ZAN_EXPORT void *zan_patch_find(zan_patch *p, symbol *name);

/* The object of the box of that name in the same patch as this box; null when there is
 * none. For boxes that work on another one without a cord. */
ZAN_EXPORT void *zan_patch_beside(void *box, symbol *name);

/* The patch that a box of this class would be in p, read but not open; the caller frees it,
 * ahead of p. Null when the class isn't a patch, or is p itself or one that p is in. */
ZAN_EXPORT zan_patch *zan_patch_of_class(zan_patch *p, symbol *classname);

/* The boxes and cords as they are written, `index` from 0 in order of their lines;
 * zan_err_generic past the last. */
typedef struct zan_patch_box {
    symbol *name, *classname;
    long argc; /* what follows the class, as it is written */
    const atom *argv;
    long line;
    void *box;        /* the object; null while the patch isn't open */
    long missing;     /* 1: the object stands in for a box that couldn't be made */
    zan_patch *inner; /* of a box that is a patch, open with its box; else null */
} zan_patch_box;
ZAN_EXPORT long zan_patch_getbox(zan_patch *p, long index, zan_patch_box *box);
typedef struct zan_patch_cord {
    symbol *source;
    long outlet;
    symbol *destination;
    long inlet;
    long line;
} zan_patch_cord;
ZAN_EXPORT long zan_patch_getcord(zan_patch *p, long index, zan_patch_cord *cord);

#ifdef __cplusplus
}
#endif
#endif

/* Boxes of matrix operators. Matrices don't travel between boxes: a box sends
 * `vok_matrix` and a matrix's name. What comes to the left inlet is used in place and
 * makes the box calculate and output; what comes to another inlet is copied into a
 * matrix of the box's own, for the next calculation. Output matrices belong to the box.
 *
 * A box class is wrapped once (below), behind its standard wrap; a box's constructor
 * calls zan_vok_mop_setup_simple, its free function zan_vok_mop_free ahead of freeing the
 * library object. Results are 0 or an error code; EROR means that x is no such box
 * unless told otherwise. Classes are set up, and boxes made, resized and freed, on the
 * main thread; messages run where they come, and nothing here locks but the matrices
 * while they are calculated. */
#ifndef VOKRA_MOP_BOX_H
#define VOKRA_MOP_BOX_H

#include <vokra/mop.h>

VOKRA_BEGIN_C

struct zan_vok_classex;

/* What a wrap leaves out, for classes that have their own. */
enum {
    ZAN_VOK_MOP_NO_MATRIX = 0x1,        /* the message vok_matrix */
    ZAN_VOK_MOP_NO_BANG = 0x2,          /* bang */
    ZAN_VOK_MOP_NO_OUTPUTMATRIX = 0x4,  /* outputmatrix */
    ZAN_VOK_MOP_NO_NAME = 0x8,          /* the attributes <io>_name */
    ZAN_VOK_MOP_NO_TYPE = 0x10,         /* type and <io>_type */
    ZAN_VOK_MOP_NO_DIM = 0x20,          /* dim and <io>_dim */
    ZAN_VOK_MOP_NO_PLANECOUNT = 0x40,   /* planecount and <io>_planecount */
    ZAN_VOK_MOP_NO_CLEAR = 0x80,        /* clear */
    ZAN_VOK_MOP_NO_NOTIFY = 0x100,      /* notify */
    ZAN_VOK_MOP_NO_ADAPT = 0x200,       /* adapt */
    ZAN_VOK_MOP_NO_OUTPUTMODE = 0x400,  /* outputmode */
    ZAN_VOK_MOP_PROBE_ONLY = 0x10000000 /* as the whole of the flags: only the probe messages */
};

/* What a matrix at the left inlet leads to; any other value counts as normal. */
enum {
    zan_vok_outputmode_none = 0,   /* nothing, and bang outputs nothing */
    zan_vok_outputmode_normal = 1, /* adapt, calculate, output */
    zan_vok_outputmode_input = 2,  /* the incoming name goes out of output 1 */
    zan_vok_outputmode_output = 3  /* the output matrices go out as they stand */
};

/* Replaces the calculation and the output of a box: called with the box and its operator
 * while input 1 is the incoming matrix; the result is ignored. */
typedef vok_err (*zan_vok_mproc)(void *x, vok_mop *mop);

/* ---- setting up a box class ---- */

/* Give a box class the messages and attributes of a matrix operator, as the adornment of
 * `vokclass` tells: for the class in the making, a class, or one box, ahead of the making
 * of its record. Attributes are for fixed numbers of inputs and outputs only. EROR for
 * null or a class that is no matrix operator. */
VOKRA_EXPORT vok_err zan_vok_classex_mop_wrap(struct zan_vok_classex *classex, zan_class *vokclass, long flags);
VOKRA_EXPORT vok_err zan_vok_class_mop_wrap(zan_class *c, zan_class *vokclass, long flags);
VOKRA_EXPORT vok_err zan_vok_object_mop_wrap(void *x, void *o, long flags);
/* The class's boxes calculate by `mproc`. INVP for null. */
VOKRA_EXPORT vok_err zan_vok_classex_mop_mproc(struct zan_vok_classex *classex, zan_class *vokclass,
                                               zan_vok_mproc mproc);
VOKRA_EXPORT vok_err zan_vok_object_mop_mproc(void *x, void *o, zan_vok_mproc mproc);

/* ---- making and freeing a box ---- */

/* The whole of it: binds the library object `o`, makes dumpout, the box's copy of the
 * operator, inlets, outlets and matrices, and reads the format among the arguments. 0. */
VOKRA_EXPORT vok_err zan_vok_mop_setup_simple(void *x, void *o, long argc, atom *argv);
/* Its parts, in this order, behind zan_vok_obex_vokob_set and zan_vok_obex_dumpout_set.
 * An operator of a variable number gets its records in between (variable_add...). */
VOKRA_EXPORT vok_err zan_vok_mop_setup(void *x);
VOKRA_EXPORT vok_err zan_vok_mop_variable_addinputs(void *x, long count);
VOKRA_EXPORT vok_err zan_vok_mop_variable_addoutputs(void *x, long count);
VOKRA_EXPORT vok_err zan_vok_mop_inputs(void *x);
VOKRA_EXPORT vok_err zan_vok_mop_outputs(void *x);
/* [planecount [type [dim ...]]] ahead of the first "@": a box with a format keeps it
 * (adapt 0). At most 32 dims count. */
VOKRA_EXPORT vok_err zan_vok_mop_matrix_args(void *x, long argc, atom *argv);
/* Gives the box's matrices back and ends its probing. */
VOKRA_EXPORT vok_err zan_vok_mop_free(void *x);

/* Change a live box to so many inputs or outputs (below 0 counts as 0); what stays keeps
 * its matrices and cords, dumpout is made anew at the right. INVP for no such box. */
VOKRA_EXPORT vok_err zan_vok_mop_inputs_resize(void *x, long count);
VOKRA_EXPORT vok_err zan_vok_mop_outputs_resize(void *x, long count);
/* The outlet of output index + 1, made leftmost or rightmost. */
VOKRA_EXPORT vok_err zan_vok_mop_matrixout_new(void *x, long index);
VOKRA_EXPORT vok_err zan_vok_mop_matrixout_append(void *x, long index);

/* ---- messages ---- */

/* A matrix by name; see the head. An unknown name is reported (MXUN) and gives 0, as does
 * no name; else the code of the calculation, which is reported too. */
VOKRA_EXPORT vok_err zan_vok_mop_vok_matrix(void *x, symbol *selector, long argc, atom *argv);
/* Sends the message outputmatrix, so merged in the scheduler. */
VOKRA_EXPORT vok_err zan_vok_mop_bang(void *x);
/* The output matrices' names, the right one first, unless outputmode is 0. */
VOKRA_EXPORT vok_err zan_vok_mop_outputmatrix(void *x);
/* Clears the box's own matrices. */
VOKRA_EXPORT vok_err zan_vok_mop_clear(void *x);
/* On `free` of a matrix that the box uses: a matrix of the same format takes its name,
 * and the box's input or output goes on under a new name. */
VOKRA_EXPORT vok_err zan_vok_mop_notify(void *x, symbol *name, symbol *msg, void *sender, void *data);
/* Gives inputs from 2 on (resampled) and outputs the format of `matrix`, as far as their
 * links and limits allow. */
VOKRA_EXPORT vok_err zan_vok_mop_adapt_matrix_all(void *x, void *matrix);
/* For boxes of a variable number, bound to `anything` by the class: <io>_<attr> and
 * get<io>_<attr>; what is got goes out of dumpout under <attr>. INVP for no such box,
 * EROR for another message. */
VOKRA_EXPORT vok_err zan_vok_mop_variable_anything(void *x, symbol *selector, long argc, atom *argv);
/* The text of an inlet (kind 1) or outlet; `text` has room for 512 bytes. */
VOKRA_EXPORT vok_err zan_vok_mop_assist(void *x, void *b, long kind, long index, char *text);

/* ---- attributes; getters as in attributes.h ---- */

VOKRA_EXPORT vok_err zan_vok_mop_getoutputmode_attr(void *x, void *attr, long *argc, atom **argv);
VOKRA_EXPORT vok_err zan_vok_mop_outputmode(void *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT vok_err zan_vok_mop_getadapt(void *x, void *attr, long *argc, atom **argv);
VOKRA_EXPORT vok_err zan_vok_mop_adapt(void *x, void *attr, long argc, atom *argv);
/* The name of the matrix of an input or output. A name that a matrix has already makes
 * the box use that matrix; none gives a unique one. */
VOKRA_EXPORT vok_err zan_vok_mop_getname(void *x, void *attr, long *argc, atom **argv);
VOKRA_EXPORT vok_err zan_vok_mop_name(void *x, void *attr, long argc, atom *argv);
/* With an input or output in the attribute's name that one, linked or not; without, set
 * goes to all that are linked, get to output 1. */
VOKRA_EXPORT vok_err zan_vok_mop_gettype(void *x, void *attr, long *argc, atom **argv);
VOKRA_EXPORT vok_err zan_vok_mop_type(void *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT vok_err zan_vok_mop_getdim(void *x, void *attr, long *argc, atom **argv);
VOKRA_EXPORT vok_err zan_vok_mop_dim(void *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT vok_err zan_vok_mop_getplanecount(void *x, void *attr, long *argc, atom **argv);
VOKRA_EXPORT vok_err zan_vok_mop_planecount(void *x, void *attr, long argc, atom *argv);

/* ---- the box's operator ---- */

/* The records, counted from 1; null outside. */
VOKRA_EXPORT void *zan_vok_mop_getinput(void *x, long index);
VOKRA_EXPORT void *zan_vok_mop_getoutput(void *x, long index);
/* The record that an attribute's name addresses (inputs from 2 on), or null. */
VOKRA_EXPORT void *zan_vok_mop_get_io_by_name(void *x, symbol *attrname);
/* 0 without an operator. */
VOKRA_EXPORT long zan_vok_mop_getoutputmode(void *x);
VOKRA_EXPORT void *zan_vok_mop_getmproc(void *mop);
VOKRA_EXPORT void *zan_vok_mop_io_getoutlet(void *io);
VOKRA_EXPORT vok_err zan_vok_mop_io_setoutlet(void *io, void *outlet);
/* All three limits of a record; EROR when they corrected the info. */
VOKRA_EXPORT vok_err zan_vok_mop_restrict_info(void *x, void *io, vok_matrix_info *info);
/* Whom an attribute's name addresses: *which 1 an input, 2 an output, 0 all; *index from
 * 1, 0 for all. Only the first letters are looked at ("inverse" is input 1). INVP. */
VOKRA_EXPORT vok_err zan_vok_mop_parse_name(symbol *name, long *which, long *index);
/* The part behind the first "_", and whether the name doesn't begin with "get". EROR
 * without that part. INVP. */
VOKRA_EXPORT vok_err zan_vok_mop_variable_parse_sym(symbol *name, symbol **attrname, long *isset);

/* ---- probing: the matrix or texture of one outlet, shown ten times a second ---- */

/* One box in the process is probed at a time. The name of what its outlet carries is
 * sent, on the main thread, to the receiver "__vok_matrix_probe_receive", if there is
 * one. Main thread, but for the clock. */
VOKRA_EXPORT extern void *g_vok_matrix_probe_obj;   /* the box, or null */
VOKRA_EXPORT extern void *g_vok_matrix_probe_clock; /* made at first need, never freed */
VOKRA_EXPORT extern void *g_vok_matrix_probe_qelem; /* the same */
VOKRA_EXPORT extern long g_vok_matrix_probe_outnum; /* its outlet, from 0 */
VOKRA_EXPORT void zan_vok_mop_initprobesyms(void);
/* Gives a class that is no matrix operator the probe messages. INVP for null. */
VOKRA_EXPORT vok_err zan_vok_mop_setup_probing(zan_class *c);
/* Ends the probe of another box. x, or null when it can't be probed or is already. */
VOKRA_EXPORT void *zan_vok_mop_vok_matrix_startprobe(void *x);
VOKRA_EXPORT vok_err zan_vok_mop_vok_matrix_probevalue(void *x, symbol *selector, long outnum);
VOKRA_EXPORT vok_err zan_vok_mop_vok_matrix_endprobe(void *x);
/* Asks the application for its window. */
VOKRA_EXPORT void zan_vok_mop_vok_matrix_showprobe(void);
/* The functions of the clock and the qelem. */
VOKRA_EXPORT void zan_vok_mop_vok_matrix_probe_tick(void *unused);
VOKRA_EXPORT void zan_vok_mop_vok_matrix_probe_qfn(void *unused);

VOKRA_END_C
#endif

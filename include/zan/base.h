/* The records and numbers that cross between the host and everything above it.
 *
 * A word is pointer-sized and a long is 64 bits. Nothing here throws, and every
 * function is callable from C. Layouts are a binary interface: a module built
 * long ago must go on working, so no record here ever changes its shape. */
#ifndef ZAN_BASE_H
#define ZAN_BASE_H

#include <stddef.h>
#include <stdint.h>

#if defined(ZAN_BUILD)
#define ZAN_EXPORT __attribute__((visibility("default")))
#else
#define ZAN_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A pointer-sized argument or result of a message. */
typedef intptr_t zan_word;

/* Any function. Cast it to its real signature before it is called. */
typedef void (*zan_method)(void);

/* An interned name. Two symbols are the same name exactly when their pointers
 * are equal. Symbols live for ever. */
typedef struct symbol {
    const char *name; /* NUL-terminated text, owned by the host */
    void *thing;      /* anyone's to read and write; a named receiver hangs here */
} symbol;

/* The tags of atoms and of a method's argument list, one numbering for both. */
enum {
    argtype_nothing = 0,      /* ends a type list; an atom without a value */
    argtype_long = 1,         /* an integer */
    argtype_float = 2,        /* a number */
    argtype_sym = 3,          /* a symbol */
    argtype_obj = 4,          /* an object pointer */
    argtype_deflong = 5,      /* type lists only: an integer, 0 when missing */
    argtype_deffloat = 6,     /* type lists only: a number, 0 when missing */
    argtype_defsym = 7,       /* type lists only: a symbol, the empty one when missing */
    argtype_gimme = 8,        /* the method takes (object, selector, argc, argv) */
    argtype_cant = 9,         /* private: word arguments, never from a patcher */
    argtype_semi = 10,        /* text: a semicolon */
    argtype_comma = 11,       /* text: a comma */
    argtype_dollar = 12,      /* text: $1, the value holds the number */
    argtype_dollsym = 13,     /* text: a symbol with a $ inside, the value holds it */
    argtype_gimmeback = 14,   /* (object, selector, argc, argv, rv), rv an atom */
    argtype_defer = 0x41,     /* gimme, run through defer */
    argtype_usurp = 0x42,     /* gimme, calls merged */
    argtype_defer_low = 0x43, /* gimme, run through defer_low */
    argtype_usurp_low = 0x44  /* gimme, calls merged, through defer_low */
};

/* The magic number in the second word of every live object. */
#define ZAN_OBJECT_MAGIC 0x68CEBD9BL

/* The header every object begins with: four words. The first member of an
 * object's own record stands at byte 32. Three words ahead of where `messlist`
 * points stands the pointer to the class. */
typedef struct object {
    void *messlist; /* the class's method table: zan_messlist entries */
    intptr_t magic; /* ZAN_OBJECT_MAGIC while the object is alive, else 0 */
    void *side;     /* the host's: obex, registration, methods of this object alone */
    intptr_t state; /* the host's */
} object;

typedef struct zan_class zan_class;

/* One entry of a method table; a null name ends the table. It stands at byte 32
 * of a method object too. */
typedef struct zan_messlist {
    symbol *name;
    zan_method function;
    signed char types[16]; /* argument tags, ended by 0 */
} zan_messlist;

/* A method as an object: what the class's "methods" table holds. */
typedef struct zan_method_object {
    object header;
    zan_messlist entry; /* name at byte 32, function at 40, first tag at 48 */
} zan_method_object;

/* A tagged value of 16 bytes. */
typedef struct atom {
    short type; /* argtype_long, _float, _sym, _obj or a text tag */
    union {
        intptr_t as_long;
        double as_float;
        symbol *as_sym;
        object *as_obj;
    } value; /* at byte 8 */
} atom;

/* What host functions that can fail return. */
enum {
    zan_err_none = 0,
    zan_err_generic = -1,
    zan_err_invalid_ptr = -2,
    zan_err_duplicate = -3,
    zan_err_out_of_mem = -4
};

#ifdef __cplusplus
}
static_assert(sizeof(long) == 8 && sizeof(zan_word) == 8, "a word is 64 bits");
static_assert(sizeof(atom) == 16 && offsetof(atom, value) == 8, "atom layout");
static_assert(sizeof(object) == 32, "object layout");
static_assert(offsetof(zan_method_object, entry.function) == 40, "method object layout");
static_assert(offsetof(zan_method_object, entry.types) == 48, "method object layout");
#else
_Static_assert(sizeof(long) == 8 && sizeof(zan_word) == 8, "a word is 64 bits");
_Static_assert(sizeof(atom) == 16 && offsetof(atom, value) == 8, "atom layout");
_Static_assert(sizeof(object) == 32, "object layout");
#endif
#endif

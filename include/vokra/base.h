/* What every header of the library shares: how its names are exported, the error
 * codes, and the attribute flags. */
#ifndef VOKRA_BASE_H
#define VOKRA_BASE_H

#include <zan/base.h>

#if defined(VOKRA_BUILD)
#define VOKRA_EXPORT __attribute__((visibility("default")))
#else
#define VOKRA_EXPORT
#endif

#ifdef __cplusplus
#define VOKRA_BEGIN_C extern "C" {
#define VOKRA_END_C }
#else
#define VOKRA_BEGIN_C
#define VOKRA_END_C
#endif

/* Results: 0, or four ASCII characters packed big-endian into a long. */
typedef long vok_err;
enum {
    VOK_ERR_NONE = 0,
    VOK_ERR_DUPL = 0x4455504C, /* duplicate */
    VOK_ERR_DUVL = 0x4455564C, /* data unavailable for request */
    VOK_ERR_EROR = 0x45524F52, /* error type unspecified */
    VOK_ERR_HUVL = 0x4855564C, /* hardware unavailable for request */
    VOK_ERR_INOB = 0x494E4F42, /* invalid object */
    VOK_ERR_INVI = 0x494E5649, /* invalid input */
    VOK_ERR_INVO = 0x494E564F, /* invalid output */
    VOK_ERR_INVP = 0x494E5650, /* invalid pointer */
    VOK_ERR_MSDM = 0x4D53444D, /* mismatch dim */
    VOK_ERR_MSPL = 0x4D53504C, /* mismatch plane */
    VOK_ERR_MSTP = 0x4D535450, /* mismatch type */
    VOK_ERR_MXUN = 0x4D58554E, /* matrix unknown */
    VOK_ERR_OBND = 0x4F424E44, /* out of bounds */
    VOK_ERR_OBSY = 0x4F425359, /* object busy */
    VOK_ERR_OMEM = 0x4F4D454D, /* out of memory */
    VOK_ERR_SPRS = 0x53505253  /* asks the caller to stay silent */
};

/* Flags of an attribute. */
enum {
    vok_attrflag_get_opaque = 1,            /* can't be got at all */
    vok_attrflag_set_opaque = 2,            /* can't be set at all */
    vok_attrflag_get_opaque_user = 0x100,   /* users can't get it; code can */
    vok_attrflag_set_opaque_user = 0x200,   /* users can't set it; code can */
    vok_attrflag_get_defer = 0x10000,       /* how the get runs: argtype_defer */
    vok_attrflag_get_usurp = 0x20000,       /* argtype_usurp */
    vok_attrflag_get_defer_low = 0x40000,   /* argtype_defer_low */
    vok_attrflag_get_usurp_low = 0x80000,   /* argtype_usurp_low */
    vok_attrflag_set_defer = 0x1000000,     /* how the set runs: argtype_defer */
    vok_attrflag_set_usurp = 0x2000000,     /* argtype_usurp */
    vok_attrflag_set_defer_low = 0x4000000, /* argtype_defer_low */
    vok_attrflag_set_usurp_low = 0x8000000, /* argtype_usurp_low */
    vok_attrflag_dirty = 0x20000000         /* the value was touched */
};

#endif

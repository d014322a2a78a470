/* Expressions: `vok_expr`, a matrix operator that calculates each plane of its output
 * from a text such as in[0]*0.5+sin(norm[0]*TWOPI).
 *
 * A text is compiled when the attribute "expr" is set: tokens, a tree of calls in prefix
 * form, constants folded. Every value is a matrix of one plane in the type `precision`
 * and of the output's size. Messages about a text go to the object as errors; a text
 * with an error has no tree and its planes are passed over.
 *
 * Threads: one thread at a time for an object. The calculation fans out over the pool. */
#ifndef VOKRA_EXPR_H
#define VOKRA_EXPR_H

#include <vokra/matrix_info.h>
#include <vokra/memory.h>

VOKRA_BEGIN_C

enum { VOK_EXPR_MAX = 32 }; /* expressions of an object */

/* The kinds of tokens. */
enum {
    vok_expr_token_unknown,
    vok_expr_token_word,    /* before it is known what it names */
    vok_expr_token_number,  /* `val` is a float */
    vok_expr_token_special, /* an operator sign, before it is placed */
    vok_expr_token_lparen,
    vok_expr_token_rparen,
    vok_expr_token_comma,
    vok_expr_token_semi,
    vok_expr_token_group, /* what stands between parentheses */
    vok_expr_token_inop,  /* an infix operator that isn't converted yet */
    vok_expr_token_op,    /* a call: an operator, functor or class with its arguments as children */
    vok_expr_token_variable,
    vok_expr_token_constant,
    vok_expr_token_attribute,
    vok_expr_token_kinds
};

typedef struct vok_expr {
    object header;
    symbol *expr[VOK_EXPR_MAX];         /* the texts; the empty symbol where there is none */
    long exprcount;                     /* how many are in force */
    long curexpr;                       /* the one being compiled, for messages */
    vok_tree_node *trees[VOK_EXPR_MAX]; /* a vok_tree each, null after an error; owned */
    symbol *precision;                  /* element type of the calculation; float32 at birth */
    void *exprops;                      /* host hashtabs from words, null unless someone fills them; owned: */
    void *exprconstants;                /* words that count as operators, words for pointers to doubles */
    void *exprextra;
    long verbose;  /* not 0: each stage of a compilation is posted */
    long curplane; /* the output plane being calculated */
    long cache;    /* not 0, as at birth: what doesn't depend on an input is calculated once a size */
} vok_expr;

/* What a node of a tree (its `thing`) holds. The root of a tree has none. */
typedef struct vok_expr_token {
    object header;
    long type;      /* vok_expr_token_... */
    long valid;     /* `data` may be used as it is */
    long converted; /* infix operators below have been converted */
    atom val;       /* the word as a symbol, the number as a float */
    void *data;     /* the matrix of the value, null until it is needed; owned, as are: */
    void *evaluate; /* a functor call's vok_functor_evaluate */
    void *coords;   /* and the matrix of its coordinates */
} vok_expr_token;

/* An infix operator: the form as written, the operator word it stands for. */
typedef struct vok_expr_infixop {
    object header;
    symbol *infix;
    symbol *prefix;
    long precedence; /* from 1, which binds tightest, to 7 */
} vok_expr_infixop;

/* Fills the matrix of a variable's token. 0 or an error code. */
typedef vok_err (*vok_expr_mxfn_fn)(vok_expr *x, vok_tree_node *node, void *inputs, vok_matrix_info *info,
                                    long index, long mode, long spare);

/* A built-in variable such as norm[0]. */
typedef struct vok_expr_mxfn {
    object header;
    vok_expr_mxfn_fn fn;
    long index;  /* a dimension or an input */
    long mode;   /* the kind of ramp, or a plane */
    long spare;  /* 0 */
    long always; /* 1: filled anew at every calculation */
} vok_expr_mxfn;

/* ---- the class ---- */

/* Makes the four classes and the tables. Part of the start-up. */
VOKRA_EXPORT vok_err vok_expr_init(void);
VOKRA_EXPORT vok_expr *vok_expr_new(void);
VOKRA_EXPORT void vok_expr_free(vok_expr *x);
/* The setter of "expr": takes at most 32 atoms, each as a text, and compiles them. 0. */
VOKRA_EXPORT vok_err vok_expr_expr(vok_expr *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT vok_expr_token *vok_expr_token_new(long type, const atom *val);
VOKRA_EXPORT void vok_expr_token_free(vok_expr_token *x);
VOKRA_EXPORT vok_expr_infixop *vok_expr_infixop_new(symbol *infix, symbol *prefix, long precedence);
VOKRA_EXPORT vok_expr_mxfn *vok_expr_mxfn_new(vok_expr_mxfn_fn fn, long index, long mode, long spare, long always);

/* ---- compiling ---- */

/* All texts of the object, one after the other. 0. */
VOKRA_EXPORT vok_err vok_expr_parse(vok_expr *x);
/* The stages for text `i`. sym2tok puts a new tree into trees[i], its tokens a flat list
 * below the root. Each of the others gives 0, or EROR after a message; buildtree has
 * freed the tree then, the rest leave it to the caller. A text nests 1000 levels deep at
 * most, and so does the tree that comes of it. */
VOKRA_EXPORT vok_err vok_expr_sym2tok(vok_expr *x, long i);
VOKRA_EXPORT vok_err vok_expr_append_token(vok_expr *x, long i, const char *text);
VOKRA_EXPORT long vok_expr_token2type(const char *text);
VOKRA_EXPORT vok_err vok_expr_buildtree(vok_expr *x, vok_tree_node *tree);
VOKRA_EXPORT vok_err vok_expr_infix2prefix(vok_expr *x, vok_tree_node *node);
VOKRA_EXPORT vok_err vok_expr_cleantree(vok_expr *x, vok_tree_node *node);
VOKRA_EXPORT vok_err vok_expr_flattenconstants(vok_expr *x, vok_tree_node *node);

/* What a word is. */
VOKRA_EXPORT long vok_expr_wordisoperator(vok_expr *x, symbol *word);
/* *out, which may be null, is its value. */
VOKRA_EXPORT long vok_expr_wordisconstant(vok_expr *x, symbol *word, double *out);
VOKRA_EXPORT long vok_expr_wordisfunctor(symbol *word);
VOKRA_EXPORT long vok_expr_wordisexprop(vok_expr *x, symbol *word);
VOKRA_EXPORT long vok_expr_specialisinfix(vok_expr *x, symbol *word);
/* The name of "@name", else null. */
VOKRA_EXPORT symbol *vok_expr_wordisattribute(vok_expr *x, symbol *word);
/* The class of "vok.name", loaded when it must be; else null. */
VOKRA_EXPORT zan_class *vok_expr_wordisclass(vok_expr *x, symbol *word);

/* Posts the tree of text `i`, or what lies below a node, a line a node. */
VOKRA_EXPORT void vok_expr_printtree(vok_expr *x, long i);
VOKRA_EXPORT void vok_expr_printtree_helper(vok_expr *x, vok_tree_node *node, long level);

/* The patterns of tokens: compiled by vok_expr_init; given back. */
VOKRA_EXPORT void vok_expr_pcre_init(void);
VOKRA_EXPORT void vok_expr_pcre_dispose(void);

/* ---- calculating ---- */

/* Output plane p by text p % exprcount. Inputs and output are found with getindex; the
 * inputs may have any size and type. 0, INVP without an output, INVO when it has no data;
 * a text that fails leaves its plane as it was. */
VOKRA_EXPORT vok_err vok_expr_matrix_calc(vok_expr *x, void *inputs, void *outputs);
/* Makes the matrices below a node ready for treecalc; `info` is what they must be.
 * *unchanged (may be null) tells whether all of them are still valid. 0 or EROR. */
VOKRA_EXPORT vok_err vok_expr_prepcalc(vok_expr *x, vok_tree_node *node, void *inputs, vok_matrix_info *info,
                                       long *unchanged);
/* The matrix of a prepared node, which the node owns; null on failure. */
VOKRA_EXPORT void *vok_expr_treecalc(vok_expr *x, vok_tree_node *node);

/* The built-in variables; mode 0, 1 and 2 of norm: 0 to 1, -1 to 1, 0, 1, 2 ... */
VOKRA_EXPORT vok_err vok_expr_mxfn_dim(vok_expr *x, vok_tree_node *node, void *inputs, vok_matrix_info *info,
                                       long index, long mode, long spare);
VOKRA_EXPORT vok_err vok_expr_mxfn_norm(vok_expr *x, vok_tree_node *node, void *inputs, vok_matrix_info *info,
                                        long index, long mode, long spare);
VOKRA_EXPORT vok_err vok_expr_mxfn_input(vok_expr *x, vok_tree_node *node, void *inputs, vok_matrix_info *info,
                                         long index, long mode, long spare);
VOKRA_EXPORT vok_err vok_expr_mxfn_input_plane(vok_expr *x, vok_tree_node *node, void *inputs,
                                               vok_matrix_info *info, long index, long mode, long spare);
/* A word that isn't built in: the registered matrix `name` or `name.p[plane]`, else zeros. */
VOKRA_EXPORT vok_err vok_expr_mxfn_default(vok_expr *x, vok_tree_node *node);

/* Set by vok_expr_init. Host hashtabs: from word to vok_expr_mxfn, to a pointer to a double,
 * and from sign to vok_expr_infixop. */
VOKRA_EXPORT extern void *_vok_expr_mxfns;
VOKRA_EXPORT extern void *_vok_expr_constants;
VOKRA_EXPORT extern void *_vok_expr_infixmap;
/* The names of the kinds of tokens, as the trace has them. */
VOKRA_EXPORT extern const char *const _vok_expr_token_str[vok_expr_token_kinds];

VOKRA_END_C

#ifdef __cplusplus
static_assert(offsetof(vok_expr, exprcount) == 32 + 8 * 32 && offsetof(vok_expr, trees) == 32 + 8 * 34, "layout");
static_assert(offsetof(vok_expr, precision) == 32 + 8 * 66 && offsetof(vok_expr, verbose) == 32 + 8 * 70,
              "layout");
static_assert(offsetof(vok_expr, cache) == 32 + 8 * 72, "layout");
static_assert(offsetof(vok_expr_token, val) == 56 && offsetof(vok_expr_token, data) == 72, "layout");
static_assert(offsetof(vok_expr_token, coords) == 88, "layout");
static_assert(offsetof(vok_expr_infixop, precedence) == 48, "layout");
static_assert(offsetof(vok_expr_mxfn, fn) == 32 && offsetof(vok_expr_mxfn, always) == 64, "layout");
#endif
#endif

/* A process that knows nothing of the headers: it loads both libraries by name, looks
 * every function up as text, and trusts only the documented layouts, which it writes
 * down for itself. What it gets must be right to the bit.
 *
 * foreign LIBZAN VOKRAAPI SCRATCHFILE */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef intptr_t word;

static int failures;
#define EXPECT(what)                                                                                              \
    do {                                                                                                          \
        if (!(what)) {                                                                                            \
            fprintf(stderr, "foreign.c:%d: not so: %s\n", __LINE__, #what);                                       \
            ++failures;                                                                                           \
        }                                                                                                         \
    } while (0)

static void *zan, *vokra;

static void *find(const char *name)
{
    void *p = dlsym(vokra, name);
    if (!p)
        p = dlsym(zan, name);
    if (!p) {
        fprintf(stderr, "foreign: no %s\n", name);
        exit(1);
    }
    return p;
}

/* A call of words: every argument is one. */
#define CALL(name, ...) (((word(*)(word, ...))find(name))(__VA_ARGS__))
#define W(x) ((word)(x))
#define SYM(text) CALL("gensym", W(text))

/* The layouts. */
struct sym {
    const char *name;
    void *thing;
};
struct info {
    int64_t size;
    void *type;
    int64_t flags, dimcount, dim[32], dimstride[32], planecount;
};
struct conv {
    int64_t flags, planemap[32], srcstart[32], srcend[32], dststart[32], dstend[32];
};
struct value {
    int16_t type;
    int64_t bits;
};
struct entry {
    struct sym *name;
    void *function;
    signed char types[16];
};

static word send(word x, const char *message, word a, word b)
{
    return CALL("vok_object_method", x, SYM(message), a, b, W(0), W(0), W(0), W(0), W(0), W(0));
}

static struct info shape(const char *type, int64_t planes, int64_t width, int64_t height)
{
    struct info i;
    memset(&i, 0, sizeof i);
    i.type = (void *)SYM(type);
    i.dimcount = 2;
    for (int d = 0; d < 32; ++d)
        i.dim[d] = 1;
    i.dim[0] = width;
    i.dim[1] = height;
    i.planecount = planes;
    return i;
}

static word matrix(const char *type, int64_t planes, int64_t width, int64_t height)
{
    struct info i = shape(type, planes, width, height);
    return CALL("vok_object_new", SYM("vok_matrix"), W(&i), W(0), W(0), W(0), W(0), W(0), W(0), W(0));
}

static unsigned char *cells(word m)
{
    unsigned char *p = 0;
    send(m, "getdata", W(&p), 0);
    return p;
}

static void the_object_kernel(void)
{
    struct sym *a = (struct sym *)SYM("a name");
    EXPECT(a == (struct sym *)SYM("a name") && strcmp(a->name, "a name") == 0);
    EXPECT(CALL("symbol_unique", 0) != CALL("symbol_unique", 0));

    struct value v;
    ((void (*)(void *, double))find("atom_setfloat"))(&v, 2.75);
    double stored;
    memcpy(&stored, (char *)&v + 8, 8);
    EXPECT(v.type == 2 && stored == 2.75);
    EXPECT(CALL("atom_getlong", W(&v)) == 2);

    word m = matrix("char", 4, 3, 2);
    const word *header = (const word *)m;
    EXPECT(header[1] == 0x68CEBD9B);
    /* three words ahead of where word 0 points stands the class, whose word 0 is its name */
    struct sym **class = *(struct sym ***)(((word **)header[0]) - 3);
    EXPECT(strcmp(class[0] -> name, "vok_matrix") == 0);
    int found = 0;
    for (struct entry *e = (struct entry *)header[0]; e->name; ++e)
        found += strcmp(e->name->name, "getinfo") == 0 && e->function == dlsym(vokra, "vok_matrix_getinfo");
    EXPECT(found == 1);
    word method = CALL("object_getmethod_object", m, SYM("getinfo"));
    EXPECT(*(struct sym **)(method + 32) == (struct sym *)SYM("getinfo"));
    EXPECT(*(void **)(method + 40) == dlsym(vokra, "vok_matrix_getinfo"));
    EXPECT(*(signed char *)(method + 48) == 9);
    word attribute = 0;
    EXPECT(CALL("hashtab_lookup", ((word *)class)[11], SYM("planecount"), W(&attribute)) == 0);
    EXPECT(attribute && send(attribute, "getname", 0, 0) == SYM("planecount"));
    EXPECT(CALL("vok_attr_getlong", m, SYM("planecount")) == 4);
    word table = CALL("class_extra_lookup", W(class), SYM("methods")), key = 0;
    EXPECT(CALL("hashtab_lookup", table, SYM("setinfo"), W(&key)) == 0 && key);
    CALL("vok_object_free", m);
}

static void matrices(void)
{
    word m = matrix("char", 4, 3, 2);
    struct info i;
    EXPECT(send(m, "getinfo", W(&i), 0) == 0);
    EXPECT(i.size == 32 && i.dimstride[0] == 4 && i.dimstride[1] == 16 && i.dim[0] == 3 && i.dim[2] == 1);
    EXPECT(i.type == (void *)SYM("char") && i.type == *(void **)find("_vok_sym_char"));
    unsigned char *p = cells(m);
    EXPECT(p && ((word)p & 15) == 0);
    /* the record itself: the info behind the header, then the data pointer */
    EXPECT(*(unsigned char **)(m + 32 + sizeof(struct info)) == p);

    struct info same = i;
    p[0] = 7;
    EXPECT(send(m, "setinfo", W(&same), 0) == 0 && cells(m) == p && p[0] == 7);
    same.dim[0] = 1 << 30;
    same.dim[1] = 1 << 30;
    EXPECT(send(m, "setinfo", W(&same), 0) == 0x4F4D454D); /* OMEM */
    send(m, "getinfo", W(&i), 0);
    EXPECT(i.size == 0 && i.dim[0] == 1 << 30 && !cells(m));
    EXPECT(CALL("vok_matrix_getdata", 0, 0) == 0x494E5650); /* INVP */

    /* typed message on the main thread: done when it returns */
    word n = matrix("float32", 1, 4, 4);
    struct value list[4];
    CALL("atom_setlong", W(&list[0]), W(2));
    CALL("atom_setlong", W(&list[1]), W(3));
    CALL("atom_setsym", W(&list[2]), SYM("val"));
    ((void (*)(void *, double))find("atom_setfloat"))(&list[3], 0.375);
    CALL("vok_object_method_typed", n, SYM("setcell"), W(4), W(list), 0);
    EXPECT(((float *)cells(n))[3 * 4 + 2] == 0.375f);

    /* float to char on the scale of 0 to 1, NaN becoming 0 */
    ((float *)cells(n))[0] = 1.5f;
    ((float *)cells(n))[1] = -0.5f;
    ((float *)cells(n))[2] = __builtin_nanf("");
    ((float *)cells(n))[3] = 0.5f;
    word c = matrix("char", 1, 4, 4);
    EXPECT(CALL("vok_matrix_frommatrix", c, n, 0) == 0);
    EXPECT(cells(c)[0] == 255 && cells(c)[1] == 0 && cells(c)[2] == 0 && cells(c)[3] == 127);

    /* mirrored by a reversed source range */
    struct conv v;
    memset(&v, 0, sizeof v);
    v.flags = 4;
    v.srcstart[0] = 3;
    v.srcend[1] = 3;
    word d = matrix("char", 1, 4, 4);
    EXPECT(CALL("vok_matrix_frommatrix", d, c, W(&v)) == 0);
    EXPECT(cells(d)[0] == 127 && cells(d)[3] == 255);
    CALL("vok_object_free", m);
    CALL("vok_object_free", n);
    CALL("vok_object_free", c);
    CALL("vok_object_free", d);
}

struct operand {
    void *p;
    int64_t stride;
};

static long rows_seen;
static void count_rows(word data, word dimcount, int64_t *dim, word planecount, struct info *i, unsigned char *p,
                       word *worker)
{
    __atomic_fetch_add(&rows_seen, dim[1], __ATOMIC_RELAXED);
    /* record, workercount, workerid, offset[2], extent[2] */
    if (worker[6] != dim[1] || p != (unsigned char *)data + worker[4] * i->dimstride[1])
        ++failures;
}

static void operators(void)
{
    unsigned char a[5] = {200, 100, 255, 0, 17}, b[5] = {100, 200, 255, 9, 0}, out[5];
    struct operand x = {a, 1}, y = {b, 1}, z = {out, 1};
    struct {
        const char *name;
        unsigned char want[5];
    } table[] = {{"+", {255, 255, 255, 9, 17}},     {"+m", {44, 44, 254, 9, 17}}, {"-", {100, 0, 0, 0, 17}},
                 {"*", {78, 78, 254, 0, 0}},        {"/", {2, 0, 1, 0, 0}},       {"%", {0, 100, 0, 0, 17}},
                 {"absdiff", {100, 100, 0, 9, 17}}, {">", {255, 0, 0, 0, 255}},   {"sin", {200, 100, 255, 0, 17}}};
    for (unsigned t = 0; t < sizeof table / sizeof *table; ++t) {
        word fn = CALL("vok_op_sym2fn", SYM(table[t].name), SYM("char"));
        ((void (*)(int64_t, void *, void *, void *, void *))fn)(5, 0, &x, &y, &z);
        if (memcmp(out, table[t].want, 5) != 0) {
            fprintf(stderr, "foreign: operator %s is wrong\n", table[t].name);
            ++failures;
        }
    }
    EXPECT(CALL("vok_op_fn_lookup", SYM("no such word")) == 0);

    /* a whole calculation, split by rows */
    word m = matrix("char", 1, 400, 300), op, list;
    memset(cells(m), 3, 400 * 300);
    struct value args[2];
    CALL("atom_setsym", W(&args[0]), SYM("+"));
    CALL("atom_setlong", W(&args[1]), W(5));
    EXPECT(CALL("vok_matrix_op", m, SYM("op"), W(2), W(args)) == 0);
    EXPECT(cells(m)[0] == 8 && cells(m)[400 * 300 - 1] == 8);

    op = CALL("vok_object_new", SYM("vok_op"), 0, 0, 0, 0, 0, 0, 0, 0);
    list = CALL("vok_object_new", SYM("vok_linklist"), 0, 0, 0, 0, 0, 0, 0, 0);
    CALL("vok_attr_setsym", op, SYM("op"), SYM("*"));
    send(list, "append", m, 0);
    send(list, "append", m, 0);
    EXPECT(send(op, "matrix_calc", list, m) == 0 && cells(m)[77] == 0); /* 8 * 8 >> 8 */
    word other = matrix("long", 1, 400, 300);
    EXPECT(send(op, "matrix_calc", list, other) == 0x4D535450); /* MSTP */

    struct info i;
    send(m, "getinfo", W(&i), 0);
    *(int64_t *)find("_vok_parallelthresh") = 1;
    CALL("vok_parallel_ndim_simplecalc1", W(count_rows), W(cells(m)), W(2), W(i.dim), W(1), W(&i), W(cells(m)),
         W(0));
    EXPECT(rows_seen == 300);
    send(list, "chuck", 0, 0);
    CALL("vok_object_free", op);
    CALL("vok_object_free", m);
    CALL("vok_object_free", other);
}

static void files(const char *scratch)
{
    short path = 0;
    char name[4096], folder_and_name[4096];
    snprintf(folder_and_name, sizeof folder_and_name, "%s", scratch);
    EXPECT(CALL("path_frompotentialpathname", W(folder_and_name), W(&path), W(name)) == 0);
    word file = 0, m = matrix("float32", 1, 2, 1);
    ((float *)cells(m))[0] = 1.0f;
    EXPECT(CALL("path_createsysfile", W(name), W(path), W(0x566F4B21), W(&file)) == 0);
    EXPECT(CALL("vok_bin_write_header", file, 0) == 0);
    EXPECT(CALL("vok_bin_write_matrix", file, m) == 0);
    int64_t size = 0;
    CALL("sysfile_getpos", file, W(&size));
    EXPECT(size == 24 + 24 + 8 + 8);
    EXPECT(CALL("vok_bin_write_header", file, size) == 0);
    CALL("sysfile_close", file);
    static const unsigned char want[64] = {'F', 'O', 'R', 'M', 0,    0,    0,  64,   'V',  'O',  'K',  '!', 'F',
                                           'V', 'E', 'R', 0,   0,    0,    12, 0x3C, 0x93, 0xDC, 0x80, 'M', 'T',
                                           'R', 'X', 0,   0,   0,    40,   0,  0,    0,    32,   'F',  'L', '3',
                                           '2', 0,   0,   0,   1,    0,    0,  0,    2,    0,    0,    0,   2,
                                           0,   0,   0,   1,   0x3F, 0x80, 0,  0,    0,    0,    0,    0};
    unsigned char got[100];
    FILE *f = fopen(scratch, "rb");
    EXPECT(f && fread(got, 1, sizeof got, f) == 64 && memcmp(got, want, 64) == 0);
    if (f)
        fclose(f);
    CALL("vok_object_free", m);
}

static void numbers(void)
{
    CALL("vok_rand_setseed", W(1));
    word first = CALL("vok_rand", 0), second = CALL("vok_rand", 0);
    CALL("vok_rand_setseed", W(1));
    EXPECT(CALL("vok_rand", 0) == first && CALL("vok_rand", 0) == second && first != second);
    EXPECT(((double (*)(double, double))find("vok_math_fmod"))(7.5, 0) == 0);
    EXPECT(((double (*)(double))find("vok_math_j1"))(-9.0) == 0);
    EXPECT(((const float *)find("_c2ftab"))[255] == 1.0f && ((const double *)find("_c2dtab"))[51] == 51 / 255.0);
}

int main(int argc, char **argv)
{
    if (argc != 4)
        return 2;
    zan = dlopen(argv[1], RTLD_NOW | RTLD_GLOBAL);
    if (zan)
        vokra = dlopen(argv[2], RTLD_NOW);
    if (!vokra) {
        fprintf(stderr, "foreign: %s\n", dlerror());
        return 1;
    }
    EXPECT(CALL("initialize", 0) == 0 && CALL("initialize", 0) == 0);
    the_object_kernel();
    matrices();
    operators();
    files(argv[3]);
    numbers();
    if (!failures)
        puts("foreign: right");
    return failures != 0;
}

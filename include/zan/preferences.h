/* Preferences, domains and the host's table of common symbols. */
#ifndef ZAN_PREFERENCES_H
#define ZAN_PREFERENCES_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

/* The empty symbol and 0 for a preference that nobody set. Preferences are read
 * from a small text file of "name value" lines at first use ($VOKRA_PREFERENCES,
 * else vokra/preferences.txt in the user's configuration folder). */
ZAN_EXPORT symbol *preferences_getsym(const char *name);
ZAN_EXPORT zan_word preferences_getlong(const char *name);
/* For this process; preferences_save writes them to the file, whose other lines and
 * comments ("# ...") stay. A name is one word, a value one line; the empty symbol or
 * null takes the preference away. Any thread. */
ZAN_EXPORT void preferences_setsym(const char *name, symbol *value);
ZAN_EXPORT void preferences_setlong(const char *name, zan_word value);
ZAN_EXPORT long preferences_save(void);

/* Makes a namespace of boxes for a domain: in it stand a class of the domain's name,
 * whose constructor is the one given (name, argc, argv), and a class "comment". The
 * namespace, the same one at a second call; null without a name or a constructor. */
ZAN_EXPORT symbol *patcherdomain_namespace_init(const char *name, zan_method constructor);
/* The words that host and modules have in common, in the order of the table; new ones
 * go to the end. vok_gl_texture is the message and the class of GPU textures. */
#define ZAN_COMMON_SYMBOLS(X)                                                                                     \
    X(nothing, "")                                                                                                \
    X(bang, "bang")                                                                                               \
    X(int_, "int")                                                                                                \
    X(float_, "float")                                                                                            \
    X(symbol, "symbol")                                                                                           \
    X(list, "list")                                                                                               \
    X(anything, "anything")                                                                                       \
    X(object, "object")                                                                                           \
    X(pointer, "pointer")                                                                                         \
    X(char_, "char")                                                                                              \
    X(long_, "long")                                                                                              \
    X(float32, "float32")                                                                                         \
    X(float64, "float64")                                                                                         \
    X(atom, "atom")                                                                                               \
    X(atom_long, "atom_long")                                                                                     \
    X(obsolete, "obsolete")                                                                                       \
    X(box, "box")                                                                                                 \
    X(nobox, "nobox")                                                                                             \
    X(new_, "new")                                                                                                \
    X(free, "free")                                                                                               \
    X(name, "name")                                                                                               \
    X(set, "set")                                                                                                 \
    X(get, "get")                                                                                                 \
    X(notify, "notify")                                                                                           \
    X(attr_modified, "attr_modified")                                                                             \
    X(assist, "assist")                                                                                           \
    X(loadbang, "loadbang")                                                                                       \
    X(dblclick, "dblclick")                                                                                       \
    X(clear, "clear")                                                                                             \
    X(open, "open")                                                                                               \
    X(close, "close")                                                                                             \
    X(read, "read")                                                                                               \
    X(write, "write")                                                                                             \
    X(decorator, "decorator")                                                                                     \
    X(dictionary, "dictionary")                                                                                   \
    X(atomarray, "atomarray")                                                                                     \
    X(linklist, "linklist")                                                                                       \
    X(hashtab, "hashtab")                                                                                         \
    X(vok_matrix, "vok_matrix")                                                                                   \
    X(vok_gl_texture, "vok_gl_texture")
enum {
#define ZAN_COMMON_INDEX(name, text) zan_common_##name,
    ZAN_COMMON_SYMBOLS(ZAN_COMMON_INDEX)
#undef ZAN_COMMON_INDEX
        zan_common_count
};
/* Their symbols: zan_common_count pointers, ended by null. */
ZAN_EXPORT symbol **common_symbols_gettable(void);

#ifdef __cplusplus
}
#endif
#endif

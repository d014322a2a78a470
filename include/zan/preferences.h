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

/* Makes a namespace of boxes for a domain, with a constructor for its boxes. */
ZAN_EXPORT symbol *patcherdomain_namespace_init(const char *name, zan_method constructor);
/* The host's table of common symbols: pointers, ended by null, in a fixed order. */
ZAN_EXPORT symbol **common_symbols_gettable(void);

#ifdef __cplusplus
}
#endif
#endif

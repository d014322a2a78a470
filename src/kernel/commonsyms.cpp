// The common symbols and the namespaces: their globals, and the run of gensym calls
// that fills them before anything else happens.
#include <zan/preferences.h>
#include <zan/symbols.h>

#include <vokra/commonsyms.h>

#define DEFINE(name) symbol *_vok_sym_##name;
#define DEFINE_RENAMED(name, text) DEFINE(name)
VOK_COMMON_SYMBOLS(DEFINE)
VOK_COMMON_SYMBOLS_RENAMED(DEFINE_RENAMED)

symbol *ps_vokra;
symbol *ps_vokraCFM;
symbol **_common_symbols;

void common_symbols_init(void)
{
    _common_symbols = common_symbols_gettable();
}

void vok_symbols_init(void)
{
#define FILL(name) _vok_sym_##name = gensym(#name);
#define FILL_RENAMED(name, text) _vok_sym_##name = gensym(text);
    VOK_COMMON_SYMBOLS(FILL)
    VOK_COMMON_SYMBOLS_RENAMED(FILL_RENAMED)
}

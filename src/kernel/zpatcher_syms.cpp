// The host's vocabulary for patchers and boxes as globals.
#include <zan/symbols.h>

#include <vokra/zpatcher_syms.h>

#define DEFINE(name) symbol *ps_##name;
VOK_ZPATCHER_SYMBOLS(DEFINE)

void zpatcher_syms_init(void)
{
#define FILL(name) ps_##name = gensym(#name);
    VOK_ZPATCHER_SYMBOLS(FILL)
}

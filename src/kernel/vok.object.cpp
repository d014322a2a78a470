// Objects of the library: making them by name, sending messages by name, registration
// and notification, all in the namespace `vokra`.
#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "kernel/message.h"
#include "kernel/words.h"

void *vok_object_alloc(zan_class *c)
{
    return object_alloc(c);
}

void *vok_object_new(symbol *classname, ...)
{
    zan_word w[8];
    va_list list;
    va_start(list, classname);
    vok::take_words(list, w);
    va_end(list);
    return vok_object_new_imp(classname, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}

void *vok_object_new_imp(symbol *classname, zan_word w1, zan_word w2, zan_word w3, zan_word w4, zan_word w5,
                         zan_word w6, zan_word w7, zan_word w8)
{
    initialize();
    init_late();
    return object_new_imp(ps_vokra, classname, w1, w2, w3, w4, w5, w6, w7, w8);
}

zan_word vok_object_method(void *x, symbol *selector, ...)
{
    zan_word w[8];
    va_list list;
    va_start(list, selector);
    vok::take_words(list, w);
    va_end(list);
    return object_method_imp(x, selector, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}

zan_word vok_object_method_imp(void *x, symbol *selector, zan_word w1, zan_word w2, zan_word w3, zan_word w4,
                               zan_word w5, zan_word w6, zan_word w7, zan_word w8)
{
    return object_method_imp(x, selector, w1, w2, w3, w4, w5, w6, w7, w8);
}

zan_word vok_object_method_typed(void *x, symbol *selector, long argc, atom *argv, atom *rv)
{
    return object_method_typed(x, selector, argc, argv, rv);
}

zan_method vok_object_getmethod(void *x, symbol *selector)
{
    return object_getmethod(x, selector);
}

symbol *vok_object_classname(void *x)
{
    return object_classname(x);
}

zan_class *vok_object_class(void *x)
{
    return object_class(x);
}

long vok_object_classname_compare(void *x, symbol *name)
{
    return name && object_classname(x) == name;
}

symbol *vok_object_method_argsafe_get(void *x, symbol *argname)
{
    return vok_class_method_argsafe_get(object_class(x), argname);
}

void *vok_object_attr_get(void *x, symbol *name)
{
    return object_attr_get(x, name);
}

long vok_object_attr_usercanget(void *x, symbol *name)
{
    return object_attr_usercanget(x, name);
}

long vok_object_attr_usercanset(void *x, symbol *name)
{
    return object_attr_usercanset(x, name);
}

vok_err vok_object_free(void *x)
{
    return vok_err_from_zan_err(object_free(x));
}

void *vok_object_register(void *x, symbol *name)
{
    return object_register(ps_vokra, name, x);
}

vok_err vok_object_unregister(void *x)
{
    return vok_err_from_zan_err(object_unregister(x));
}

void *vok_object_findregistered(symbol *name)
{
    return object_findregistered(ps_vokra, name);
}

symbol *vok_object_findregisteredbyptr(void *x)
{
    symbol *name_space = nullptr;
    symbol *name = nullptr;
    object_findregisteredbyptr(&name_space, &name, x);
    return name_space == ps_vokra ? name : nullptr;
}

void *vok_object_attach(symbol *name, void *client)
{
    return object_attach(ps_vokra, name, client);
}

vok_err vok_object_detach(symbol *name, void *client)
{
    return vok_err_from_zan_err(object_detach(ps_vokra, name, client));
}

long vok_object_notify(void *x, symbol *message, void *data)
{
    object_notify(x, message, data);
    return 0;
}

symbol *vok_symbol_unique(void)
{
    return symbol_unique();
}

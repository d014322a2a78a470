// Classes of the library: the host's class calls in the namespace `vokra`, with their
// results as the library's codes.
#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "kernel/message.h"
#include "kernel/words.h"

zan_class *vok_class_new(const char *name, zan_method new_fn, zan_method free_fn, long size, ...)
{
    initialize();
    long t[9];
    va_list list;
    va_start(list, size);
    vok::take_types(list, t, 9);
    va_end(list);
    zan_class *c =
        class_new(name, new_fn, free_fn, size, nullptr, t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7], t[8], 0L);
    if (!c)
        return nullptr;
    class_addmethod(c, vok::method(vok_method_true), "class_vokra", argtype_cant, 0);
    class_addmethod(c, vok::method(vok_object_importattrs), "importattrs", argtype_gimme, 0);
    class_addmethod(c, vok::method(vok_object_exportattrs), "exportattrs", argtype_gimme, 0);
    return c;
}

vok_err vok_class_free(zan_class *c)
{
    return vok_err_from_zan_err(class_free(c));
}

vok_err vok_class_register(zan_class *c)
{
    return vok_err_from_zan_err(class_register(ps_vokra, c));
}

vok_err vok_class_addattr(zan_class *c, void *attr)
{
    return vok_err_from_zan_err(class_addattr(c, attr));
}

vok_err vok_class_addadornment(zan_class *c, void *adornment)
{
    return vok_err_from_zan_err(class_addadornment(c, adornment));
}

vok_err vok_class_addmethod(zan_class *c, zan_method fn, const char *name, ...)
{
    long t[8];
    va_list list;
    va_start(list, name);
    vok::take_types(list, t, 8);
    va_end(list);
    return vok_err_from_zan_err(class_addmethod(c, fn, name, t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7], 0L));
}

vok_err vok_class_addtypedwrapper(zan_class *c, zan_method fn, const char *name, ...)
{
    long t[8];
    va_list list;
    va_start(list, name);
    vok::take_types(list, t, 8);
    va_end(list);
    return vok_err_from_zan_err(
        class_addtypedwrapper(c, fn, name, t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7], 0L));
}

zan_method vok_class_method(zan_class *c, symbol *name)
{
    return class_method(c, name);
}

zan_messlist *vok_class_mess(zan_class *c, symbol *name)
{
    return class_mess(c, name);
}

symbol *vok_class_nameget(zan_class *c)
{
    return class_nameget(c);
}

void *vok_class_adornment_get(zan_class *c, symbol *classname)
{
    return class_adornment_get(c, classname);
}

void *vok_class_attr_get(zan_class *c, symbol *name)
{
    return class_attr_get(c, name);
}

zan_method_object *vok_class_typedwrapper_get(zan_class *c, symbol *name)
{
    return class_typedwrapper_get(c, name);
}

zan_method vok_class_attr_method(zan_class *c, symbol *methodname, void **attr, void *)
{
    zan_word get = 0;
    return class_attr_method(c, methodname, attr, &get);
}

zan_class *vok_class_findbyname(symbol *name)
{
    return class_findbyname(ps_vokra, name);
}

long vok_class_symcompare(zan_class *c, symbol *name)
{
    return name && class_nameget(c) == name;
}

namespace {

symbol *argsafe_key(const char *argname)
{
    char key[256];
    snprintf_zero(key, sizeof key, "%s_argsafe", argname);
    return gensym(key);
}

} // namespace

vok_err vok_class_method_addargsafe(zan_class *c, const char *argname, const char *methodname)
{
    return vok_err_from_zan_err(class_extra_store(c, argsafe_key(argname), gensym(methodname)));
}

symbol *vok_class_method_argsafe_get(zan_class *c, symbol *argname)
{
    if (!c || !argname)
        return nullptr;
    return static_cast<symbol *>(class_extra_lookup(c, argsafe_key(argname->name)));
}

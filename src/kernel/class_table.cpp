// Hands the tables of a class to the host: what every <class>_init calls.
#include <cstring>

#include <zan/zan.h>

#include <vokra/attributes.h>
#include <vokra/commonsyms.h>

#include "kernel/class_table.h"
#include "kernel/message.h"

namespace vok {

namespace {

zan_method resolve(function f)
{
    return f ? f() : nullptr;
}

void *make_attribute(const attribute &row)
{
    symbol *type = gensym(row.type);
    if (row.size > 0)
        return make(ps_vokra, _vok_sym_vok_attr_offset_array, row.name, type, row.size, row.flags,
                    resolve(row.get), resolve(row.set), row.count, row.offset);
    return make(ps_vokra, _vok_sym_vok_attr_offset, row.name, type, row.flags, resolve(row.get), resolve(row.set),
                row.offset);
}

} // namespace

void add_messages(zan_class *c, std::span<const message> messages)
{
    for (const message &m : messages) {
        const unsigned char *t = m.tags;
        class_addmethod(c, resolve(m.fn), m.name, t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7], 0);
    }
}

void describe_attribute(zan_class *c, const char *name, const char *what, symbol *type, const char *text)
{
    class_attr_addattr_parse(c, name, what, type, 0, text);
}

void add_attributes(zan_class *c, std::span<const attribute> attributes)
{
    for (const attribute &row : attributes) {
        void *attr = make_attribute(row);
        if (!attr) {
            object_error(nullptr, "%s: out of memory for attribute %s", class_nameget(c)->name, row.name);
            continue;
        }
        if (row.clip.on)
            vok_attr_addfilter_clip(attr, row.clip.min, row.clip.max, row.clip.usemin, row.clip.usemax);
        vok_class_addattr(c, attr);

        const struct {
            const char *what;
            symbol *type;
            const char *text;
        } facts[] = {
            {"label", _vok_sym_symbol, row.label},
            {"style", _vok_sym_symbol, row.style},
            {"enumvals", _vok_sym_atom, row.enumvals},
            {"category", _vok_sym_symbol, row.category},
            {"basic", _vok_sym_long, row.basic ? "1" : nullptr},
            {"invisible", _vok_sym_long, row.invisible ? "1" : nullptr},
        };
        for (const auto &fact : facts) {
            if (!fact.text)
                continue;
            if (fact.type == _vok_sym_symbol && std::strpbrk(fact.text, " ,;")) {
                char quoted[256]; // a label of several words is one symbol
                snprintf_zero(quoted, sizeof quoted, "\"%s\"", fact.text);
                describe_attribute(c, row.name, fact.what, fact.type, quoted);
            } else {
                describe_attribute(c, row.name, fact.what, fact.type, fact.text);
            }
        }
    }
}

void mark_method(zan_class *c, const char *name, const char *what)
{
    void *methods = class_extra_lookup(c, gensym("methods"));
    void *method_object = nullptr;
    if (methods && !hashtab_lookup(methods, gensym(name), &method_object) && method_object)
        object_addattr_parse(method_object, what, _vok_sym_long, 0, "1");
}

zan_class *add_class(const class_row &row, std::span<const message> messages,
                     std::span<const attribute> attributes)
{
    zan_class *c = vok_class_new(row.name, resolve(row.new_fn), resolve(row.free_fn), row.size, argtype_cant, 0);
    if (!c) {
        object_error(nullptr, "%s: out of memory for the class", row.name);
        return nullptr;
    }
    add_messages(c, messages);
    add_attributes(c, attributes);
    vok_class_register(c);
    return c;
}

} // namespace vok

// The part that all control boxes share: their classes, constructor, attributes, the way
// of a message to them, and the texts at their inlets and outlets.
#include "box.h"

#include <cstring>
#include <string_view>

namespace boxes {
namespace {

symbol *kind_key()
{
    static symbol *const s = gensym("#kind");
    return s;
}

const kind *kind_of(zan_class *c)
{
    return static_cast<const kind *>(class_extra_lookup(c, kind_key()));
}

void heard(shell *x, symbol *selector, long argc, atom *argv)
{
    if (x->self)
        x->self->hear(proxy_getinlet(x), {selector, argc, argv});
}

const attribute *attribute_of(shell *x, void *attr)
{
    auto *name = reinterpret_cast<symbol *>(object_method_imp(attr, gensym("getname"), 0, 0, 0, 0, 0, 0, 0, 0));
    for (const attribute &a : kind_of(object_class(x))->attributes)
        if (name == gensym(a.name))
            return &a;
    return nullptr;
}

long get_attribute(shell *x, void *attr, long *argc, atom **argv)
{
    const attribute *a = attribute_of(x, attr);
    char alloc = 0;
    if (!a || !x->self || atom_alloc_array(1, argc, argv, &alloc) || *argc < 1)
        return zan_err_generic;
    **argv = a->get(*x->self);
    *argc = 1;
    return zan_err_none;
}

long set_attribute(shell *x, void *attr, long argc, atom *argv)
{
    const attribute *a = attribute_of(x, attr);
    if (!a || !x->self || argc < 1)
        return zan_err_generic;
    a->set(*x->self, argv[0]);
    return zan_err_none;
}

// "@name value ..." up to the end of a box's arguments.
void set_from_arguments(shell *x, std::span<atom> args)
{
    for (size_t i = 0; i < args.size();) {
        const char *name = atom_getsym(&args[i])->name + 1;
        size_t end = i + 1;
        while (end < args.size() && !(atom_getsym(&args[end]) && atom_getsym(&args[end])->name[0] == '@'))
            end++;
        if (!object_attr_get(x, gensym(name)))
            object_error(x, "\"%s\" is not a valid attribute argument", name);
        else if (end == i + 1)
            object_error(x, "the attribute argument \"%s\" has no value", name);
        else
            object_attr_setvalueof(x, gensym(name), long(end - i - 1), &args[i + 1]);
        i = end;
    }
}

void *make_box(symbol *name, long argc, atom *argv)
{
    zan_class *c = class_findbyname(gensym("box"), name);
    const kind *what = c ? kind_of(c) : nullptr;
    auto *x = what ? static_cast<shell *>(newobject(c)) : nullptr;
    if (!x)
        return nullptr;
    const std::span<atom> all(argv, size_t(argc < 0 || !argv ? 0 : argc));
    const auto plain = size_t(attr_args_offset(long(all.size()), all.data()));
    try {
        x->self = what->make({x, what, all.first(plain)}).release();
    } catch (const std::exception &trouble) {
        object_error(x, "can't be made: %s", trouble.what());
        object_free(x);
        return nullptr;
    }
    set_from_arguments(x, all.subspan(plain));
    return x;
}

void free_box(shell *x)
{
    delete x->self;
    x->self = nullptr;
}

// The text number `index` of a row of texts parted by "|".
std::string_view nth(std::string_view texts, long index)
{
    for (size_t bar; index-- > 0 && (bar = texts.find('|')) != texts.npos;)
        texts.remove_prefix(bar + 1);
    return texts.substr(0, texts.find('|'));
}

// What a person is told who points at an inlet (kind 1) or an outlet.
void assist(shell *x, void *, long in_or_out, long index, char *text)
{
    const kind *what = kind_of(object_class(x));
    const std::string found(nth(in_or_out == 1 ? what->inlets : what->outlets, index));
    strncpy_zero(text, found.c_str(), 256);
}

void add_kind(const kind &row)
{
    zan_class *c = class_new(row.name, erase(make_box), erase(free_box), sizeof(shell), nullptr, argtype_gimme, 0);
    if (!c)
        return;
    class_extra_store(c, kind_key(), const_cast<kind *>(&row));
    zan_class_setdigest(c, row.digest);
    if (row.as_written)
        class_extra_store(c, gensym("#unread"), c);
    std::string_view rest = row.words;
    if (rest == "anything")
        rest = "bang int float list anything";
    while (!rest.empty()) {
        const size_t end = std::min(rest.find(' '), rest.size());
        class_addmethod(c, erase(heard), std::string(rest.substr(0, end)).c_str(), argtype_gimme, 0);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    class_addmethod(c, erase(assist), "assist", argtype_cant, 0);
    class_addmethod(c, erase(stdinletinfo), "inletinfo", argtype_cant, 0);
    for (const attribute &a : row.attributes) {
        class_addattr(c, attribute_new(a.name, gensym(a.type), 0, erase(get_attribute), erase(set_attribute)));
        class_attr_addattr_parse(c, a.name, "label", gensym("symbol"), 0,
                                 ("\"" + std::string(a.label) + "\"").c_str());
    }
    class_register(gensym("box"), c);
}

} // namespace

const vocabulary &words()
{
    static const vocabulary v;
    return v;
}

bool is_number(const atom &a)
{
    return a.type == argtype_long || a.type == argtype_float;
}

bool is_bang(const message &m)
{
    return m.selector == words().bang || (m.selector == words().list && m.argc == 0);
}

const atom *number_of(const message &m)
{
    const vocabulary &w = words();
    const bool numbered = m.selector == w.an_int || m.selector == w.a_float || m.selector == w.list;
    return numbered && m.argc > 0 && is_number(m.argv[0]) ? m.argv : nullptr;
}

std::vector<atom> atoms_of(const message &m)
{
    const vocabulary &w = words();
    std::vector<atom> atoms;
    if (m.selector != w.an_int && m.selector != w.a_float && m.selector != w.list && m.selector != w.bang) {
        atoms.emplace_back();
        atom_setsym(&atoms[0], m.selector);
    }
    atoms.insert(atoms.end(), m.argv, m.argv + m.argc);
    return atoms;
}

message message_of(std::span<atom> atoms)
{
    const vocabulary &w = words();
    if (atoms.empty())
        return {w.bang, 0, nullptr};
    const auto count = long(atoms.size());
    if (symbol *s = atom_getsym(&atoms[0]))
        return {s, count - 1, atoms.data() + 1};
    if (count == 1 && is_number(atoms[0]))
        return {atoms[0].type == argtype_long ? w.an_int : w.a_float, 1, atoms.data()};
    return {w.list, count, atoms.data()};
}

void send(void *outlet, const message &m)
{
    outlet_anything(outlet, m.selector, m.argc, m.argv);
}

void send_number(void *outlet, const atom &a)
{
    atom copy = a;
    send(outlet, message_of({&copy, 1}));
}

std::string text_of(std::span<const atom> atoms)
{
    long size = 0;
    char *text = nullptr;
    if (atom_gettext(long(atoms.size()), atoms.data(), &size, &text, zan_gettext_sym_no_quote) || !text)
        return "";
    std::string result = text;
    sysmem_freeptr(text);
    return result;
}

void box::shape(long inlets, long outlets)
{
    for (long i = inlets - 1; i > 0; i--)
        proxy_new(x, i, &x->inlet);
    out.resize(size_t(outlets));
    for (long i = outlets - 1; i >= 0; i--)
        out[size_t(i)] = outlet_new(x, nullptr);
}

void box::error(const std::string &text) const
{
    object_error(x, "%s", text.c_str());
}

void box::misfit(long inlet, const message &m, const char *wanted) const
{
    error("inlet " + std::to_string(inlet) + " takes " + wanted + ", not \"" + m.selector->name + "\"");
}

const atom *box::argument(const birth &b, size_t index) const
{
    if (index >= b.args.size())
        return nullptr;
    if (is_number(b.args[index]))
        return &b.args[index];
    error("argument " + std::to_string(index + 1) + " is a number (" + b.what->arguments + "), found \"" +
          text_of(b.args.subspan(index, 1)) + "\"");
    return nullptr;
}

double box::number(const birth &b, size_t index, double otherwise) const
{
    const atom *a = argument(b, index);
    return a ? atom_getfloat(a) : otherwise;
}

long box::whole(const birth &b, size_t index, long otherwise) const
{
    const atom *a = argument(b, index);
    return a ? atom_getlong(a) : otherwise;
}

void add_kinds(std::span<const kind> rows)
{
    for (const kind &row : rows)
        add_kind(row);
}

} // namespace boxes

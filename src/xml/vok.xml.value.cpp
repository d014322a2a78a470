// Values of nodes: atoms or text, each had as the other, and the text form of atoms.
#include <algorithm>
#include <cstring>

#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/memory.h>

#include "kernel/atoms.h"
#include "xml/xml.h"

using namespace vok::xml;

namespace {

constexpr long max_words = 2048;      // that text is read into
constexpr size_t max_text = 8192 - 1; // that atoms are written as

void append_atom(std::string &text, const atom &a)
{
    char number[400]; // the longest float has 309 digits ahead of its point
    switch (a.type) {
    case argtype_long:
        text.append(number, size_t(snprintf_zero(number, sizeof number, "%ld ", long(a.value.as_long))));
        break;
    case argtype_float: {
        auto length = size_t(snprintf_zero(number, sizeof number, "%f", a.value.as_float));
        while (length > 1 && number[length - 1] == '0')
            length--;
        text.append(number, length) += ' ';
        break;
    }
    case argtype_sym:
        if (a.value.as_sym)
            text += a.value.as_sym->name;
        text += ' ';
        break;
    case argtype_obj:
        if (symbol *name = a.value.as_obj ? object_classname(a.value.as_obj) : nullptr)
            text += name->name;
        text += ' ';
        break;
    case argtype_dollar:
        text.append(number, size_t(snprintf_zero(number, sizeof number, "$%ld ", long(a.value.as_long))));
        break;
    case argtype_dollsym:
        text += '$';
        if (a.value.as_sym)
            text += a.value.as_sym->name;
        break;
    default: break;
    }
}

void cut_blank(std::string &text)
{
    if (!text.empty() && text.back() == ' ')
        text.pop_back();
}

std::string text_of(const vok_xml_node *x)
{
    if (x->valuekind == vok_xml_value_text)
        return x->nodevaluestring;
    std::string text;
    for (long i = 0; i < x->nodevaluecount && text.size() < max_text; i++)
        append_atom(text, x->nodevalue[i]);
    if (text.size() > max_text)
        text.resize(max_text);
    cut_blank(text);
    return text;
}

long read_words(const char *text, long max, atom *words)
{
    char token[8]; // only the atom is of use
    long count = 0, index = 0;
    while (count < max && readatom(token, text, &index, sizeof token, words + count))
        count++;
    return count;
}

// A value as atoms, for the time of a call.
struct value_atoms {
    const atom *argv = nullptr;
    long argc = 0;
    atom words[max_words];

    explicit value_atoms(const vok_xml_node *x, long max = max_words)
    {
        if (x && x->valuekind == vok_xml_value_atoms) {
            argv = x->nodevalue;
            argc = x->nodevaluecount;
        } else if (x && x->valuekind == vok_xml_value_text) {
            argv = words;
            argc = read_words(x->nodevaluestring, max, words);
        }
    }
};

vok_err give_atoms(const atom *from, long count, long *argc, atom **argv)
{
    if (const vok_err err = vok::reserve_atoms(count, argc, argv))
        return err;
    std::copy_n(from, *argc, *argv);
    return VOK_ERR_NONE;
}

// ---- one atom as each kind of value, and back ----

template <typename T> T get(const atom *a)
{
    if constexpr (std::is_same_v<T, symbol *>) {
        symbol *s = a ? atom_getsym(a) : nullptr;
        return s ? s : _vok_sym_nothing;
    } else if constexpr (std::is_floating_point_v<T>) {
        return a ? static_cast<T>(atom_getfloat(a)) : 0;
    } else {
        return a ? atom_getlong(a) : 0;
    }
}

template <typename T> void set(atom *a, T value)
{
    if constexpr (std::is_same_v<T, symbol *>)
        atom_setsym(a, value);
    else if constexpr (std::is_floating_point_v<T>)
        atom_setfloat(a, value);
    else
        atom_setlong(a, value);
}

template <typename T> T get_first(void *node)
{
    const value_atoms value(node_of(node), 1);
    return get<T>(value.argc > 0 ? value.argv : nullptr);
}

template <typename E> long get_array(void *node, long max, E *values)
{
    const value_atoms value(node_of(node));
    for (long i = 0; values && i < std::min(max, value.argc); i++)
        values[i] = get<E>(value.argv + i);
    return value.argc;
}

template <typename E> vok_err set_array(void *node, long count, E const *values)
{
    atom atoms[max_words];
    count = values ? std::clamp(count, 0L, max_words) : 0;
    for (long i = 0; i < count; i++)
        set<E>(atoms + i, values[i]);
    return vok_xml_node_nodevalue(node, nullptr, count, atoms);
}

} // namespace

vok_err vok_xml_node_nodevalue(void *node, void *, long argc, atom *argv)
{
    if (!node)
        return VOK_ERR_EROR;
    vok_xml_node *x = node_of(node);
    argc = argv ? std::max(argc, 0L) : 0;
    auto *copy = argc ? static_cast<atom *>(vok_getbytes(argc * long{sizeof(atom)})) : nullptr;
    if (argc && !copy)
        return VOK_ERR_OMEM;
    std::copy_n(argv, argc, copy);
    vok_xml_node_nodevalue_clear(x);
    x->nodevalue = copy;
    x->nodevaluecount = argc;
    x->valuekind = vok_xml_value_atoms;
    return VOK_ERR_NONE;
}

vok_err vok_xml_node_getnodevalue(void *node, void *, long *argc, atom **argv)
{
    if (!node || !argc || !argv)
        return VOK_ERR_EROR;
    const value_atoms value(node_of(node));
    if (value.argv)
        return give_atoms(value.argv, value.argc, argc, argv);
    *argc = 0;
    return VOK_ERR_NONE;
}

vok_err vok_xml_node_setnodevalasstring(void *node, const char *text)
{
    if (!node)
        return VOK_ERR_EROR;
    vok_xml_node *x = node_of(node);
    const std::string_view from = text ? text : "";
    auto *copy = static_cast<char *>(vok_getbytes(long(from.size()) + 1));
    if (!copy)
        return VOK_ERR_OMEM;
    std::copy_n(from.data(), from.size(), copy);
    copy[from.size()] = 0;
    vok_xml_node_nodevalue_clear(x);
    x->nodevaluestring = copy;
    x->valuekind = vok_xml_value_text;
    return VOK_ERR_NONE;
}

vok_err vok_xml_node_getnodevalasstring(void *node, long *size, char **text)
{
    if (!node || !size || !text)
        return VOK_ERR_EROR;
    const vok_xml_node *x = node_of(node);
    const std::string whole = x->valuekind == vok_xml_value_none ? std::string() : text_of(x);
    if (*size <= 0 || !*text) {
        *size = long(whole.size()) + 1;
        *text = static_cast<char *>(sysmem_newptr(*size));
        if (!*text) {
            *size = 0;
            return VOK_ERR_OMEM;
        }
    }
    strncpy_zero(*text, whole.c_str(), *size);
    return x->valuekind == vok_xml_value_none ? VOK_ERR_EROR : VOK_ERR_NONE;
}

void vok_xml_node_nodevalue_clear(void *node)
{
    vok_xml_node *x = node_of(node);
    if (!x)
        return;
    for (long i = 0; x->nodevalue && i < x->nodevaluecount; i++)
        if (x->nodevalue[i].type == argtype_obj && x->nodevalue[i].value.as_obj)
            vok_object_free(x->nodevalue[i].value.as_obj);
    if (x->nodevalue)
        vok_freebytes(x->nodevalue, x->nodevaluecount * long{sizeof(atom)});
    if (x->nodevaluestring)
        vok_freebytes(x->nodevaluestring, long(std::strlen(x->nodevaluestring)) + 1);
    x->nodevalue = nullptr;
    x->nodevaluecount = 0;
    x->nodevaluestring = nullptr;
    x->valuekind = vok_xml_value_none;
}

#define DEFINE(tail, T, E)                                                                                        \
    T vok_xml_node_getnodevalue_##tail(void *node, void *)                                                        \
    {                                                                                                             \
        return get_first<T>(node);                                                                                \
    }                                                                                                             \
    vok_err vok_xml_node_nodevalue_##tail(void *node, T value)                                                    \
    {                                                                                                             \
        return set_array<T>(node, 1, &value);                                                                     \
    }                                                                                                             \
    long vok_xml_node_getnodevalue_##tail##_array(void *node, long max, E *values)                                \
    {                                                                                                             \
        return get_array<E>(node, max, values);                                                                   \
    }                                                                                                             \
    vok_err vok_xml_node_nodevalue_##tail##_array(void *node, long count, E const *values)                        \
    {                                                                                                             \
        return set_array<E>(node, count, values);                                                                 \
    }
VOK_XML_VALUE_TYPES(DEFINE)
#undef DEFINE

void vok_xml_appendatom(const atom *a, char *text)
{
    if (!a || !text)
        return;
    std::string more;
    append_atom(more, *a);
    std::strcat(text, more.c_str());
}

void vok_xml_atoms_totext(char *text, long argc, const atom *argv)
{
    if (!text)
        return;
    std::string whole;
    for (long i = 0; argv && i < argc; i++)
        append_atom(whole, argv[i]);
    cut_blank(whole);
    std::copy_n(whole.c_str(), whole.size() + 1, text);
}

vok_err vok_xml_text_toatoms(const char *text, long *argc, atom *argv)
{
    if (!text || !argc || !argv)
        return VOK_ERR_EROR;
    *argc = read_words(text, *argc > 0 ? *argc : max_words, argv);
    return VOK_ERR_NONE;
}

// Nearest words, and what an object understands. Reached from messages (dispatch.cpp), from
// script text (binbuf.cpp) and from patches.
#include "near_words.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace zan {
namespace {

constexpr size_t longest = 64; // no one wants a hint on longer words

long edits(std::string_view a, std::string_view b)
{
    long row[longest + 1];
    for (size_t j = 0; j <= b.size(); j++)
        row[j] = long(j);
    for (size_t i = 1; i <= a.size(); i++) {
        long diagonal = row[0];
        row[0] = long(i);
        for (size_t j = 1; j <= b.size(); j++) {
            const long changed = diagonal + (a[i - 1] != b[j - 1]);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
        }
    }
    return row[b.size()];
}

bool is_public(const zan_messlist *entry)
{
    return entry && entry->types[0] != argtype_cant;
}

bool has_getter(zan_class *c, const char *name)
{
    return is_public(class_mess(c, gensym((std::string("get") + name).c_str())));
}

template <class F> void each_method(const zan_class *c, F &&call)
{
    for (zan_messlist *e = c->methods; const symbol *name = entry_name(e); ++e)
        if (is_public(e))
            call(name->name);
}

void consider_own_attributes(near_word &near, void *x)
{
    long count = 0;
    symbol **names = nullptr;
    if (!object_attr_getnames(x, &count, &names))
        for (long i = 0; i < count; i++)
            near.consider(names[i]->name);
    sysmem_freeptr(names);
}

} // namespace

near_word::near_word(std::string_view wrong) : wrong_(wrong), best_distance_(long(wrong.size()) / 3 + 2) {}

void near_word::consider(std::string_view right)
{
    const long longer = long(right.size()) - long(wrong_.size());
    if (right == wrong_ || wrong_.size() > longest || right.size() > longest || std::abs(longer) >= best_distance_)
        return;
    if (const long d = edits(wrong_, right); d < best_distance_) {
        best_distance_ = d;
        best_ = right;
    }
}

std::string near_word::hint() const
{
    return best_.empty() ? "" : "; did you mean " + std::string(best_) + "?";
}

symbol *selector_of(long argc, const atom *argv, long *from)
{
    *from = 0;
    if (argc == 0)
        return gensym("bang");
    if (argv->type == argtype_sym) {
        *from = 1;
        return argv->value.as_sym;
    }
    return gensym(argc > 1 || argv->type == argtype_obj ? "list" : argv->type == argtype_float ? "float" : "int");
}

bool understands(void *x, symbol *selector)
{
    if (const zan_messlist *entry = object_mess(x, selector))
        return is_public(entry);
    if (object_attr_get(x, selector))
        return true;
    if (!std::strncmp(selector->name, "get", 3) && object_attr_get(x, gensym(selector->name + 3)))
        return true;
    return is_public(object_mess(x, gensym("anything"))) || zgetfn(x, gensym("decorator"));
}

bool takes(void *x, symbol *selector)
{
    if (understands(x, selector))
        return true;
    symbol *const forms[] = {gensym("int"), gensym("float"), gensym("list")};
    const auto understood = [x](symbol *form) { return is_public(object_mess(x, form)); };
    return std::count(std::begin(forms), std::end(forms), selector) &&
           std::any_of(std::begin(forms), std::end(forms), understood);
}

void consider_messages(near_word &near, void *x)
{
    each_method(object_class(x), [&](const char *name) { near.consider(name); });
    consider_own_attributes(near, x);
}

void consider_attributes(near_word &near, void *x)
{
    zan_class *c = object_class(x);
    each_method(c, [&](const char *name) {
        if (has_getter(c, name))
            near.consider(name);
    });
    consider_own_attributes(near, x);
}

bool has_attribute(zan_class *c, symbol *name)
{
    return class_attr_get(c, name) || has_getter(c, name->name);
}

} // namespace zan

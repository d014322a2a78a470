// What the tests of the object kernel share: words from pointers, messages by name,
// and a class that goes when the test ends.
#pragma once
#include <initializer_list>
#include <scratch.h>

inline symbol *S(const char *text)
{
    return gensym(text);
}

template <class T> zan_word W(T *p)
{
    return reinterpret_cast<zan_word>(p);
}
inline zan_word W(long value)
{
    return value;
}

template <class... Words> zan_word send(void *x, const char *message, Words... words)
{
    zan_word w[8] = {W(words)...};
    return object_method_imp(x, gensym(message), w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}

template <class F> zan_method M(F *fn)
{
    return reinterpret_cast<zan_method>(fn);
}

inline atom A(long value)
{
    atom a{};
    atom_setlong(&a, value);
    return a;
}
inline atom A(int value)
{
    return A(static_cast<long>(value));
}
inline atom A(double value)
{
    atom a{};
    atom_setfloat(&a, value);
    return a;
}
inline atom A(const char *value)
{
    atom a{};
    atom_setsym(&a, gensym(value));
    return a;
}
inline atom A(void *value)
{
    atom a{};
    atom_setobj(&a, value);
    return a;
}

// An atom as text, for comparing.
inline std::string text_of(const atom &a)
{
    switch (a.type) {
    case argtype_nothing: return "nothing";
    case argtype_long: return std::to_string(a.value.as_long);
    case argtype_float: return std::to_string(a.value.as_float) + "f";
    case argtype_sym: return a.value.as_sym->name;
    default: return "object";
    }
}

inline std::string text_of(long argc, const atom *argv)
{
    std::string text;
    for (long i = 0; i < argc; ++i)
        text += (i ? " " : "") + text_of(argv[i]);
    return text;
}

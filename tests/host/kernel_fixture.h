// What the tests of the object kernel share: words from pointers, messages by name,
// atoms and their text, and functions for clocks, qelems and the scheduler.
#pragma once
#include <functional>
#include <scratch.h>

inline symbol *S(const char *text)
{
    return gensym(text);
}

template <class T> zan_word W(T value)
{
    if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<zan_word>(value);
    else
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

template <class T> atom A(T value)
{
    atom a{};
    if constexpr (std::is_integral_v<T>)
        atom_setlong(&a, value);
    else if constexpr (std::is_floating_point_v<T>)
        atom_setfloat(&a, value);
    else if constexpr (std::is_convertible_v<T, const char *>)
        atom_setsym(&a, gensym(value));
    else
        atom_setobj(&a, value);
    return a;
}

// Atoms as text, for comparing.
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

template <class F> void in_scheduler(F fn)
{
    zan_in_scheduler([](void *f) { (*static_cast<F *>(f))(); }, &fn);
}

// A clock or qelem that does what a test says.
struct timed {
    explicit timed(std::function<void()> f, bool clock = true) : act(std::move(f))
    {
        const auto run = [](void *p) { static_cast<timed *>(p)->act(); };
        handle = clock ? clock_new(this, run) : qelem_new(this, run);
    }
    ~timed() { object_free(handle); }
    timed(const timed &) = delete;
    timed &operator=(const timed &) = delete;
    operator void *() const { return handle; }
    std::function<void()> act;
    void *handle;
};

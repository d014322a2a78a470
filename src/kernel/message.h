// Sending messages from C++: any word-sized arguments, the rest filled with zeros,
// so that no method ever reads an argument that nobody gave.
#pragma once
#include <type_traits>

#include <zan/objects.h>

namespace vok {

template <typename T> zan_word word(T value)
{
    if constexpr (std::is_pointer_v<T>) {
        if constexpr (std::is_function_v<std::remove_pointer_t<T>>)
            return reinterpret_cast<zan_word>(value);
        else
            return reinterpret_cast<zan_word>(const_cast<void *>(static_cast<const volatile void *>(value)));
    } else if constexpr (std::is_null_pointer_v<T>) {
        return 0;
    } else {
        static_assert(std::is_integral_v<T> || std::is_enum_v<T>, "only words travel in a message");
        return static_cast<zan_word>(value);
    }
}

// Sends `selector` to x with up to eight words.
template <typename... Args> zan_word send(void *x, symbol *selector, Args... args)
{
    static_assert(sizeof...(args) <= 8, "a message carries eight words");
    const zan_word w[8] = {word(args)...};
    return object_method_imp(x, selector, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}

// The same for a method that answers with a pointer.
template <typename T, typename... Args> T *ask(void *x, symbol *selector, Args... args)
{
    return reinterpret_cast<T *>(send(x, selector, args...));
}

// Makes an object of the namespace `space` with up to eight words.
template <typename... Args> void *make(symbol *space, symbol *classname, Args... args)
{
    static_assert(sizeof...(args) <= 8, "a constructor takes eight words");
    const zan_word w[8] = {word(args)...};
    return object_new_imp(space, classname, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}

// A function as the untyped pointer that the tables of the host hold.
template <typename R, typename... A> zan_method method(R (*fn)(A...))
{
    return reinterpret_cast<zan_method>(fn);
}

} // namespace vok

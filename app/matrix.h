// A matrix of the library as the program holds it: owned, reached by messages.
#pragma once
#include <initializer_list>
#include <string>
#include <utility>

#include <vokra/vokra.h>
#include <zan/zan.h>

#include "program.h"

namespace program {

// Sends a message with words.
template <typename... Args> zan_word send(void *x, const char *selector, Args... args)
{
    const zan_word w[8] = {(zan_word)args...};
    return object_method_imp(x, gensym(selector), w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}

// A library object that is freed at the end of its scope.
class owned {
  public:
    explicit owned(void *x = nullptr) : x_(x) {}
    owned(owned &&other) noexcept : x_(std::exchange(other.x_, nullptr)) {}
    owned &operator=(owned &&other) noexcept
    {
        std::swap(x_, other.x_);
        return *this;
    }
    ~owned()
    {
        if (x_)
            vok_object_free(x_);
    }
    void *get() const { return x_; }
    explicit operator bool() const { return x_ != nullptr; }

  private:
    void *x_;
};

// A list of the library that doesn't own what is in it.
class list {
  public:
    list(std::initializer_list<void *> items = {}) : x_(vok_object_new(gensym("vok_linklist")))
    {
        for (void *item : items)
            append(item);
    }
    ~list() { send(x_, "chuck"); }
    list(const list &) = delete;
    list &operator=(const list &) = delete;
    void append(void *item) { send(x_, "append", item); }
    void *get() const { return x_; }

  private:
    void *x_;
};

class matrix {
  public:
    matrix() : matrix(default_info()) {}
    // A matrix that can't be made fails; nothing is made silently smaller.
    explicit matrix(vok_matrix_info info);
    void *get() const { return x_.get(); }
    vok_matrix_info info() const;
    // Another shape, zeroed.
    void reshape(vok_matrix_info info);
    // The first cell; rows and higher dimensions follow by info().dimstride.
    unsigned char *data() const;
    // The first cell of row `row` of slice `slice`, slices counted over all dimensions
    // above the second.
    static long offset_of_row(const vok_matrix_info &info, long slice, long row);
    static long slice_count(const vok_matrix_info &info);
    // "char 4 planes 640x480"
    static std::string shape_text(const vok_matrix_info &info);
    static vok_matrix_info default_info();

  private:
    owned x_;
};

} // namespace program

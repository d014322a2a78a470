// What every room that touches cells goes by: a matrix held locked with its info and
// data at hand. Locks nest; they are given back in the reverse order of their taking, on
// whatever road the function leaves.
#pragma once
#include <memory>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/matrix.h>

#include "kernel/message.h"

namespace vok {

// Whether the object is there and answers as a matrix.
inline bool is_matrix(void *x)
{
    return x && send(x, _vok_sym_class_vok_matrix);
}

// An object that goes with its scope.
struct object_freer {
    void operator()(void *x) const { vok_object_free(x); }
};
using owned_object = std::unique_ptr<void, object_freer>;

// Any object that answers as a matrix, reached by message. A null object, or one
// that isn't a matrix, has null data and a dimcount of 0.
class matrix_lock {
  public:
    explicit matrix_lock(void *matrix) : matrix_(matrix)
    {
        info.size = 0;
        info.type = nullptr;
        info.dimcount = 0;
        info.planecount = 0;
        if (!matrix_)
            return;
        save_ = send(matrix_, _vok_sym_lock, 1);
        read();
    }
    matrix_lock(const matrix_lock &) = delete;
    matrix_lock &operator=(const matrix_lock &) = delete;
    ~matrix_lock() { restore(); }

    // Info and data anew, behind something that may have changed the matrix.
    void read()
    {
        send(matrix_, _vok_sym_getinfo, &info);
        send(matrix_, _vok_sym_getdata, &data);
    }
    // Gives the lock back before the end of the scope; `data` is not to be used then.
    void restore()
    {
        if (matrix_)
            send(matrix_, _vok_sym_lock, save_);
        matrix_ = nullptr;
    }

    vok_matrix_info info;
    unsigned char *data = nullptr;

  private:
    void *matrix_;
    zan_word save_ = 0;
};

// The same for a matrix whose record is at hand: its own fields stay the info and
// the data, which are up to date again after the end of the scope.
class matrix_pin {
  public:
    explicit matrix_pin(vok_matrix *x) : x_(x), save_(vok_matrix_lock(x, 1)) {}
    matrix_pin(const matrix_pin &) = delete;
    matrix_pin &operator=(const matrix_pin &) = delete;
    ~matrix_pin() { vok_matrix_lock(x_, save_); }

  private:
    vok_matrix *x_;
    zan_word save_;
};

// Bytes of one element as it is allocated; 0 for an unknown type. Symbol, object and
// pointer cells are 8 here although vok_matrix_info_typesize calls them 4.
long matrix_elementsize(const symbol *type);

} // namespace vok

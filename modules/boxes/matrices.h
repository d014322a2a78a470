// What boxes of matrices share.
#pragma once
#include "box.h"

#include <vokra/vokra.h>

namespace boxes {

// Holds a matrix's lock while it lives.
class matrix_lock {
  public:
    explicit matrix_lock(void *matrix)
        : matrix_(matrix), before_(vok_object_method(matrix, _vok_sym_lock, long(1)))
    {
    }
    ~matrix_lock() { vok_object_method(matrix_, _vok_sym_lock, before_); }
    matrix_lock(const matrix_lock &) = delete;
    matrix_lock &operator=(const matrix_lock &) = delete;

  private:
    void *matrix_;
    zan_word before_;
};

inline bool is_matrix(void *x)
{
    return x && vok_object_method(x, gensym("class_vok_matrix")) != 0;
}

inline vok_matrix_info info_of(void *matrix)
{
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    vok_object_method(matrix, _vok_sym_getinfo, &info);
    return info;
}

inline void send_matrix(void *outlet, symbol *name)
{
    atom a;
    atom_setsym(&a, name);
    outlet_anything(outlet, words().vok_matrix, 1, &a);
}

} // namespace boxes

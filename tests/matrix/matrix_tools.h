// What tests of matrices share: a matrix that goes with its scope, lists of atoms from
// text, and messages by name.
#pragma once
#include <cstdlib>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/matrix.h>
#include <vokra/memory.h>
#include <zan/zan.h>

class Library : public testing::Test {
  protected:
    static void SetUpTestSuite() { initialize(); }
};

template <typename Row> class LibraryTable : public testing::TestWithParam<Row> {
  protected:
    static void SetUpTestSuite() { initialize(); }
};

inline vok_matrix_info shape(const char *type, long planes, const std::vector<long> &dims, long flags = 0)
{
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    info.type = gensym(type);
    info.planecount = planes;
    info.dimcount = static_cast<long>(dims.size());
    std::copy(dims.begin(), dims.end(), info.dim);
    info.flags = flags;
    return info;
}

// "char 4 320 240"
inline std::string format_of(const vok_matrix_info &info)
{
    std::string text = info.type->name + (" " + std::to_string(info.planecount));
    for (long i = 0; i < info.dimcount; i++)
        text += " " + std::to_string(info.dim[i]);
    return text;
}

// A matrix made by class name, as a client makes it.
class matrix {
  public:
    explicit matrix(const vok_matrix_info &info)
        : x_(static_cast<vok_matrix *>(vok_object_new(_vok_sym_vok_matrix, &info, 0L, 0L, 0L, 0L, 0L, 0L, 0L)))
    {
    }
    matrix(const char *type, long planes, const std::vector<long> &dims, long flags = 0)
        : matrix(shape(type, planes, dims, flags))
    {
    }
    ~matrix() { vok_object_free(x_); }
    matrix(const matrix &) = delete;
    matrix &operator=(const matrix &) = delete;

    operator vok_matrix *() const { return x_; }
    vok_matrix *operator->() const { return x_; }

  private:
    vok_matrix *x_;
};

inline zan_word send_words(void *x, const char *selector, zan_word w1 = 0, zan_word w2 = 0, zan_word w3 = 0)
{
    return vok_object_method(x, gensym(selector), w1, w2, w3, 0L, 0L, 0L, 0L, 0L);
}

template <typename T> zan_word as_word(T *p)
{
    return reinterpret_cast<zan_word>(p);
}
inline zan_word as_word(const matrix &m)
{
    return as_word(static_cast<vok_matrix *>(m));
}

// "3 0.5 val": whole numbers as longs, numbers with a point as floats, else symbols.
inline std::vector<atom> atoms(const std::string &text)
{
    std::vector<atom> list;
    std::istringstream in(text);
    for (std::string word; in >> word;) {
        atom a;
        char *end = nullptr;
        const long whole = std::strtol(word.c_str(), &end, 10);
        if (!*end) {
            atom_setlong(&a, whole);
        } else {
            const double number = std::strtod(word.c_str(), &end);
            *end ? atom_setsym(&a, gensym(word.c_str())) : atom_setfloat(&a, number);
        }
        list.push_back(a);
    }
    return list;
}

// A list message with the selector and the atoms of a text.
inline vok_err message(void *x, const char *selector, const std::string &arguments)
{
    std::vector<atom> list = atoms(arguments);
    return send_words(x, selector, as_word(gensym(selector)), static_cast<zan_word>(list.size()),
                      as_word(list.data()));
}

// The values of a cell as text, "" for none.
inline std::string cell(vok_matrix *x, const std::string &coordinates)
{
    std::vector<atom> list = atoms(coordinates);
    long rac = 0;
    atom *rav = nullptr;
    if (vok_matrix_getcell(x, nullptr, static_cast<long>(list.size()), list.data(), &rac, &rav) || !rav)
        return "";
    std::ostringstream text;
    for (long i = rac - x->info.planecount; i < rac; i++) {
        text << (i > rac - x->info.planecount ? " " : "");
        if (rav[i].type == argtype_long)
            text << atom_getlong(rav + i);
        else if (rav[i].type == argtype_float)
            text << atom_getfloat(rav + i);
        else
            text << (rav[i].type == argtype_sym ? "'" + std::string(atom_getsym(rav + i)->name) + "'" : "?");
    }
    vok_freebytes(rav, rac * static_cast<long>(sizeof(atom)));
    return text.str();
}

// Boxes of matrix operators for tests, made through the public calls as any module makes
// them; an ear that takes down what comes out of them; named matrices.
#pragma once
#include "bridge/hearing.h"
#include "scratch.h"

struct test_box {
    object ob;
    void *obex;
};

inline void free_test_box(test_box *x)
{
    zan_vok_mop_free(x);
    vok_object_free(zan_vok_obex_vokob_get(x));
    zan_vok_obex_free(x);
}

// A box class round a library class.
inline zan_class *new_box_class(const char *name, const char *vokclass, long flags = 0)
{
    zan_class *c = class_new(name, nullptr, erase(free_test_box), sizeof(test_box), nullptr, argtype_cant, 0);
    zan_class *wrapped = vok_class_findbyname(gensym(vokclass));
    zan_vok_class_obex_setup(c, offsetof(test_box, obex));
    zan_vok_class_wrap_standard(c, wrapped, 0);
    EXPECT_EQ(zan_vok_class_mop_wrap(c, wrapped, flags), 0) << name;
    return c;
}

inline void *new_box(zan_class *c, const char *vokclass, const std::string &arguments = "")
{
    std::vector<atom> list = atoms(arguments);
    const long argc = static_cast<long>(list.size());
    void *x = zan_vok_obex_new(c, gensym(vokclass));
    zan_vok_mop_setup_simple(x, vok_object_new_imp(gensym(vokclass), 0, 0, 0, 0, 0, 0, 0, 0), argc, list.data());
    zan_vok_attr_args(x, argc, list.data());
    return x;
}

// A box that goes with its scope.
class boxed {
  public:
    explicit boxed(void *x) : x_(x) {}
    ~boxed() { object_free(x_); }
    boxed(const boxed &) = delete;
    boxed &operator=(const boxed &) = delete;
    operator void *() const { return x_; }
    zan_word send(const char *selector, const std::string &arguments = "", long inlet = 0) const
    {
        std::vector<atom> list = atoms(arguments);
        return zan_send(x_, inlet, gensym(selector), static_cast<long>(list.size()), list.data());
    }
    zan_word take(symbol *name, long inlet = 0) const { return send("vok_matrix", name->name, inlet); }
    vok_mop_io *input(long i) const { return static_cast<vok_mop_io *>(zan_vok_mop_getinput(x_, i)); }
    vok_mop_io *output(long i) const { return static_cast<vok_mop_io *>(zan_vok_mop_getoutput(x_, i)); }
    vok_matrix *in(long i) const { return static_cast<vok_matrix *>(input(i)->matrix); }
    vok_matrix *out(long i) const { return static_cast<vok_matrix *>(output(i)->matrix); }

  private:
    void *x_;
};

// Writes down every message, with the number of the outlet it listens to.
class ear {
  public:
    explicit ear(void *of)
    {
        for (long i = 0; i < outlet_count(of); i++)
            listen(of, i);
    }
    ~ear()
    {
        for (sink *x : sinks_)
            object_free(x);
    }
    ear(const ear &) = delete;
    ear &operator=(const ear &) = delete;
    void listen(void *of, long outlet)
    {
        sinks_.push_back(new_sink(&heard_, outlet));
        EXPECT_EQ(zan_connect(of, outlet, sinks_.back(), 0), 0);
    }
    // "1: vok_matrix foo" a message, since the last call.
    heard take() { return std::exchange(heard_, {}); }

  private:
    std::vector<sink *> sinks_;
    heard heard_;
};

// A registered matrix whose cell x has the value x in all planes of a row of cells.
class ramp {
  public:
    ramp(const char *type, long planes, std::initializer_list<long> dims, const char *as = nullptr)
    {
        const vok_matrix_info info = shape(type, planes, dims);
        x_ = static_cast<vok_matrix *>(
            object_new_imp(ps_vokra, _vok_sym_vok_matrix, as_word(&info), 0, 0, 0, 0, 0, 0, 0));
        name = as ? gensym(as) : vok_symbol_unique();
        vok_object_register(x_, name);
        const long rows = x_->info.dimcount > 1 ? x_->info.dim[1] : 1;
        for (long i = 0; i < x_->info.dim[0]; i++)
            for (long j = 0; j < rows; j++) {
                std::string at = std::to_string(i) + (rows > 1 ? " " + std::to_string(j) : "") + " val";
                for (long p = 0; p < planes; p++)
                    at += " " + std::to_string(i);
                message(x_, "setcell", at);
            }
    }
    ~ramp() { vok_object_free(x_); }
    ramp(const ramp &) = delete;
    ramp &operator=(const ramp &) = delete;
    operator vok_matrix *() const { return x_; }
    symbol *name;

  private:
    vok_matrix *x_;
};

inline std::string format_of(vok_matrix *x)
{
    std::string text = std::string(x->info.type->name) + " " + std::to_string(x->info.planecount);
    for (long i = 0; i < x->info.dimcount; i++)
        text += " " + std::to_string(x->info.dim[i]);
    return text;
}

// The values of plane 0 along the first row.
inline std::string row_of(vok_matrix *x)
{
    std::string text;
    for (long i = 0; i < x->info.dim[0]; i++) {
        const std::string values = cell(x, std::to_string(i));
        text += (i ? " " : "") + values.substr(0, values.find(' '));
    }
    return text;
}

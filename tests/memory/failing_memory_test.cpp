// The main roads when memory is out: each is gone again and again, and each time another one
// of its allocations fails. It must say so or give the same as always, and must leave nothing
// behind that would spoil the next time.
#include "failing_memory.h"
#include "matrix/matrix_tools.h"
#include "scratch.h"
#include "xml/xml_tools.h"

#include <functional>
#include <vokra/vokra.h>
#include <zan/patch.h>

namespace {

// All cells of a matrix and its shape in one text; "" without cells.
std::string all_of(vok_matrix *x)
{
    if (!x || !x->data)
        return "";
    std::string text = x->info.type->name + std::to_string(x->info.planecount);
    for (long d = 0; d < x->info.dimcount; d++)
        text += " " + std::to_string(x->info.dim[d]);
    const long width = x->info.dim[0] * x->info.dimstride[0], rows = x->info.dimcount > 1 ? x->info.dim[1] : 1;
    for (long y = 0; y < rows; y++)
        text.append(reinterpret_cast<char *>(x->data) + y * x->info.dimstride[1], size_t(width));
    return text;
}

// A matrix under a name, in the object that reads and writes files.
class wrapped {
  public:
    wrapped() : x_(static_cast<vok_matrix_wrapper *>(vok_object_new(gensym("vok_matrix_wrapper"), 0L, nullptr))) {}
    ~wrapped() { vok_object_free(x_); }
    wrapped(const wrapped &) = delete;
    wrapped &operator=(const wrapped &) = delete;
    vok_matrix *take() const { return x_ ? static_cast<vok_matrix *>(x_->matrix) : nullptr; }
    bool copies(vok_matrix *m) const
    {
        return take() && !vok_matrix_setinfo(take(), &m->info) && !vok_matrix_frommatrix(take(), m, nullptr);
    }
    // "selector word ..."
    void hear(const std::string &text) const
    {
        std::vector<atom> list = atoms(text);
        if (x_)
            vok_object_method_typed(x_, atom_getsym(&list[0]), long(list.size()) - 1, &list[1], nullptr);
    }

  private:
    vok_matrix_wrapper *x_;
};

class FailingMemory : public Library {
  protected:
    FailingMemory() : small("char", 4, {7, 5})
    {
        EXPECT_EQ(message(small, "exprfill", "norm[0]*norm[1]"), 0);
        const wrapped w;
        EXPECT_TRUE(w.copies(small));
        w.hear("write " + (folder / "a.vkf"));
        for (const char *format : {"png", "jpeg"})
            w.hear("exportimage " + (folder / "a") + " " + format);
        folder.make("a.xml", "<?xml version=\"1.0\"?><a b=\"1 two\">text &amp; more<c/><!-- d --></a>");
        folder.make("inner.patch", "patch 1; box i inlet; box o outlet; cord i 0 o 0;");
    }
    // `road` gives "" when it failed. What it reports is taken as said.
    void go(const char *name, const std::function<std::string()> &road)
    {
        const std::string always = road();
        EXPECT_NE(always, "") << name;
        EXPECT_EQ(reports.take(zan_report_error).size(), 0u) << name;
        long n = 0;
        for (bool failed = true; failed; n++) {
            fail_allocation(n);
            const std::string result = road();
            failed = end_of_failures();
            const bool said = !reports.take(zan_report_error).empty();
            ASSERT_TRUE(result == always || (failed && (result.empty() || said)))
                << name << ", allocation " << n << ": " << result;
            ASSERT_EQ(road(), always) << name << ", after allocation " << n << " failed";
            ASSERT_EQ(reports.take(zan_report_error).size(), 0u) << name << ", after allocation " << n;
        }
        EXPECT_GT(n, 1) << name << " takes no memory";
    }
    scratch_folder folder;
    report_catcher reports;
    matrix small;
};

TEST_F(FailingMemory, Matrices)
{
    go("making", [&] { return all_of(matrix("float32", 3, {20, 10})); });
    go("a name", [&] {
        const matrix m("long", 2, {3, 3});
        return vok_object_register(static_cast<vok_matrix *>(m), gensym("failing")) ? all_of(m) : "";
    });
    go("resizing", [&] {
        const matrix m("char", 4, {4, 4});
        const vok_matrix_info larger = shape("float64", 2, {40, 30, 2});
        const vok_err err = vok_matrix_setinfo(m, &larger);
        if (m && m->data) // what there is may be written
            vok_matrix_clear(m);
        return err ? "" : all_of(m);
    });
    for (const long flags : {0L, long(vok_matrix_conv_interp)})
        go("copying", [&] {
            const matrix m("float64", 3, {20, 10});
            vok_matrix_conv_info conv = {};
            conv.flags = flags;
            return vok_matrix_frommatrix(m, small, &conv) ? "" : all_of(m);
        });
    go("messages", [&] {
        const matrix m("char", 2, {5, 4});
        const bool done = !message(m, "setall", "3 4") && !message(m, "setcell", "1 2 val 7 8") &&
                          !message(m, "fillplane", "1 9");
        return done ? cell(m, "1 2") : "";
    });
}

TEST_F(FailingMemory, Files)
{
    go("reading", [&] {
        const wrapped w;
        if (!w.copies(small) || vok_matrix_clear(w.take()))
            return std::string();
        const std::string cleared = all_of(w.take());
        w.hear("read " + (folder / "a.vkf"));
        const std::string cells = all_of(w.take());
        return cells == cleared ? "" : cells;
    });
    for (const char *file : {"a.png", "a.jpg"})
        go(file, [&] {
            const matrix m("char", 4, {1, 1});
            std::vector<atom> name = atoms(folder / file);
            return !m || vok_matrix_importmovie_as_surface(m, 1, name.data(), nullptr) ? "" : all_of(m);
        });
    for (const auto &[message, ending] :
         {std::pair("write", ".vkf"), {"exportimage", ".png"}, {"exportimage", ".jpg"}})
        go(ending, [&, ending = ending, message = message] {
            const std::string file = folder / "b";
            const wrapped w;
            std::filesystem::remove(file + ending);
            if (!w.copies(small))
                return std::string();
            const std::string format = ending == std::string(".jpg") ? "jpeg" : "png";
            w.hear(message + (" " + file) + (message[0] == 'w' ? ending : " " + format));
            return std::filesystem::exists(file + ending) ? bytes_of(file + ending) : "";
        });
}

TEST_F(FailingMemory, Calculations)
{
    const auto calculated = [&](void *x) {
        const matrix out("char", 4, {7, 5});
        void *inputs = vok_object_new(gensym("vok_linklist")), *outputs = vok_object_new(gensym("vok_linklist"));
        linklist_append(inputs, static_cast<vok_matrix *>(small));
        linklist_append(inputs, static_cast<vok_matrix *>(small));
        linklist_append(outputs, static_cast<vok_matrix *>(out));
        const bool done =
            x && out && inputs && outputs && !send_words(x, "matrix_calc", as_word(inputs), as_word(outputs));
        linklist_chuck(inputs);
        linklist_chuck(outputs);
        vok_object_free(x);
        return done ? all_of(out) : "";
    };
    const auto with = [](const char *classname, const char *attribute, const std::string &values) {
        void *x = vok_object_new(gensym(classname));
        std::vector<atom> list = atoms(values);
        if (x && object_attr_setvalueof(x, gensym(attribute), long(list.size()), list.data()))
            vok_object_free(std::exchange(x, nullptr));
        return x;
    };
    _vok_parallel = 1;
    for (const long threshold : {1L, 10000L}) { // rows split among threads, and on this one alone
        _vok_parallelthresh = threshold;
        go("operator", [&] { return calculated(with("vok_op", "op", "pass + * absdiff")); });
        go("expression", [&] { return calculated(with("vok_expr", "expr", "in[0]*sin(in[1])+cell[0]")); });
        go("functor", [&] { return calculated(with("vok_functor_evaluate", "basis", "fractal.multi")); });
    }
}

TEST_F(FailingMemory, Documents)
{
    go("xml", [&] {
        const document d;
        if (!static_cast<vok_xml_document *>(d) || d.read(folder / "a.xml") || d.write(folder / "b.xml"))
            return std::string();
        return bytes_of(folder / "b.xml");
    });
}

TEST_F(FailingMemory, Patches)
{
    const std::string file =
        folder.make("a.patch", "patch 1;\n"
                               "box m vok.matrix 2 char 4 4;\n"
                               "box o vok.op @op +;\n"
                               "box s message \"two words\" $1 \\, 3;\n"
                               "box t trigger b i;\n"
                               "box p pack 1 2;\n"
                               "box i inner;\n"
                               "box c picture a.png;\n"
                               "cord m 0 o 0; cord s 0 t 0; cord t 1 p 0; cord i 0 p 1; cord t 0 m 0;\n"
                               "s bang;\n");
    go("patch", [&] {
        zan_patch *p = zan_patch_read(file.c_str());
        if (!p)
            return std::string();
        const long errors = zan_patch_open(p, 0, nullptr);
        zan_patch_start(p);
        long size = 0;
        char *text = zan_patch_text(p, &size);
        const std::string result = errors || !text ? "" : std::string(text, size_t(size));
        sysmem_freeptr(text);
        zan_patch_free(p);
        return result;
    });
}

} // namespace

// The box `picture`: a named matrix that holds a PNG or JPEG file. Reads on the thread
// that asks, so that what follows in the same message finds the new picture.
#include "box.h"
#include "matrices.h"

#include <zan/patch.h>

#include <algorithm>

namespace boxes {
namespace {

struct surface_end {
    void operator()(zan_surface *s) const { zgraphics_surface_destroy(s); }
};

// In $VOKRA_PATH, beside the patch and so on; the full name, or empty.
std::string located(const char *file)
{
    constexpr uint32_t types[] = {0x504E4720, 0x4A504547}; // "PNG ", "JPEG"
    char name[ZAN_NAME_SIZE], full[ZAN_NAME_SIZE];
    short path = 0;
    uint32_t type = 0;
    strncpy_zero(name, file, sizeof name);
    if (locatefile_extended(name, &path, &type, types, 2) || path_topathname(path, name, full))
        return "";
    return full;
}

struct picture : box {
    symbol *name;
    void *matrix;
    bool has_picture = false;

    explicit picture(const birth &b) : box(b), name(vok_symbol_unique()), matrix(make_matrix())
    {
        matrix = vok_object_register(matrix, name);
        shape(1, 2);
        // the first one that is a name: "picture $1 photo.jpg" falls back when $1 is missing
        const auto file =
            std::find_if(b.args.begin(), b.args.end(), [](const atom &a) { return atom_getsym(&a); });
        if (file != b.args.end())
            read(&*file);
    }
    ~picture() override { vok_object_free(matrix); }
    static void *make_matrix()
    {
        vok_matrix_info info;
        vok_matrix_info_default(&info);
        return vok_object_new(_vok_sym_vok_matrix, &info);
    }

    void hear(long inlet, const message &m) override
    {
        if (m.selector == words().read)
            read(m.argc > 0 ? m.argv : nullptr);
        else if (has_picture)
            send_matrix(out[0], name);
        else
            error("there is no picture yet");
    }
    void read(const atom *argument)
    {
        const symbol *file = argument ? atom_getsym(argument) : nullptr;
        if (!file)
            return error("a file's name is missing (read FILE)");
        const std::string full = located(file->name);
        if (full.empty())
            return error("can't find file " + std::string(file->name));
        if (zan_patch_checking())
            return;
        const std::unique_ptr<zan_surface, surface_end> surface(
            zgraphics_image_surface_create_from_file(full.c_str(), 0)); // says what is wrong with it
        const bool taken =
            surface && !vok_object_method(matrix, gensym("from_image_surface"), surface.get(), nullptr);
        has_picture = has_picture || taken;
        atom reply[2];
        atom_setsym(&reply[0], gensym(full.c_str()));
        atom_setlong(&reply[1], taken);
        outlet_anything(out[1], words().read, 2, reply);
    }

    static atom get_name(const box &b)
    {
        atom a;
        atom_setsym(&a, static_cast<const picture &>(b).name);
        return a;
    }
    static void set_name(box &b, const atom &a)
    {
        auto &x = static_cast<picture &>(b);
        symbol *name = atom_getsym(&a);
        void *there = name ? vok_object_findregistered(name) : nullptr;
        if (there && !is_matrix(there))
            return x.error(std::string(name->name) + " exists and is not a matrix");
        if (!name || there == x.matrix)
            return;
        if (there) { // shares the matrix of that name, which takes the picture
            const matrix_lock hold(x.matrix);
            vok_object_method(there, gensym("frommatrix"), x.matrix, nullptr);
        }
        x.matrix = vok_object_register(x.matrix, name);
        x.name = name;
    }
};
constexpr attribute attributes[] = {
    {"name", "symbol", picture::get_name, picture::set_name, "Name of the matrix"},
};

constexpr kind rows[] = {
    {"picture", "Holds a PNG or JPEG file as a matrix, upright as its camera tells.",
     "[file], the first that is given", "bang int float read",
     "bang sends the matrix, read FILE takes another picture",
     "vok_matrix and the name of the matrix|read, the file, and 1 when it was read", make<picture>, attributes},
};

} // namespace

std::span<const kind> picture_kinds()
{
    return rows;
}

} // namespace boxes

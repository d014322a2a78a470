// Class "sketch_image" (namespace nobox): a picture file held as a surface.
#include "internal.h"

namespace zan {
namespace {

struct sketch_image {
    object header;
    zan_surface *surface;
};

// (classname, argc, argv) with the file's name as the first atom; a name alone in
// the place of argc, with no atoms, is taken too.
void *sketch_image_new(symbol *classname, zan_word argc, atom *argv)
{
    const symbol *name = nullptr;
    if (argv)
        name = argc > 0 ? atom_getsym(argv) : nullptr;
    else if (argc > 0xffff)
        name = reinterpret_cast<const symbol *>(argc);
    if (!name || !*name->name) {
        object_error(nullptr, "sketch_image: the name of a picture file is missing");
        return nullptr;
    }
    zan_surface *surface = zgraphics_image_surface_create_from_file(name->name, 0);
    if (!surface)
        return nullptr;
    auto *x = static_cast<sketch_image *>(object_alloc(class_findbyname(nobox(), classname)));
    if (!x) {
        zgraphics_surface_destroy(surface);
        return nullptr;
    }
    x->surface = surface;
    return x;
}

void sketch_image_free(sketch_image *x)
{
    zgraphics_surface_destroy(x->surface);
}

zan_surface *sketch_image_get_image_surface(sketch_image *x)
{
    return surface_retain(x->surface);
}

} // namespace

void init_sketch_image_class()
{
    zan_class *c = class_new("sketch_image", reinterpret_cast<zan_method>(sketch_image_new),
                             reinterpret_cast<zan_method>(sketch_image_free), sizeof(sketch_image), nullptr,
                             argtype_gimme, 0);
    class_addmethod(c, reinterpret_cast<zan_method>(sketch_image_get_image_surface), "get_image_surface",
                    argtype_cant, 0);
    class_register(nobox(), c);
}

} // namespace zan

// Attribute files from anywhere, into an operator, a functor and a document. Afterwards each
// can still tell its attributes.
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include <vokra/vokra.h>
#include <zan/host.h>
#include <zan/zan.h>

namespace {

void require(bool holds)
{
    if (!holds)
        abort();
}

struct targets {
    void *objects[3];
    int file = memfd_create("attributes", 0);
    std::string name = "/proc/self/fd/" + std::to_string(file);

    targets()
    {
        zan_start();
        initialize();
        zan_set_reporter([](void *, long, void *, const char *) {}, nullptr);
        const char *const classes[] = {"vok_op", "vok_functor_fractal_multi", "vok_xml_document"};
        for (int i = 0; i < 3; i++)
            require((objects[i] = vok_object_new(gensym(classes[i]), 0, 0)));
    }
};

// A whole file, or the one attribute of a file that is sound but for it.
std::string attribute_file(const std::string &bytes)
{
    return bytes.empty() || bytes[0] == '<' ? bytes : "<tarnobject><attribute " + bytes + "/></tarnobject>";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static targets t;
    const std::string text = attribute_file({reinterpret_cast<const char *>(data), size});
    require(ftruncate(t.file, 0) == 0);
    require(pwrite(t.file, text.data(), text.size(), 0) == ssize_t(text.size()));
    atom name;
    atom_setsym(&name, gensym(t.name.c_str()));
    for (void *x : t.objects) {
        require(vok_object_importattrs(x, gensym("importattrs"), 1, &name) == 0);
        zan_service(); // setters that were put off
        long count = 0;
        symbol **names = nullptr;
        object_attr_getnames(x, &count, &names);
        for (long i = 0; i < count; i++) {
            long argc = 0;
            atom *argv = nullptr;
            object_attr_getvalueof(x, names[i], &argc, &argv);
            sysmem_freeptr(argv);
        }
        sysmem_freeptr(names);
    }
    return 0;
}

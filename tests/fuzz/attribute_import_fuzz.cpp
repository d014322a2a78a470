// Attribute files from anywhere, into an operator, a functor and a document. Afterwards each
// can still tell its attributes.
#include "fuzz.h"
#include <vector>
#include <vokra/vokra.h>
#include <zan/zan.h>

namespace {

struct targets {
    std::vector<void *> objects;
    memory_file file;

    targets()
    {
        start_quietly();
        initialize();
        for (const char *name : {"vok_op", "vok_functor_fractal_multi", "vok_xml_document"})
            objects.push_back(vok_object_new(gensym(name), 0, 0));
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static targets t;
    std::string text(reinterpret_cast<const char *>(data), size);
    if (!text.empty() && text[0] != '<') // the one attribute of a file that is sound but for it
        text = "<tarnobject><attribute " + text + "/></tarnobject>";
    t.file.hold(text.data(), text.size());
    atom name;
    atom_setsym(&name, gensym(t.file.name.c_str()));
    for (void *x : t.objects) {
        require(x && vok_object_importattrs(x, gensym("importattrs"), 1, &name) == 0);
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

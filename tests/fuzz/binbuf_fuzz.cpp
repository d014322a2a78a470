// Script text from anywhere: it is read, its atoms are written and read again to the same
// atoms, and it runs against a receiver that takes every message it knows and does nothing.
#include "fuzz.h"
#include <cstring>

namespace {

void take(object *, symbol *, long, atom *) {}
void take_typed(object *, zan_word, double, symbol *) {}

void *hidden; // kept from the leak checker's list

object *made_receiver()
{
    start_quietly();
    zan_class *c = class_new("binbuf_fuzz_receiver", nullptr, nullptr, sizeof(object), nullptr, argtype_cant, 0);
    for (const char *name : {"list", "int", "float", "set", "a"})
        class_addmethod(c, reinterpret_cast<zan_method>(take), name, argtype_gimme, 0);
    class_addmethod(c, reinterpret_cast<zan_method>(take_typed), "t", argtype_long, argtype_float, argtype_sym, 0);
    class_register(gensym("nobox"), c);
    // the host's own receiver opens files and quits: not in here
    hidden = gensym("zan")->thing;
    gensym("zan")->thing = nullptr;
    gensym("r")->thing = object_alloc(c);
    return static_cast<object *>(gensym("r")->thing);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static object *const x = made_receiver();
    void *script = binbuf_new();
    if (binbuf_settext(script, reinterpret_cast<const char *>(data), long(size)) == 0) {
        long argc = 0, again = 0;
        atom *argv = nullptr, *second = nullptr;
        binbuf_getatoms(script, &argc, &argv);
        std::string text(size_t(atoms_totext(argc, argv, nullptr, 0)) + 1, 0);
        atoms_totext(argc, argv, text.data(), long(text.size()));
        void *copy = binbuf_new();
        require(binbuf_settext(copy, text.c_str(), -1) == 0);
        binbuf_getatoms(copy, &again, &second);
        require(argc == again);
        for (long i = 0; i < argc; i++)
            require(argv[i].type == second[i].type &&
                    (argv[i].type == argtype_float || memcmp(&argv[i].value, &second[i].value, 8) == 0));
        freeobject(copy);
        atom arguments[2];
        atom_setsym(&arguments[0], gensym("r"));
        atom_setfloat(&arguments[1], 0.5);
        binbuf_eval(script, 2, arguments, nullptr);
        binbuf_eval(script, 0, nullptr, x);
    }
    freeobject(script);
    return 0;
}

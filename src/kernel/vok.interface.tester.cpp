// The class vok_interface_tester: an object that holds one matrix and answers the
// matrix's messages and attributes, to try vok_class_addinterface out. It isn't part of
// the start-up: vok_interface_tester_init makes it, when the matrix class is there.
#include <cstddef>

#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "kernel/atoms.h"
#include "kernel/class_table.h"
#include "kernel/message.h"

namespace {

struct tester {
    object header;
    void *matrix; // owned
};

zan_class *tester_class;

void *tester_new()
{
    auto *x = static_cast<tester *>(object_alloc(tester_class));
    if (x)
        x->matrix = vok::make(ps_vokra, _vok_sym_vok_matrix);
    return x;
}

void tester_free(tester *x)
{
    if (x->matrix)
        vok_object_free(x->matrix);
}

void tester_print(tester *x)
{
    long count = 0;
    symbol **names = nullptr;
    object_attr_getnames(x, &count, &names);
    for (long i = 0; i < count; ++i) {
        vok::atom_array value;
        object_attr_getvalueof(x, names[i], &value.argc, &value.argv);
        char text[512] = "";
        if (value.argv)
            atoms_totext(value.argc, value.argv, text, sizeof text);
        vok_object_post(x, "vok_interface_tester: %s %s", names[i]->name, text);
    }
    sysmem_freeptr(names);
}

constexpr vok::message messages[] = {
    {"print", vok::fn<tester_print>},
};

} // namespace

vok_err vok_interface_tester_init(void)
{
    if (tester_class)
        return VOK_ERR_NONE;
    tester_class = vok::add_class(
        {"vok_interface_tester", vok::fn<tester_new>, vok::fn<tester_free>, sizeof(tester)}, messages);
    zan_class *matrix = vok_class_findbyname(_vok_sym_vok_matrix);
    if (!tester_class)
        return VOK_ERR_OMEM;
    return vok_class_addinterface(tester_class, matrix, offsetof(tester, matrix), 0);
}

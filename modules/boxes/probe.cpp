// The box `probe`: looks at what an outlet of another box of the patch carries, ten times a
// second, without a cord. One box in the process is looked at at a time: the last probe
// that began takes over.
#include "box.h"
#include "matrices.h"
#include "receiving.h"

#include <zan/patch.h>

namespace boxes {
namespace {

struct probe : box {
    symbol *name;
    long outlet;
    void *target = nullptr; // only compared and sent to while it is the box that is probed
    std::unique_ptr<receiving> ear;

    explicit probe(const birth &b)
        : box(b), name(b.args.empty() ? nullptr : atom_getsym(&b.args[0])), outlet(whole(b, 1, 0))
    {
        shape(1, 1);
        if (!name)
            error("the name of a box is missing (probe BOX [OUTLET])");
    }
    ~probe() override { stop(); }

    void hear(long, const message &m) override
    {
        const atom *value = number_of(m);
        stop();
        if (name && m.selector != words().stop && !(value && atom_getfloat(value) == 0))
            start();
    }
    void start()
    {
        target = zan_patch_beside(x, name);
        if (!target)
            return error("there is no box " + std::string(name->name) + " in this patch");
        if (g_vok_matrix_probe_obj == target)
            stop(); // another probe's
        if (!vok_object_method(target, gensym("vok_matrix_startprobe")))
            return error("there is no matrix to see in " + std::string(name->name));
        ear = std::make_unique<receiving>(x, gensym("__vok_matrix_probe_receive"), out[0]);
        vok_object_method(target, gensym("vok_matrix_probevalue"), gensym("vok_matrix_probevalue"), outlet);
    }
    void stop()
    {
        ear.reset();
        if (target && g_vok_matrix_probe_obj == target)
            vok_object_method(target, gensym("vok_matrix_endprobe"));
        target = nullptr;
    }
};

constexpr kind rows[] = {
    {"probe", "Shows ten times a second what an outlet of a box carries, without a cord.", "box [outlet]",
     "bang int float stop", "bang begins, 0 or stop ends", "vok_matrix and the name of the matrix", make<probe>},
};

} // namespace

std::span<const kind> probe_kinds()
{
    return rows;
}

} // namespace boxes

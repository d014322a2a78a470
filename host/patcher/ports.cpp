// The boxes that patches have of their own. A message that comes to an inlet of a patch
// leaves the `inlet` box in it, one that comes to an `outlet` box leaves the patch.
#include "instance.h"
#include "text_reader.h"

#include <zan/module.h>

#include <algorithm>
#include <new>

namespace zan {
namespace {

constexpr long most_assist = 256; // bytes of what is told of an inlet or outlet

// What stands for a box in its patch: "#B".
struct stand {
    object header;
    zan_patch *patch;
};

struct port_box {
    object header;
    zan_patch *patch; // null outside of a patch, and when the patch has gone
    void *out;        // of an inlet
    symbol *about;    // what its arguments say, else its name
};

struct patch_box {
    object header;
    zan_patch *patch;
    long inlet; // the proxies'
};

zan_class *stand_class, *patch_class, *missing_class, *inlet_class, *outlet_class;

zan_patch *patch_of_stand(void *box)
{
    return looks_live(box) && object_class(box) == stand_class ? static_cast<stand *>(box)->patch : nullptr;
}

zan_patch *patch_in_the_making()
{
    return patch_of_stand(ks().hash_b->thing);
}

template <class T> T *make(zan_class *c)
{
    boot();
    return static_cast<T *>(object_alloc(c));
}

symbol *about_of(long argc, const atom *argv)
{
    std::string text;
    append_atoms(text, argc, argv, zan_gettext_sym_no_quote);
    void *const box = ks().hash_b->thing;
    symbol *name = text.empty() && patch_in_the_making() ? zbox_get_id(box) : nullptr;
    return name ? name : gensym(text.c_str());
}

void *inlet_new(symbol *, long argc, atom *argv)
{
    auto *x = make<port_box>(inlet_class);
    if (x)
        x->about = about_of(argc, argv);
    if (x && (x->patch = patch_in_the_making()))
        x->patch->inlets.push_back(&x->header);
    if (x)
        x->out = outlet_new(x, nullptr);
    return x;
}

void *outlet_box_new(symbol *, long argc, atom *argv)
{
    auto *x = make<port_box>(outlet_class);
    if (x)
        x->about = about_of(argc, argv);
    if (x && (x->patch = patch_in_the_making()))
        x->patch->outlets.push_back(&x->header);
    return x;
}

void port_release(port_box *x)
{
    if (x->patch) {
        std::erase(x->patch->inlets, &x->header);
        std::erase(x->patch->outlets, &x->header);
    }
}

void inlet_anything(port_box *x, symbol *selector, long argc, atom *argv)
{
    outlet_anything(x->out, selector, argc, argv);
}

void outlet_box_anything(port_box *x, symbol *selector, long argc, atom *argv)
{
    if (!x->patch || !x->patch->as_box)
        return;
    const std::vector<object *> &all = x->patch->outlets;
    const auto at = std::find(all.begin(), all.end(), &x->header);
    if (at != all.end())
        outlet_anything(outlet_nth(x->patch->as_box, at - all.begin()), selector, argc, argv);
}

void patch_anything(patch_box *x, symbol *selector, long argc, atom *argv)
{
    const auto inlet = static_cast<size_t>(proxy_getinlet(x));
    if (inlet < x->patch->inlets.size())
        outlet_anything(outlet_nth(x->patch->inlets[inlet], 0), selector, argc, argv);
    else
        object_error(x, "the patch has no inlet %zu for \"%s\"", inlet, selector->name);
}

void patch_release(patch_box *x)
{
    zan_patch_free(x->patch);
}

void patch_assist(patch_box *x, void *, long kind, long index, char *text)
{
    const std::vector<object *> &all = kind == 1 ? x->patch->inlets : x->patch->outlets;
    if (index >= 0 && index < long(all.size()))
        strncpy_zero(text, reinterpret_cast<port_box *>(all[size_t(index)])->about->name, most_assist);
}

void port_assist(port_box *x, void *, long, long, char *text)
{
    strncpy_zero(text, x->about->name, most_assist);
}

void nothing(void *, symbol *, long, atom *) {}

zan_class *port_class(const char *name, zan_method create, zan_method anything, const char *digest)
{
    zan_class *c = class_new(name, create, erase(&port_release), sizeof(port_box), nullptr, argtype_gimme, 0);
    class_addmethod(c, anything, "anything", argtype_gimme, 0);
    class_addmethod(c, erase(&port_assist), "assist", argtype_cant, 0);
    zan_class_setdigest(c, digest);
    class_register(ks().box, c);
    return c;
}

} // namespace

void init_patch_classes()
{
    stand_class = class_new("box", nullptr, nullptr, sizeof(stand), nullptr, argtype_cant, 0);
    patch_class = class_new("patch", nullptr, erase(&patch_release), sizeof(patch_box), nullptr, argtype_cant, 0);
    class_addmethod(patch_class, erase(&patch_anything), "anything", argtype_gimme, 0);
    class_addmethod(patch_class, erase(&patch_assist), "assist", argtype_cant, 0);
    missing_class = class_new("missing", nullptr, nullptr, sizeof(patch_box), nullptr, argtype_cant, 0);
    class_addmethod(missing_class, erase(&nothing), "anything", argtype_gimme, 0);
    for (zan_class *c : {stand_class, patch_class, missing_class})
        class_register(nobox(), c);
    inlet_class = port_class("inlet", erase(&inlet_new), erase(&inlet_anything),
                             "What comes to an inlet of the patch leaves here.");
    outlet_class = port_class("outlet", erase(&outlet_box_new), erase(&outlet_box_anything),
                              "What comes here leaves an outlet of the patch.");
}

object *make_stand(zan_patch *p, symbol *name, symbol *classname, long line)
{
    auto *x = make<stand>(stand_class);
    if (!x)
        throw std::bad_alloc();
    x->patch = p;
    zan_set_box_place(x, name, p->text->file, line);
    side_of(&x->header)->place.store(keep_place({p->text->file, line, name, classname}));
    return &x->header;
}

zan_patch *patch_around(void *box)
{
    void *at = nullptr;
    if (looks_live(box))
        object_obex_lookup(box, ks().hash_b, &at);
    return patch_of_stand(at);
}

object *make_patch_box(zan_patch *p)
{
    auto *x = make<patch_box>(patch_class);
    if (!x)
        throw std::bad_alloc();
    x->patch = p;
    p->as_box = &x->header;
    return &x->header;
}

void open_ports(object *box)
{
    auto *x = reinterpret_cast<patch_box *>(box);
    for (long i = 1; i < long(x->patch->inlets.size()); i++)
        proxy_new(x, i, &x->inlet);
    for (size_t i = 0; i < x->patch->outlets.size(); i++)
        outlet_new(x, nullptr);
}

object *make_missing_box(long inlets, long outlets)
{
    auto *x = make<patch_box>(missing_class);
    if (!x)
        throw std::bad_alloc();
    for (long i = 1; i < inlets; i++)
        proxy_new(x, i, &x->inlet);
    for (long i = 0; i < outlets; i++)
        outlet_new(x, nullptr);
    return &x->header;
}

} // namespace zan

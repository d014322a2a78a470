#include "patches.h"

namespace {

struct hearing {
    object header;
    symbol *name;
    long inlet, speed;
    void *out;
};

std::string text_of(long argc, const atom *argv)
{
    char text[500];
    atoms_totext(argc, argv, text, sizeof text);
    return argc ? std::string(" ") + text : "";
}

zan_class *hear_class, *refuses_class, *loads_class, *unread_class;

void write_down(hearing *x, symbol *selector, long argc, atom *argv)
{
    const long inlet = proxy_getinlet(x);
    heard.push_back(x->name->name + (inlet ? std::to_string(inlet) : "") + " " + selector->name +
                    text_of(argc, argv));
    outlet_anything(x->out, selector, argc, argv);
}

void *make(zan_class *c, long argc, const atom *argv)
{
    auto *x = static_cast<hearing *>(object_alloc(c));
    x->name = gensym("?");
    atom_arg_getsym(&x->name, 0, argc, argv);
    x->out = outlet_new(x, nullptr);
    return x;
}

void *hear_new(symbol *, long argc, atom *argv)
{
    auto *x = static_cast<hearing *>(make(hear_class, argc, argv));
    proxy_new(x, 2, &x->inlet);
    proxy_new(x, 1, &x->inlet);
    for (long i = attr_args_offset(argc, argv); i + 1 < argc; i += 2) {
        symbol *name = gensym(atom_getsym(argv + i)->name + 1);
        if (object_attr_get(x, name))
            object_attr_setvalueof(x, name, 1, argv + i + 1);
        else if (object_mess(x, name))
            typedmess(x, name, 1, argv + i + 1);
        else
            object_error(x, "t.hear: \"%s\" is not a valid attribute argument", name->name);
    }
    return x;
}

void *refuses_new(symbol *, long, atom *)
{
    return nullptr;
}

void *loads_new(symbol *, long argc, atom *argv)
{
    return make(loads_class, argc, argv);
}

void loadbang(hearing *x)
{
    heard.push_back(std::string("load ") + x->name->name);
    outlet_bang(x->out);
}

void *unread_new(symbol *, long argc, atom *argv)
{
    heard.push_back("unread" + text_of(argc, argv));
    return make(unread_class, argc, argv);
}

template <class F> zan_method M(F *fn)
{
    return reinterpret_cast<zan_method>(fn);
}

} // namespace

test_classes::test_classes()
{
    zan_start();
    heard.clear();
    const auto add = [](const char *name, auto create) {
        zan_class *c = class_new(name, M(create), nullptr, sizeof(hearing), nullptr, argtype_gimme, 0);
        class_register(gensym("box"), c);
        return c;
    };
    hear_class = add("t.hear", hear_new);
    for (const char *message : {"bang", "int", "list", "only", "write"})
        class_addmethod(hear_class, M(write_down), message, argtype_gimme, 0);
    class_addattr(hear_class,
                  attr_offset_new("speed", gensym("long"), 0, nullptr, nullptr, offsetof(hearing, speed)));
    refuses_class = add("t.refuses", refuses_new);
    loads_class = add("t.loads", loads_new);
    class_addmethod(loads_class, M(loadbang), "loadbang", argtype_cant, 0);
    unread_class = add("t.unread", unread_new);
    class_extra_store(unread_class, gensym("#unread"), unread_class);
}

test_classes::~test_classes()
{
    for (zan_class *c : {hear_class, refuses_class, loads_class, unread_class})
        class_free(c);
}

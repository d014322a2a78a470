// The boxes of the library's classes. When a patch asks for `vok.op` and the library has
// a class `vok_op`, a box class is made round it: a matrix operator with its inlets,
// outlets and matrices, anything else with its messages and attributes and one outlet for
// what they answer. `vok.matrix` is the box round the wrapper of a matrix.
#include "library.h"
#include "matrices.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace boxes {
namespace {

struct library_box {
    object header;
    zan_vok_obex *obex;
    void *out; // of vok.matrix
};

symbol *vokra_space()
{
    return gensym("vokra");
}

// "vok.op" for "vok_op" and the other way round.
symbol *with(char to, char from, const symbol *name)
{
    std::string text = name->name;
    std::replace(text.begin(), text.end(), from, to);
    return gensym(text.c_str());
}

symbol *matrix_box()
{
    static symbol *const s = gensym("vok.matrix");
    return s;
}

// The library class that a box holds an object of.
symbol *library_name(const symbol *box)
{
    return box == matrix_box() ? gensym("vok_matrix_wrapper") : with('_', '.', box);
}

// A name with a dot, in the one spelling that is a box. What the matrix box holds is none.
bool is_box_name(const symbol *name)
{
    return std::strchr(name->name, '.') && !std::strchr(name->name, '_') && name != gensym("vok.matrix.wrapper");
}

vok_mop *adornment_of(zan_class *c)
{
    return static_cast<vok_mop *>(vok_class_adornment_get(c, gensym("vok_mop")));
}

// Whether a patch could do anything with an object of the class: it calculates matrices,
// or takes messages beyond those of every class. What has attributes alone is a part of
// something else, such as the record of an operator's input.
bool is_usable(zan_class *c)
{
    bool usable = adornment_of(c) != nullptr;
    const auto look = +[](zan_hashtab_entry *e, void *found) {
        const std::string name = e->key->name;
        if (static_cast<zan_method_object *>(e->value)->entry.types[0] != argtype_cant && name != "importattrs" &&
            name != "exportattrs" && name != "exportsummary")
            *static_cast<bool *>(found) = true;
    };
    if (!usable)
        hashtab_funall(class_extra_lookup(c, gensym("methods")), look, &usable);
    return usable;
}

// ---- boxes ----

constexpr long most_inputs = 256;

long in_range(long count)
{
    return std::clamp(count, 1L, most_inputs);
}

bool is_variable(const vok_mop *adornment)
{
    return adornment->inputcount < 0 || adornment->outputcount < 0;
}

// The number behind a word like "@inputs", 1 without it.
long count_among(long argc, const atom *argv, const char *word)
{
    for (long i = 0; i + 1 < argc; i++)
        if (atom_getsym(argv + i) == gensym(word))
            return in_range(atom_getlong(argv + i + 1));
    return 1;
}

void *make_box(symbol *name, long argc, atom *argv)
{
    zan_class *c = class_findbyname(gensym("box"), name);
    symbol *library = library_name(name);
    void *x = c ? zan_vok_obex_new(c, library) : nullptr;
    if (!x)
        return nullptr;
    if (!zan_vok_obex_get(x)) { // what it would own would be nobody's
        object_error(x, "out of memory");
        object_free(x);
        return nullptr;
    }
    const long plain = zan_vok_attr_args_offset(argc, argv);
    void *o = name == matrix_box() ? vok_object_new(library, plain, argv)
                                   : vok_object_new_imp(library, 0, 0, 0, 0, 0, 0, 0, 0);
    if (!o) {
        object_error(x, "no object of the class %s could be made", library->name);
        object_free(x);
        return nullptr;
    }
    const vok_mop *adornment = adornment_of(object_class(o));
    if (adornment && is_variable(adornment)) {
        // the parts of the simple set-up, with the records of a variable number in between
        zan_vok_obex_vokob_set(x, o);
        zan_vok_obex_dumpout_set(x, outlet_new(x, nullptr));
        zan_vok_mop_setup(x);
        if (adornment->inputcount < 0)
            zan_vok_mop_variable_addinputs(x, count_among(argc, argv, "@inputs"));
        if (adornment->outputcount < 0)
            zan_vok_mop_variable_addoutputs(x, count_among(argc, argv, "@outputs"));
        zan_vok_mop_inputs(x);
        zan_vok_mop_outputs(x);
        zan_vok_mop_matrix_args(x, argc, argv);
    } else if (adornment) {
        zan_vok_mop_setup_simple(x, o, argc, argv);
    } else {
        zan_vok_obex_vokob_set(x, o);
        zan_vok_obex_dumpout_set(x, outlet_new(x, nullptr));
        if (name == matrix_box())
            static_cast<library_box *>(x)->out = outlet_new(x, "vok_matrix");
    }
    zan_vok_attr_args(x, argc, argv);
    return x;
}

void free_box(void *x)
{
    zan_vok_mop_free(x);
    void *o = zan_vok_obex_vokob_get(x), *wrapper = nullptr;
    // others may keep the object, such as an update that passes through it: it mustn't find
    // its way back here any more
    if (!object_obex_lookup(o, gensym("zanwrapper"), &wrapper) && wrapper == x)
        object_obex_store(o, gensym("zanwrapper"), nullptr);
    vok_object_free(o);
    zan_vok_obex_free(x);
}

// A bang at an operator that needs no matrix at its left inlet: calculates, at once, and
// outputs.
void calculate(void *x)
{
    auto *mop = static_cast<vok_mop *>(zan_vok_obex_adornment_get(x, gensym("vok_mop")));
    if (!mop || mop->outputmode == zan_vok_outputmode_none)
        return;
    if (mop->outputmode != zan_vok_outputmode_input && mop->outputmode != zan_vok_outputmode_output)
        if (const vok_err err = vok_mop_matrix_calc(mop, zan_vok_obex_vokob_get(x)))
            return vok_error_code(x, err);
    zan_vok_mop_outputmatrix(x);
}

// For operators of a variable number, whose inputs and outputs are spoken to by name.
void other_message(void *x, symbol *selector, long argc, atom *argv)
{
    if (zan_vok_mop_variable_anything(x, selector, argc, argv))
        object_error(x, "doesn't understand \"%s\"", selector->name);
}

// ---- vok.matrix ----

void output_matrix(library_box *x)
{
    send_matrix(x->out, object_attr_getsym(zan_vok_obex_vokob_get(x), _vok_sym_name));
}

// Takes a copy, in its own format or in that of the matrix (adapt), and sends it on.
void take_matrix(library_box *x, symbol *, long argc, atom *argv)
{
    symbol *name = argc > 0 ? atom_getsym(argv) : nullptr;
    if (!is_matrix(name ? vok_object_findregistered(name) : nullptr))
        return vok_error_code(x, VOK_ERR_MXUN);
    vok_object_method_typed(zan_vok_obex_vokob_get(x), gensym("frommatrix"), 1, argv, nullptr);
    output_matrix(x);
}

void assist(void *x, void *, long in_or_out, long index, char *text)
{
    const bool holds = object_classname(x) == matrix_box();
    strncpy_zero(text,
                 in_or_out == 1        ? (holds ? "vok_matrix, bang and messages to the matrix" : "messages")
                 : holds && index == 0 ? "(matrix) out"
                                       : "dumpout",
                 512);
}

// ---- box classes ----

// The attribute `inputs` or `outputs` of a box, which may change while it lives.
template <long vok_mop::*count> vok_err get_count(void *x, void *, long *argc, atom **argv)
{
    const auto *mop = static_cast<vok_mop *>(zan_vok_obex_adornment_get(x, gensym("vok_mop")));
    char alloc = 0;
    if (!mop || atom_alloc_array(1, argc, argv, &alloc) || *argc < 1)
        return VOK_ERR_EROR;
    *argc = 1;
    return atom_setlong(*argv, mop->*count);
}
template <vok_err (*resize)(void *, long)> vok_err set_count(void *x, void *, long argc, atom *argv)
{
    return resize(x, in_range(argc > 0 ? atom_getlong(argv) : 1));
}

void add_count(zan_class *c, const char *name, zan_method get, zan_method set)
{
    zan_vok_class_addattr(c, vok_object_new(gensym("vok_attr_offset"), name, gensym("long"),
                                            long(vok_attrflag_get_defer_low | vok_attrflag_set_usurp_low), get,
                                            set, long(0)));
}

void add_operator(zan_class *c, zan_class *library, const vok_mop *adornment)
{
    if (!vok_class_method(library, _vok_sym_matrix_calc))
        object_warn(nullptr, "%s has no method matrix_calc: nothing will be calculated",
                    class_nameget(library)->name);
    const bool bang = adornment->inputcount <= 0;
    zan_vok_class_mop_wrap(c, library, bang ? ZAN_VOK_MOP_NO_BANG : 0);
    if (bang)
        class_addmethod(c, erase(calculate), "bang", 0);
    if (is_variable(adornment))
        class_addmethod(c, erase(other_message), "anything", argtype_gimme, 0);
    if (adornment->inputcount < 0)
        add_count(c, "inputs", erase(get_count<&vok_mop::inputcount>),
                  erase(set_count<zan_vok_mop_inputs_resize>));
    if (adornment->outputcount < 0)
        add_count(c, "outputs", erase(get_count<&vok_mop::outputcount>),
                  erase(set_count<zan_vok_mop_outputs_resize>));
    class_addmethod(c, erase(zan_vok_mop_assist), "assist", argtype_cant, 0);
}

void add_matrix(zan_class *c)
{
    class_addmethod(c, erase(output_matrix), "bang", 0);
    class_addmethod(c, erase(take_matrix), "vok_matrix", argtype_gimme, 0);
    zan_vok_mop_setup_probing(c);
}

void describe(zan_class *c, const vok_mop *adornment)
{
    const auto counted = [](long count, const char *what) {
        return (count < 0 ? "any number of" : std::to_string(count)) + " " + what + (count == 1 ? "" : "s");
    };
    std::string text = "Holds a matrix under a name, copies others into it, reads and writes files.";
    if (adornment)
        text = "Matrix operator with " + counted(adornment->inputcount, "input") + " and " +
               counted(adornment->outputcount, "output") + ".";
    else if (class_nameget(c) != matrix_box())
        text = "Object that answers messages from its outlet.";
    zan_class_setdigest(c, text.c_str());
}

zan_class *find(symbol *name)
{
    if (!is_box_name(name))
        return nullptr;
    initialize();
    zan_class *library = class_findbyname(vokra_space(), library_name(name));
    if (!library || !is_usable(library))
        return nullptr;
    zan_class *c =
        class_new(name->name, erase(make_box), erase(free_box), sizeof(library_box), nullptr, argtype_gimme, 0);
    if (!c || !zan_vok_class_obex_setup(c, offsetof(library_box, obex)))
        return nullptr;
    zan_vok_class_wrap_standard(c, library, zan_vok_wrap_reply_dumpout);
    if (const vok_mop *adornment = adornment_of(library)) {
        add_operator(c, library, adornment);
    } else {
        class_addmethod(c, erase(assist), "assist", argtype_cant, 0);
        if (name == matrix_box())
            add_matrix(c);
    }
    describe(c, adornment_of(library));
    class_register(gensym("box"), c);
    return c;
}

void list(void (*tell)(void *data, symbol *name), void *data)
{
    initialize();
    long count = 0;
    symbol **names = nullptr;
    if (zan_class_names(vokra_space(), &count, &names))
        return;
    for (long i = 0; i < count; i++) {
        symbol *box = with('.', '_', names[i]);
        zan_class *c = class_findbyname(vokra_space(), library_name(box));
        if (is_box_name(box) && c && is_usable(c))
            tell(data, box);
    }
    sysmem_freeptr(names);
}

constexpr zan_class_finder finder{find, list};

} // namespace

void add_library_boxes()
{
    zan_add_class_finder(&finder);
}

} // namespace boxes

// vokra noise: a matrix filled from one functor, or the sheet of them all.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>

#include "files.h"
#include "noise.h"
#include "patches.h"
#include "verbs.h"

namespace program {
namespace {

std::vector<std::string> split(const std::string &text, const char *separators)
{
    std::vector<std::string> parts;
    for (size_t at = 0; at <= text.size();) {
        const size_t end = std::min(text.find_first_of(separators, at), text.size());
        parts.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return parts;
}

atom value_of(const std::string &word)
{
    atom a;
    char *end = nullptr;
    const long whole = std::strtol(word.c_str(), &end, 10);
    if (!*end) {
        atom_setlong(&a, whole);
        return a;
    }
    const double number = std::strtod(word.c_str(), &end);
    if (*end)
        atom_setsym(&a, gensym(word.c_str()));
    else
        atom_setfloat(&a, number);
    return a;
}

std::vector<std::string> attribute_names(void *x)
{
    long count = 0;
    symbol **names = nullptr;
    object_attr_getnames(x, &count, &names);
    return texts_of(count, names);
}

// Sets "role.role.attribute=value value ..." on a functor or on what it holds.
void set(void *functor, const std::string &setting)
{
    const size_t equals = setting.find('=');
    if (equals == std::string::npos)
        throw failure(wrong_use, "noise: --set takes attribute=value, not " + setting);
    std::vector<std::string> path = split(setting.substr(0, equals), ".");
    const std::string attribute = path.back();
    path.pop_back();
    void *x = functor;
    for (const std::string &role : path) {
        void *held = reinterpret_cast<void *>(send(x, "subfunctor", gensym(role.c_str())));
        if (!held)
            throw failure(wrong_use, std::string("noise: ") + vok_object_classname(x)->name +
                                         " holds no functor " + role + did_you_mean(role, attribute_names(x)));
        x = held;
    }
    void *attr = object_attr_get(x, gensym(attribute.c_str()));
    if (!attr)
        throw failure(wrong_use, std::string("noise: ") + vok_object_classname(x)->name + " has no attribute " +
                                     attribute + did_you_mean(attribute, attribute_names(x)));
    std::vector<atom> values;
    for (const std::string &word : split(setting.substr(equals + 1), " ,"))
        if (!word.empty())
            values.push_back(value_of(word));
    const auto *type = reinterpret_cast<const symbol *>(send(attr, "gettype"));
    for (const atom &a : values)
        if (a.type == argtype_sym && type != _vok_sym_symbol && type != _vok_sym_atom && type != _vok_sym_object)
            throw failure(wrong_use, "noise: " + setting + ": a number is wanted, not " + a.value.as_sym->name);
    const quiet_reports quiet;
    if (object_attr_setvalueof(x, gensym(attribute.c_str()), static_cast<long>(values.size()), values.data()))
        throw failure(wrong_use, "noise: " + setting + ": " + quiet.last("this value can't be set"));
}

void set_numbers(void *x, const char *attribute, const std::vector<double> &values)
{
    vok_attr_setdouble_array(x, gensym(attribute), static_cast<long>(values.size()), values.data());
}

struct noise_options {
    filling fill;
    std::string out;
    bool sheet = false;
};

void run_noise(const noise_options &o)
{
    format_to_write(o.out);
    if (o.sheet != o.fill.functor.empty())
        throw failure(wrong_use, "noise: give the name of a functor, or --sheet for all of them");
    save(o.sheet ? contact_sheet() : filled(o.fill), o.out);
}

} // namespace

std::vector<std::string> functor_names(const char *category)
{
    void *classes = vok_functor_classlist_in_category(category ? gensym(category) : nullptr);
    std::set<std::string> names;
    for (long i = 0; classes && i < linklist_getsize(classes); ++i) {
        auto *c = static_cast<zan_class *>(linklist_getindex(classes, i));
        std::string name = class_nameget(c)->name;
        name.erase(0, name.find("functor_") == std::string::npos ? 0 : name.find("functor_") + 8);
        std::replace(name.begin(), name.end(), '_', '.');
        names.insert(name);
    }
    if (classes)
        linklist_chuck(classes);
    return {names.begin(), names.end()};
}

matrix filled(const filling &f)
{
    const owned evaluator(vok_object_new(gensym("vok_functor_evaluate")));
    void *e = evaluator.get();
    atom name;
    atom_setsym(&name, gensym(f.functor.c_str()));
    if (object_attr_setvalueof(e, gensym("basis"), 1, &name))
        throw failure(class_missing,
                      "noise: there is no functor " + f.functor + did_you_mean(f.functor, functor_names()));
    void *functor = reinterpret_cast<void *>(send(e, "subfunctor", gensym("functor")));
    for (const std::string &setting : f.settings)
        set(functor, setting);

    vok_matrix_info info = matrix::default_info();
    info.type = gensym(f.type.c_str());
    info.planecount = f.planes;
    info.dimcount = static_cast<long>(f.dim.size());
    std::copy(f.dim.begin(), f.dim.end(), info.dim);
    for (long size : f.dim)
        if (size < 2)
            throw failure(wrong_use, "noise: a dimension has two cells at least, not " + std::to_string(size));
    matrix out(info);

    std::vector<double> scale = f.scale;
    if (scale.empty())
        scale.push_back(8);
    for (size_t d = scale.size(); d < f.dim.size(); ++d)
        scale.push_back(scale[0] * static_cast<double>(f.dim[d] - 1) / static_cast<double>(f.dim[0] - 1));
    set_numbers(e, "scale", scale);
    set_numbers(e, "origin", f.origin);
    set_numbers(e, "weight", std::vector<double>(static_cast<size_t>(f.planes), f.weight));
    vok_attr_setsym(e, gensym("precision"), gensym(f.precision.c_str()));
    if (f.planes == 1) // one plane stands where it is told
        vok_attr_setfloat(e, gensym("align"), 0);

    const owned without_data(vok_object_new(gensym("vok_mop_io")));
    const list inputs{without_data.get()}, outputs{out.get()};
    if (send(e, "matrix_calc", inputs.get(), outputs.get()) != VOK_ERR_NONE)
        throw failure(failed_running,
                      "noise " + f.functor + ": can't fill a matrix of " + matrix::shape_text(info));
    return out;
}

void add_noise(CLI::App &app)
{
    auto o = std::make_shared<noise_options>();
    o->fill.dim = {512, 512};
    CLI::App *verb = app.add_subcommand(
        "noise",
        "Fill a matrix from a functor: a noise, fractal, filter, distance, transfer or curve. `vokra "
        "classes` lists them, `vokra help vok_functor_noise_voronoi` tells the attributes of one; those of a "
        "functor that it holds are reached by a dot.\n"
        "Example: vokra noise fractal.mono --set level=-0.4 --set basis.filter=quintic -o clouds.png");
    filling &f = o->fill;
    verb->add_option("name", f.functor, "the functor, such as noise.simplex");
    verb->add_option("--set", f.settings, "attribute=value, or attribute=value,value")
        ->take_all()
        ->allow_extra_args(false);
    verb->add_option("--dim", f.dim, "cells along each dimension, 512 512 by default")->expected(1, 32);
    verb->add_option("--planes", f.planes, "planes, each with coordinates of its own")->check(CLI::Range(1, 32));
    verb->add_option("--type", f.type, "type of the cells, char by default: 0 to 1 is 0 to 255")
        ->check(CLI::IsMember({"char", "long", "float32", "float64"}));
    verb->add_option("--precision", f.precision, "what the functor calculates in, float32 by default")
        ->check(CLI::IsMember({"fixed", "float32", "float64"}));
    verb->add_option("--scale", f.scale, "units across each dimension, 8 across the first by default")
        ->expected(1, 32);
    verb->add_option("--origin", f.origin, "coordinates of the first cell, 0 by default")->expected(1, 32);
    verb->add_option("--weight", f.weight, "factor for each value, 1 by default");
    verb->add_flag("--sheet", o->sheet, "instead of one functor, a picture of all with their names");
    verb->add_option("-o,--out", o->out, "the file to write")->required();
    verb->callback([o] {
        load_packs();
        run_noise(*o);
    });
}

} // namespace program

// What stands between a user and the stored value: the classes vok_attr_filter_clip and
// vok_attr_filter_proc, and the calls that put one on an attribute.
#include <cmath>
#include <cstddef>

#include <zan/zan.h>

#include <vokra/commonsyms.h>

#include "kernel/attribute.h"
#include "kernel/message.h"

namespace vok {

namespace {

// ---- clip ----

struct clip_filter {
    object header;
    symbol *type;
    double scale;
    double min;
    double max;
    char usescale;
    char usemin;
    char usemax;
};

zan_class *clip_class;

void *clip_new()
{
    auto *x = static_cast<clip_filter *>(vok_object_alloc(clip_class));
    if (!x)
        return nullptr;
    x->type = _vok_sym_float64;
    x->scale = 1.0;
    x->min = 0.0;
    x->max = 1.0;
    x->usescale = 0;
    x->usemin = 1;
    x->usemax = 1;
    return x;
}

// Toward zero; what no long can hold goes to the nearest one, and NaN to 0.
long truncated(double v)
{
    constexpr double limit = 9223372036854775807.0; // 2^63: the first that doesn't fit
    if (std::isnan(v))
        return 0;
    if (v >= limit)
        return INT64_MAX;
    return v <= -limit ? INT64_MIN : static_cast<long>(v);
}

vok_err clip_filter_atoms(clip_filter *x, symbol *, long argc, atom *argv)
{
    const bool integer = x->type == _vok_sym_char || x->type == _vok_sym_long;
    if (!argv || (!integer && x->type != _vok_sym_float32 && x->type != _vok_sym_float64))
        return VOK_ERR_NONE;
    for (long i = 0; i < argc; ++i) {
        double v = atom_getfloat(argv + i);
        if (x->usescale)
            v *= x->scale;
        if (x->usemin && x->min > v)
            v = x->min;
        if (x->usemax && v > x->max)
            v = x->max;
        if (integer)
            atom_setlong(argv + i, truncated(v));
        else
            atom_setfloat(argv + i, v);
    }
    return VOK_ERR_NONE;
}

constexpr message clip_messages[] = {
    {"filter", fn<clip_filter_atoms>, {argtype_cant}},
};

constexpr attribute clip_attributes[] = {
    {.name = "type", .type = "symbol", .offset = offsetof(clip_filter, type)},
    {.name = "scale", .type = "float64", .offset = offsetof(clip_filter, scale)},
    {.name = "min", .type = "float64", .offset = offsetof(clip_filter, min)},
    {.name = "max", .type = "float64", .offset = offsetof(clip_filter, max)},
    {.name = "usescale", .type = "char", .offset = offsetof(clip_filter, usescale)},
    {.name = "usemin", .type = "char", .offset = offsetof(clip_filter, usemin)},
    {.name = "usemax", .type = "char", .offset = offsetof(clip_filter, usemax)},
};

// ---- proc ----

struct proc_filter {
    object header;
    attr_setter proc; // (object, attr, argc, argv)
};

zan_class *proc_class;

void *proc_new(attr_setter proc)
{
    auto *x = static_cast<proc_filter *>(vok_object_alloc(proc_class));
    if (x)
        x->proc = proc;
    return x;
}

vok_err proc_filter_atoms(proc_filter *x, symbol *, long argc, atom *argv, void *owner, void *attr)
{
    if (!x->proc || !owner || !attr)
        return VOK_ERR_INVP;
    return x->proc(owner, attr, argc, argv);
}

vok_err proc_set(proc_filter *x, attr_setter proc)
{
    x->proc = proc;
    return VOK_ERR_NONE;
}

attr_setter proc_get(proc_filter *x)
{
    return x->proc;
}

constexpr message proc_messages[] = {
    {"filter", fn<proc_filter_atoms>, {argtype_cant}},
    {"setproc", fn<proc_set>, {argtype_cant}},
    {"getproc", fn<proc_get>, {argtype_cant}},
};

// ---- putting one on an attribute ----

// The attribute owns the filter, unless it refuses it.
vok_err attach(void *attr, const char *message_name, void *filter)
{
    if (!filter)
        return VOK_ERR_OMEM;
    const vok_err err = send(attr, gensym(message_name), filter);
    if (err)
        vok_object_free(filter);
    return err;
}

vok_err add_clip(void *attr, const char *message_name, const double *scale, double min, double max, long usemin,
                 long usemax)
{
    if (!attr)
        return VOK_ERR_EROR;
    auto *x = static_cast<clip_filter *>(make(ps_vokra, gensym("vok_attr_filter_clip")));
    if (x) {
        x->type = ask<symbol>(attr, _vok_sym_gettype);
        x->scale = scale ? *scale : 1.0;
        x->usescale = scale != nullptr;
        x->min = min;
        x->max = max;
        x->usemin = usemin != 0;
        x->usemax = usemax != 0;
    }
    return attach(attr, message_name, x);
}

vok_err add_proc(void *attr, const char *message_name, zan_method proc)
{
    if (!attr)
        return VOK_ERR_EROR;
    return attach(attr, message_name, make(ps_vokra, gensym("vok_attr_filter_proc"), proc));
}

} // namespace

void init_attr_filter_classes()
{
    clip_class = add_class({"vok_attr_filter_clip", fn<clip_new>, nullptr, sizeof(clip_filter)}, clip_messages,
                           clip_attributes);
    proc_class = add_class({"vok_attr_filter_proc", fn<proc_new>, nullptr, sizeof(proc_filter)}, proc_messages);
}

} // namespace vok

vok_err vok_attr_addfilterset_clip(void *attr, double min, double max, long usemin, long usemax)
{
    return vok::add_clip(attr, "filterset", nullptr, min, max, usemin, usemax);
}

vok_err vok_attr_addfilterget_clip(void *attr, double min, double max, long usemin, long usemax)
{
    return vok::add_clip(attr, "filterget", nullptr, min, max, usemin, usemax);
}

vok_err vok_attr_addfilterset_clip_scale(void *attr, double scale, double min, double max, long usemin,
                                         long usemax)
{
    return vok::add_clip(attr, "filterset", &scale, min, max, usemin, usemax);
}

vok_err vok_attr_addfilterget_clip_scale(void *attr, double scale, double min, double max, long usemin,
                                         long usemax)
{
    return vok::add_clip(attr, "filterget", &scale, min, max, usemin, usemax);
}

vok_err vok_attr_addfilter_clip(void *attr, double min, double max, long usemin, long usemax)
{
    return vok_attr_addfilterset_clip(attr, min, max, usemin, usemax);
}

vok_err vok_attr_addfilter_clip_scale(void *attr, double scale, double min, double max, long usemin, long usemax)
{
    if (const vok_err err = vok_attr_addfilterset_clip_scale(attr, scale, min, max, usemin, usemax))
        return err;
    return vok_attr_addfilterget_clip_scale(attr, 1.0 / scale, min, max, 0, 0);
}

vok_err vok_attr_addfilterset_proc(void *attr, zan_method proc)
{
    return vok::add_proc(attr, "filterset", proc);
}

vok_err vok_attr_addfilterget_proc(void *attr, zan_method proc)
{
    return vok::add_proc(attr, "filterget", proc);
}

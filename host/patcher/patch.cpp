// The public functions of patches, include/zan/patch.h.
#include "instance.h"

#include <cstring>
#include <new>

using namespace zan;

namespace {

zan_patch *read(const char *name, const char *text, size_t size)
{
    try {
        auto d = std::make_shared<document>();
        if (text) {
            d->shown = name && *name ? name : "patch";
            read_text(*d, {text, size});
        } else {
            read_file(*d, name);
        }
        return new_patch(std::move(d));
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

// Runs a build with these arguments; out of memory counts as one error.
long with_arguments(zan_patch *p, long argc, const atom *argv, long (*run)(zan_patch &))
{
    if (!p)
        return 0;
    boot();
    try {
        p->arguments.assign(argv, argv + (argv && argc > 0 ? argc : 0));
        return run(*p);
    } catch (const std::bad_alloc &) {
        take_down(*p);
        object_error(nullptr, "%s: out of memory", p->text->shown.c_str());
        return 1;
    }
}

} // namespace

extern "C" {

zan_patch *zan_patch_read(const char *filename)
{
    return read(filename ? filename : "", nullptr, 0);
}

zan_patch *zan_patch_parse(const char *name, const char *text, long size)
{
    if (!text)
        text = "";
    return read(name, text, size < 0 ? std::strlen(text) : size_t(size));
}

void zan_patch_free(zan_patch *p)
{
    if (p)
        take_down(*p);
    delete p;
}

long zan_patch_finding(zan_patch *p, long index, zan_finding *to)
{
    if (!p || !to || index < 0 || index >= long(p->findings.size()))
        return zan_err_generic;
    const finding &f = p->findings[size_t(index)];
    *to = {f.kind, f.severity, f.place, f.text.c_str()};
    return zan_err_none;
}

long zan_patch_check(zan_patch *p, long argc, const atom *argv)
{
    return with_arguments(p, argc, argv, check);
}

char *zan_patch_text(zan_patch *p, long *size)
{
    if (!p || !p->text->whole)
        return nullptr;
    try {
        const std::string text = canonical_text(*p->text);
        auto *given = static_cast<char *>(sysmem_newptr(long(text.size()) + 1));
        if (!given)
            return nullptr;
        std::memcpy(given, text.c_str(), text.size() + 1);
        if (size)
            *size = long(text.size());
        return given;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

long zan_patch_open(zan_patch *p, long argc, const atom *argv)
{
    return with_arguments(p, argc, argv, open);
}

void zan_patch_start(zan_patch *p)
{
    if (!p)
        return;
    const scheduler_at_rest rest(true); // what is sent first arrives before any clock is due
    start(*p);
}

void zan_patch_close(zan_patch *p)
{
    if (p)
        take_down(*p);
}

void *zan_patch_find(zan_patch *p, symbol *name)
{
    if (!p || !name || p->boxes.empty())
        return nullptr;
    if (const size_t index = p->text->find(name); index != document::none)
        return p->boxes[index].box;
    const char *slash = std::strchr(name->name, '/');
    if (!slash)
        return nullptr;
    const std::string outer(name->name, slash);
    const size_t index = p->text->find(gensym(outer.c_str()));
    return index == document::none ? nullptr : zan_patch_find(p->boxes[index].inner, gensym(slash + 1));
}

void *zan_patch_beside(void *box, symbol *name)
{
    return zan_patch_find(patch_around(box), name);
}

zan_patch *zan_patch_of_class(zan_patch *p, symbol *classname)
{
    if (!p || !classname)
        return nullptr;
    boot();
    try {
        return patch_of_class(*p, classname);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

long zan_patch_getbox(zan_patch *p, long index, zan_patch_box *to)
{
    if (!p || !to || index < 0 || index >= long(p->text->boxes.size()))
        return zan_err_generic;
    const document::box &b = p->text->boxes[size_t(index)];
    const made_box made = p->boxes.empty() ? made_box{} : p->boxes[size_t(index)];
    *to = {b.name, b.classname, 0, nullptr, b.line, made.box, made.missing, made.inner};
    to->argv = p->text->arguments(b, &to->argc);
    return zan_err_none;
}

long zan_patch_getcord(zan_patch *p, long index, zan_patch_cord *to)
{
    if (!p || !to || index < 0 || index >= long(p->text->cords.size()))
        return zan_err_generic;
    const document::cord &c = p->text->cords[size_t(index)];
    *to = {c.source_name, c.outlet, c.destination_name, c.inlet, c.line};
    return zan_err_none;
}

} // extern "C"

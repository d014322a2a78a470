// Reports: text goes to the box of an object, else to its wrapper, else to nobody in
// particular, and codes become words. Everything formats on the stack, so calculation
// threads may report too.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <sys/uio.h>
#include <unistd.h>

#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "kernel/message.h"
#include "kernel/words.h"

namespace {

using printer = void (*)(void *x, const char *format, ...);

bool is_live(const void *x)
{
    return x && static_cast<const object *>(x)->magic == ZAN_OBJECT_MAGIC;
}

void *obex_word(void *x, symbol *key)
{
    void *value = nullptr;
    return object_obex_lookup(x, key, &value) ? nullptr : value;
}

void report(printer print, void *x, const char *format, va_list args)
{
    char text[2049];
    vsnprintf(text, 2048, format, args);
    text[2048] = 0;

    if (is_live(x)) {
        static symbol *const box_key = gensym("#B");
        static symbol *const wrapper_key = gensym("zanwrapper");
        if (obex_word(x, box_key)) {
            print(x, "%s", post_class_stroffset(object_classname(x), text));
            return;
        }
        if (void *wrapper = obex_word(x, wrapper_key)) {
            print(wrapper, "%s", post_class_stroffset(object_classname(wrapper), text));
            return;
        }
    }
    print(nullptr, "%s", text);
}

const char *class_text(void *x)
{
    symbol *name = x ? object_classname(x) : nullptr;
    return name ? name->name : "";
}

// Reads memory that may not be there.
bool read_untrusted(const void *from, void *to, size_t size)
{
    const iovec here{to, size}, there{const_cast<void *>(from), size};
    return process_vm_readv(getpid(), &here, 1, &there, 1, 0) == static_cast<ssize_t>(size);
}

constexpr struct {
    vok_err code;
    const char *text;
} errors[] = {
    {VOK_ERR_DUPL, "duplicate"},
    {VOK_ERR_DUVL, "data unavailable for request"},
    {VOK_ERR_EROR, "error type unspecified"},
    {VOK_ERR_HUVL, "hardware unavailable for request"},
    {VOK_ERR_INOB, "invalid object"},
    {VOK_ERR_INVI, "invalid input"},
    {VOK_ERR_INVO, "invalid output"},
    {VOK_ERR_INVP, "invalid pointer"},
    {VOK_ERR_MSDM, "mismatch dim"},
    {VOK_ERR_MSPL, "mismatch plane"},
    {VOK_ERR_MSTP, "mismatch type"},
    {VOK_ERR_MXUN, "matrix unknown"},
    {VOK_ERR_OBND, "out of bounds"},
    {VOK_ERR_OBSY, "object busy"},
    {VOK_ERR_OMEM, "out of memory"},
};

} // namespace

void vok_object_error(void *x, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    report(object_error, x, format, args);
    va_end(args);
}

void vok_object_post(void *x, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    report(object_post, x, format, args);
    va_end(args);
}

const char *post_class_stroffset(symbol *classname, const char *text)
{
    if (!classname || classname == _vok_sym_nothing)
        return text;
    const char *found = std::strstr(text, classname->name);
    if (!found)
        return text;
    found += std::strlen(classname->name);
    if (*found == ':')
        ++found;
    if (*found == ' ')
        ++found;
    return found;
}

void vok_error_code(void *x, vok_err code)
{
    defer(x, vok::method(vok_error_docode), reinterpret_cast<symbol *>(code), 0, nullptr);
}

void vok_error_sym(void *x, symbol *text)
{
    defer(x, vok::method(vok_error_dosym), text, 0, nullptr);
}

void vok_post_sym(void *x, symbol *text)
{
    defer(x, vok::method(vok_post_dosym), text, 0, nullptr);
}

void vok_error_docode(void *x, symbol *word, long, atom *)
{
    const vok_err code = reinterpret_cast<vok_err>(word);
    if (code == VOK_ERR_NONE || code == VOK_ERR_SPRS)
        return;
    for (const auto &e : errors)
        if (e.code == code) {
            vok_object_error(x, "%s: %s", class_text(x), e.text);
            return;
        }
    // Deliberate: a code outside the table is the address of its four characters. But foreign
    // calculations return any number, so what can't be read shows the number's own four.
    const auto is_text = [](char each) { return each >= ' ' && each <= '~'; };
    char c[4] = {char(code >> 24), char(code >> 16), char(code >> 8), char(code)};
    const bool is_address = read_untrusted(word, c, sizeof c);
    if (is_address || (code >> 32 == 0 && std::all_of(c, c + 4, is_text)))
        vok_object_error(x, "%s: '%c%c%c%c' (%d)", class_text(x), c[0], c[1], c[2], c[3], static_cast<int>(code));
    else
        vok_object_error(x, "%s: error type unspecified (%ld)", class_text(x), code);
}

void vok_error_dosym(void *x, symbol *text, long, atom *)
{
    vok_object_error(x, "%s: %s", class_text(x), text ? text->name : "");
}

void vok_post_dosym(void *x, symbol *text, long, atom *)
{
    vok_object_post(x, "%s: %s", class_text(x), text ? text->name : "");
}

void vok_cpost(const char *format, ...)
{
    zan_word w[8];
    va_list list;
    va_start(list, format);
    vok::take_words(list, w);
    va_end(list);
    char line[2048];
    snprintf_zero(line, sizeof line, "%s\n", format);
    cpost(line, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}

vok_err vok_err_from_zan_err(long number)
{
    switch (number) {
    case zan_err_none: return VOK_ERR_NONE;
    case zan_err_invalid_ptr: return VOK_ERR_INVP;
    case zan_err_duplicate: return VOK_ERR_DUPL;
    case zan_err_out_of_mem: return VOK_ERR_OMEM;
    default: return VOK_ERR_EROR;
    }
}

// The class vok_charset_converter: text from one character set into another, over iconv.
#include <algorithm>
#include <climits>
#include <cstring>
#include <iconv.h>
#include <memory>
#include <new>

#include <zan/zan.h>

#include <vokra/kernel.h>
#include <vokra/xml.h>

#include "kernel/class_table.h"
#include "kernel/message.h"
#include "xml/xml.h"

#define DEFINE(global, name, iconv_name) symbol *global;
VOK_CHARACTER_SETS(DEFINE)
#undef DEFINE

namespace {

zan_class *converter_class;

struct character_set {
    symbol *const *name;
    const char *iconv_name;
};
#define ROW(global, name, iconv_name) {&(global), iconv_name},
constexpr character_set character_sets[] = {VOK_CHARACTER_SETS(ROW)};
#undef ROW

const character_set *find_set(symbol *name)
{
    for (const character_set &set : character_sets)
        if (name && *set.name == name)
            return &set;
    return nullptr;
}

void close_handle(vok_charset_converter *x)
{
    if (x->handle)
        iconv_close(static_cast<iconv_t>(x->handle));
    x->handle = nullptr;
}

bool is_ascii(std::string_view text)
{
    unsigned char all = 0;
    for (const char c : text)
        all = static_cast<unsigned char>(all | static_cast<unsigned char>(c));
    return all < 0x80;
}

} // namespace

vok_err vok_charset_init(void)
{
#define FILL(global, name, iconv_name) global = gensym(name);
    VOK_CHARACTER_SETS(FILL)
#undef FILL
    static constexpr vok::message messages[] = {
        {"convert", vok::fn<vok_charset_converter_convert>, {argtype_cant}},
    };
    converter_class = vok::add_class({"vok_charset_converter", vok::fn<vok_charset_converter_new>,
                                      vok::fn<vok_charset_converter_free>, sizeof(vok_charset_converter)},
                                     messages);
    return converter_class ? VOK_ERR_NONE : VOK_ERR_OMEM;
}

const char *vok_charset_encoding_sym2enc(symbol *encoding)
{
    const character_set *set = find_set(encoding);
    return set ? set->iconv_name : nullptr;
}

long vok_charset_encoding_checkvalid(symbol *encoding)
{
    return find_set(encoding) != nullptr;
}

vok_charset_converter *vok_charset_converter_new(symbol *from, symbol *to)
{
    auto *x = static_cast<vok_charset_converter *>(vok_object_alloc(converter_class));
    if (!x)
        return nullptr;
    x->from = vok_charset_encoding_sym2enc(from);
    x->to = vok_charset_encoding_sym2enc(to);
    const char *why = nullptr;
    if (!x->from || !x->to)
        why = "bad or no character set supplied";
    else if (vok_charset_converter_initialize(x))
        why = "error initializing converter";
    if (!why)
        return x;
    object_error(nullptr, "vok.charset: could not create new converter (%s)", why);
    vok_object_free(x);
    return nullptr;
}

void vok_charset_converter_free(vok_charset_converter *x)
{
    close_handle(x);
}

vok_err vok_charset_converter_initialize(vok_charset_converter *x)
{
    if (!x || !x->from || !x->to)
        return VOK_ERR_EROR;
    close_handle(x);
    const iconv_t handle = iconv_open(x->to, x->from);
    if (handle == reinterpret_cast<iconv_t>(-1))
        return VOK_ERR_EROR;
    x->handle = handle;
    return VOK_ERR_NONE;
}

vok_err vok_charset_converter_convert(vok_charset_converter *x, const char *text, long size, char **out,
                                      long *outsize)
{
    if (!x || !x->handle || !x->from || !x->to || !text || size < 0 || !out || !outsize)
        return VOK_ERR_EROR;
    char *room = size <= LONG_MAX / 4 ? static_cast<char *>(sysmem_newptr(std::max(4 * size, 1L))) : nullptr;
    if (!room) {
        object_error(nullptr, "vok.charset: memory error allocating temporary character buffer");
        return VOK_ERR_OMEM;
    }
    vok_err err = VOK_ERR_NONE;
    char *source = const_cast<char *>(text); // iconv reads it only
    char *end = room;
    auto left = static_cast<size_t>(size), space = static_cast<size_t>(4 * size);
    const size_t result = iconv(static_cast<iconv_t>(x->handle), &source, &left, &end, &space);
    char *exact = nullptr;
    if (result != 0) {
        object_error(nullptr, "vok.charset: error %d converting character encodings", static_cast<int>(result));
        iconv(static_cast<iconv_t>(x->handle), nullptr, nullptr, nullptr, nullptr); // as new for the next text
        err = VOK_ERR_EROR;
    } else if (!(exact = static_cast<char *>(sysmem_newptr(std::max(long(end - room), 1L))))) {
        object_error(nullptr, "vok.charset: memory error allocating output character buffer");
        err = VOK_ERR_OMEM;
    } else {
        std::memcpy(exact, room, static_cast<size_t>(end - room));
        *out = exact;
        *outsize = end - room;
    }
    sysmem_freeptr(room);
    return err;
}

namespace vok::xml {

text_codec::text_codec(symbol *from, symbol *to) : from_(from), to_(to)
{
    const auto is_wide = [](symbol *s) { return s == ps_utf_16 || s == ps_utf_16be || s == ps_utf_16le; };
    ascii_passes_ = !is_wide(from) && !is_wide(to);
}

text_codec::~text_codec()
{
    if (converter_)
        vok_object_free(converter_);
}

bool text_codec::convert(std::string_view text, std::string &out)
try {
    if (ascii_passes_ && is_ascii(text)) {
        out += text;
        return true;
    }
    if (!tried_) {
        tried_ = true;
        converter_ = vok_charset_converter_new(from_, to_);
    }
    char *converted = nullptr;
    long size = 0;
    if (vok_charset_converter_convert(converter_, text.data(), long(text.size()), &converted, &size))
        return false;
    const std::unique_ptr<char, decltype([](char *p) { sysmem_freeptr(p); })> held(converted);
    out.append(converted, static_cast<size_t>(size));
    return true;
} catch (const std::bad_alloc &) { // what comes together here is as large as a document
    object_error(nullptr, "vok.charset: memory error allocating output character buffer");
    return false;
}

} // namespace vok::xml

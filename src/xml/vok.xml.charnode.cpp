// Character data: the bytes that text, comments and CDATA sections hold. Every change makes
// a new block.
#include <algorithm>
#include <cstring>

#include <vokra/memory.h>

#include "xml/xml.h"

using namespace vok::xml;

namespace {

std::string_view data_of(const vok_xml_charnode *x)
{
    return x->data ? std::string_view(x->data, size_t(x->length)) : std::string_view();
}

// The node's data become these three pieces, which may lie in them.
vok_err replace_by(vok_xml_charnode *x, std::string_view front, std::string_view middle, std::string_view back)
{
    const long length = long(front.size() + middle.size() + back.size());
    auto *data = static_cast<char *>(vok_getbytes(length + 1));
    if (!data)
        return VOK_ERR_OMEM;
    char *end = data;
    for (const std::string_view piece : {front, middle, back})
        end = std::copy(piece.begin(), piece.end(), end);
    *end = 0;
    free_data(x);
    x->data = data;
    x->length = length;
    return VOK_ERR_NONE;
}

std::string_view view_of(const char *text)
{
    return text ? text : "";
}

} // namespace

void vok::xml::free_data(vok_xml_charnode *x)
{
    if (x->data)
        vok_freebytes(x->data, x->length + 1);
    x->data = nullptr;
    x->length = 0;
}

vok_err vok::xml::append_data(vok_xml_charnode *x, std::string_view text)
{
    return replace_by(x, data_of(x), text, {});
}

vok_err vok_xml_charnode_appenddata(vok_xml_charnode *x, const char *text)
{
    return x ? append_data(x, view_of(text)) : long{VOK_ERR_EROR};
}

vok_err vok_xml_charnode_insertdata(vok_xml_charnode *x, long offset, const char *text)
{
    return vok_xml_charnode_replacedata(x, offset, 0, text);
}

vok_err vok_xml_charnode_deletedata(vok_xml_charnode *x, long offset, long count)
{
    return vok_xml_charnode_replacedata(x, offset, count, nullptr);
}

vok_err vok_xml_charnode_replacedata(vok_xml_charnode *x, long offset, long count, const char *text)
{
    if (!x || offset < 0 || offset > x->length || count < 0)
        return VOK_ERR_EROR;
    const std::string_view data = data_of(x);
    const long behind = offset + std::min(count, x->length - offset);
    return replace_by(x, data.substr(0, size_t(offset)), view_of(text), data.substr(size_t(behind)));
}

char *vok_xml_charnode_substringdata(vok_xml_charnode *x, long offset, long count)
{
    if (!x || !x->data)
        return nullptr;
    offset = std::clamp(offset, 0L, x->length);
    count = std::clamp(count, 0L, x->length - offset);
    auto *part = static_cast<char *>(vok_getbytes(count + 1));
    if (!part)
        return nullptr;
    std::memcpy(part, x->data, size_t(count)); // from the start, deliberately
    part[count] = 0;
    return part;
}

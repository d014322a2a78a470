// Writing documents: one walk that makes a line for each start of a tag, end of a tag and
// line of text, and three places where lines can go: a file, the messages to an object, the
// console.
#include <algorithm>
#include <cstring>
#include <initializer_list>

#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/memory.h>

#include "kernel/message.h"
#include "xml/xml.h"

using namespace vok::xml;

namespace {

// The indentation of deeper elements would fill the room of a tag's line; a document of a
// hundred thousand levels would come out as gigabytes of tabs.
constexpr long deepest = 8000;
constexpr long longest_value = 8096;         // of an attribute, with its NUL
constexpr long longest_printed_value = 1024; // in a post
constexpr size_t flush_at = 65536;
constexpr uint32_t type_text = 0x54455854; // TEXT
constexpr char white[] = " \t\n\r";

symbol *encoding_of(const vok_xml_node *x)
{
    const vok_xml_document *d = x->ownerdocument;
    if (x->nodetype == ps.document)
        d = reinterpret_cast<const vok_xml_document *>(x);
    // what was appended to a node without a document has that node for one
    return d && d->node.nodetype == ps.document ? d->encoding : ps_utf_8;
}

// Where lines go.
class line_sink {
  public:
    long value_size = longest_value;
    bool escapes = true; // values of attributes
    bool too_deep = false;

    line_sink() = default;
    virtual ~line_sink() = default;
    line_sink(const line_sink &) = delete;
    line_sink &operator=(const line_sink &) = delete;
    // A line of text, whose pieces are converted each by itself.
    virtual void line(long depth, std::initializer_list<std::string_view> pieces) = 0;
    // The line of a tag, converted as a whole.
    virtual void tag(long depth, std::string_view body) = 0;
};

// Lines in the encoding of a document. What can't be converted is left out.
class encoded_sink : public line_sink {
  public:
    explicit encoded_sink(const vok_xml_node *x) : codec_(ps_ms_ansi, encoding_of(x)) {}
    void line(long depth, std::initializer_list<std::string_view> pieces) override
    {
        codec_.convert(indented(depth), bytes_);
        for (const std::string_view piece : pieces)
            codec_.convert(piece, bytes_);
        codec_.convert("\n", bytes_);
        line_ended();
    }
    void tag(long depth, std::string_view body) override
    {
        codec_.convert(indented(depth).append(body).append("\n"), bytes_);
        line_ended();
    }
    void header(const vok_xml_document *x)
    {
        if (!x->hasheader)
            return;
        std::string text = R"(<?xml version="1.0" encoding=")";
        text += x->encoding->name;
        text += "\" standalone=\"yes\"?>\n\n";
        codec_.convert(text, bytes_);
        line_ended();
    }

  protected:
    virtual void line_ended() = 0;
    std::string bytes_;

  private:
    std::string &indented(long depth) { return line_.assign(size_t(std::max(depth, 0L)), '\t'); }
    text_codec codec_;
    std::string line_;
};

class file_sink : public encoded_sink {
  public:
    file_sink(const vok_xml_node *x, zan_file_handle file) : encoded_sink(x), file_(file) {}
    // 0, or the first error that the file gave.
    long flush()
    {
        long count = long(bytes_.size());
        if (const long err = sysfile_write(file_, &count, bytes_.data()); err && !err_)
            err_ = err;
        bytes_.clear();
        return err_;
    }

  private:
    void line_ended() override
    {
        if (bytes_.size() >= flush_at)
            flush();
    }
    zan_file_handle file_;
    long err_ = 0;
};

// A text with its size, as UTF-16 has zeros among its bytes.
void append_to(void *buffer, const std::string &bytes)
{
    vok::send(buffer, _vok_sym_append, bytes.c_str(), bytes.size());
}

class message_sink : public encoded_sink {
  public:
    message_sink(const vok_xml_node *x, void *buffer) : encoded_sink(x), buffer_(buffer) {}

  private:
    void line_ended() override
    {
        append_to(buffer_, bytes_);
        bytes_.clear();
    }
    void *buffer_;
};

class post_sink : public line_sink {
  public:
    explicit post_sink(void *x) : x_(x)
    {
        value_size = longest_printed_value;
        escapes = false;
    }
    void line(long depth, std::initializer_list<std::string_view> pieces) override
    {
        std::string text(size_t(4 * std::clamp(depth, 0L, 512L)), ' '); // a post is shorter than that
        for (const std::string_view piece : pieces)
            text += piece;
        vok_object_post(x_, "%s", text.c_str());
    }
    void tag(long depth, std::string_view body) override { line(depth, {body}); }

  private:
    void *x_;
};

void write_text(const vok_xml_charnode *x, long depth, line_sink &to)
{
    const std::string_view ends("\0\n\r", 3);
    std::string_view rest(x->data ? x->data : "", size_t(x->length));
    for (size_t start = 0; (start = rest.find_first_not_of(white)) != rest.npos && rest[start];) {
        rest.remove_prefix(start);
        const size_t end = std::min(rest.find_first_of(ends), rest.size());
        to.line(depth, {rest.substr(0, end)});
        rest.remove_prefix(end);
    }
}

void append_attribute(std::string &tag, vok_xml_node *attribute, const line_sink &to)
{
    char room[longest_value], *value = room;
    long size = to.value_size;
    vok_xml_node_getnodevalasstring(attribute, &size, &value);
    tag.append(" ").append(attribute->nodename->name).append("=\"");
    long escaped_size = 0;
    if (char *escaped = to.escapes ? vok_xml_convert_entities(value, &escaped_size) : nullptr) {
        tag += escaped;
        vok_freebytes(escaped, escaped_size);
    } else {
        tag += value;
    }
    tag += '"';
}

void write_tree(vok_xml_node *root, long depth, line_sink &to)
{
    std::string body;
    const auto data_of = [](const vok_xml_node *n) {
        const char *data = reinterpret_cast<const vok_xml_charnode *>(n)->data;
        return std::string_view(data ? data : "");
    };
    walk(
        root, depth,
        [&](vok_xml_node *n, long d) {
            if (d > deepest) {
                to.too_deep = true;
                return false;
            }
            if (n->nodetype == ps.text) {
                write_text(reinterpret_cast<vok_xml_charnode *>(n), d, to);
            } else if (n->nodetype == ps.cdata) {
                to.line(d, {"<![CDATA[", data_of(n), "]]>"});
            } else if (n->nodetype == ps.comment) {
                to.line(d, {"<!--", data_of(n), "-->"});
            } else {
                body.assign("<").append(n->nodename->name);
                const long count = linklist_getsize(n->attributes);
                for (long i = 0; i < count; i++)
                    append_attribute(body, node_of(linklist_getindex(n->attributes, i)), to);
                const bool has_children = vok_xml_node_haschildnodes(n);
                to.tag(d, body += has_children ? ">" : " />");
                return has_children;
            }
            return false;
        },
        [&](vok_xml_node *n, long d) { to.tag(d, body.assign("</").append(n->nodename->name).append(">")); });
    if (to.too_deep)
        vok_object_error(root, "vok_xml_document: elements more than %ld deep were left out", deepest);
    to.too_deep = false;
}

void write_children(vok_xml_document *x, line_sink &to)
{
    const long count = linklist_getsize(x->node.childnodes);
    for (long i = 0; i < count; i++)
        write_tree(node_of(linklist_getindex(x->node.childnodes, i)), 0, to);
}

// The file's name as argument or by the dialog; false when that is cancelled.
bool name_file(long argc, atom *argv, char *name, short *path)
{
    if (symbol *given = argc > 0 && argv ? atom_getsym(argv) : nullptr) {
        strncpy_zero(name, given->name, ZAN_NAME_SIZE);
        return true;
    }
    uint32_t type = type_text;
    strncpy_zero(name, "untitled.xml", ZAN_NAME_SIZE);
    return saveasdialog_extended(name, path, &type, &type_text, 1) == 0;
}

bool encode(void *node, long count, const char *text, std::string &bytes)
{
    text_codec codec(ps_ms_ansi, encoding_of(node_of(node)));
    return codec.convert({text, size_t(std::max(count, 0L))}, bytes);
}

} // namespace

vok_err vok_xml_document_createheader(vok_xml_document *x, symbol *encoding)
{
    if (!x)
        return VOK_ERR_EROR;
    x->hasheader = encoding && (encoding == ps_utf_8 || encoding == ps_utf_16 || encoding == ps_iso_8859_1 ||
                                encoding == ps_us_ascii);
    x->encoding = x->hasheader ? encoding : ps_utf_8;
    return VOK_ERR_NONE;
}

vok_err vok_xml_document_write(vok_xml_document *x, symbol *, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_NONE;
    char name[ZAN_NAME_SIZE];
    short path = 0;
    if (!name_file(argc, argv, name, &path))
        return VOK_ERR_NONE;
    zan_file_handle file = nullptr;
    if (path_createsysfile(name, path, type_text, &file)) {
        vok_object_error(x, "vok_xml_document_write: could not open file %s", name);
        return VOK_ERR_NONE;
    }
    x->filename = gensym(name);
    x->path = path;
    file_sink to(&x->node, file);
    to.header(x);
    write_children(x, to);
    long err = to.flush();
    long position = 0;
    if (!err && !(err = sysfile_getpos(file, &position)))
        err = sysfile_seteof(file, position);
    const long closed = sysfile_close(file);
    if (err || closed)
        vok_object_error(x, "vok_xml_document_write: could not write file %s", name);
    return VOK_ERR_NONE;
}

vok_err vok_xml_document_write_buffer(vok_xml_document *x, void *buffer)
{
    if (!x || !buffer)
        return VOK_ERR_EROR;
    message_sink to(&x->node, buffer);
    to.header(x);
    write_children(x, to);
    return VOK_ERR_NONE;
}

vok_err vok_xml_document_print(vok_xml_document *x)
{
    if (!x)
        return VOK_ERR_EROR;
    post_sink to(x);
    write_children(x, to);
    return VOK_ERR_NONE;
}

vok_err vok_xml_node_write(void *node, zan_file_handle file, long depth)
{
    if (!node || !file)
        return VOK_ERR_EROR;
    file_sink to(node_of(node), file);
    write_tree(node_of(node), depth, to);
    return to.flush() ? VOK_ERR_EROR : VOK_ERR_NONE;
}

vok_err vok_xml_node_write_to_buffer(void *node, void *buffer, long depth)
{
    if (!node || !buffer)
        return VOK_ERR_EROR;
    message_sink to(node_of(node), buffer);
    write_tree(node_of(node), depth, to);
    return VOK_ERR_NONE;
}

vok_err vok_xml_node_print(void *node, long depth)
{
    if (!node)
        return VOK_ERR_EROR;
    post_sink to(node);
    write_tree(node_of(node), depth, to);
    return VOK_ERR_NONE;
}

vok_err vok_xml_node_encode_and_write(void *node, zan_file_handle file, long *count, const char *text)
{
    if (!node || !file || !count || !text)
        return VOK_ERR_EROR;
    std::string bytes;
    const bool converted = encode(node, *count, text, bytes);
    *count = long(bytes.size());
    if (!converted || sysfile_write(file, count, bytes.data()))
        return VOK_ERR_EROR;
    return VOK_ERR_NONE;
}

vok_err vok_xml_node_encode_and_write_to_buffer(void *node, void *buffer, long *count, const char *text)
{
    if (!node || !buffer || !count || !text)
        return VOK_ERR_EROR;
    std::string bytes;
    const bool converted = encode(node, *count, text, bytes);
    *count = long(bytes.size());
    if (!converted)
        return VOK_ERR_EROR;
    append_to(buffer, bytes);
    return VOK_ERR_NONE;
}

char *vok_xml_convert_entities(const char *text, long *count)
{
    if (!text || !count || !std::strpbrk(text, "\"&<>"))
        return nullptr;
    std::string escaped;
    for (const char *c = text; *c; c++) {
        switch (*c) {
        case '"': escaped += "&quot;"; break;
        case '&': escaped += "&amp;"; break;
        case '<': escaped += "&lt;"; break;
        case '>': escaped += "&gt;"; break;
        default: escaped += *c;
        }
    }
    const long size = long(escaped.size()) + 1;
    auto *block = static_cast<char *>(vok_getbytes(size));
    if (!block)
        return nullptr;
    std::memcpy(block, escaped.c_str(), size_t(size));
    *count = size;
    return block;
}

// Reading documents: expat tells of elements and text, and the tree grows where the reader
// stands. While the parser runs, what it hands out is UTF-8, whatever the file was in.
#include <algorithm>
#include <cstring>
#include <expat.h>

#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "xml/xml.h"

using namespace vok::xml;

namespace {

// A run of character data is taken up to this many bytes.
constexpr size_t longest_run = 4095;
// An entity may be made of others, and parsers before expat 2.7 go down by a call for each:
// more of them could be deeper than a stack.
constexpr long most_entities = 1000;
constexpr size_t largest_bite = size_t{1} << 30; // the parser counts in ints

class tree_builder {
  public:
    tree_builder(vok_xml_document *x, XML_Parser parser) : x_(x), parser_(parser), codec_(ps_utf_8, ps_ms_ansi)
    {
        XML_SetUserData(parser, this);
        XML_SetXmlDeclHandler(parser, [](void *b, const XML_Char *, const XML_Char *encoding, int) {
            vok_xml_document_createheader(of(b)->x_, encoding ? gensym(encoding) : nullptr);
        });
        XML_SetElementHandler(
            parser, [](void *b, const XML_Char *name, const XML_Char **facts) { of(b)->open(name, facts); },
            [](void *b, const XML_Char *) { of(b)->close(); });
        // With a default handler the parser leaves entities in text alone; it drops them.
        XML_SetDefaultHandler(parser, [](void *, const XML_Char *, int) {});
        XML_SetCharacterDataHandler(
            parser, [](void *b, const XML_Char *text, int length) { of(b)->text(text, size_t(length)); });
        XML_SetCommentHandler(parser, [](void *b, const XML_Char *text) { of(b)->comment(text); });
        XML_SetCdataSectionHandler(
            parser, [](void *b) { of(b)->open_cdata(); }, [](void *b) { of(b)->close(); });
        XML_SetEntityDeclHandler(parser, [](void *b, const XML_Char *, int, const XML_Char *, int,
                                            const XML_Char *, const XML_Char *, const XML_Char *,
                                            const XML_Char *) { of(b)->count_entity(); });
        x_->current = &x_->node;
        x_->depth = 0;
    }
    ~tree_builder()
    {
        put_text();
        x_->current = &x_->node;
        x_->depth = 0;
    }
    tree_builder(const tree_builder &) = delete;
    tree_builder &operator=(const tree_builder &) = delete;

  private:
    static tree_builder *of(void *builder) { return static_cast<tree_builder *>(builder); }

    void stop()
    {
        stopped_ = true;
        XML_StopParser(parser_, XML_FALSE);
    }

    // What can't be decoded is empty text.
    const std::string &decoded(std::string_view text)
    {
        decoded_.clear();
        codec_.convert(text, decoded_);
        return decoded_;
    }

    // Hangs a new node in at the place where the reader stands; null stops the reader.
    template <typename T> T *put(T *made)
    {
        if (made && !vok_xml_node_appendchild(x_->current, made))
            return made;
        if (made)
            vok_object_free(made);
        stop();
        return nullptr;
    }

    void go_into(vok_xml_node *n)
    {
        x_->current = n;
        x_->depth++;
    }

    void open(const XML_Char *name, const XML_Char **facts)
    {
        put_text();
        if (stopped_)
            return;
        vok_xml_element *made = put(vok_xml_document_createelement(x_, gensym(decoded(name).c_str())));
        if (!made)
            return;
        for (; facts[0]; facts += 2) {
            vok_xml_attribute *fact = vok_xml_document_createattribute(x_, gensym(decoded(facts[0]).c_str()));
            if (!fact || vok_xml_node_setnodevalasstring(fact, decoded(facts[1]).c_str()) ||
                !list_made(made->node.attributes) || linklist_append(made->node.attributes, fact) < 0) {
                vok_object_free(fact);
                return stop();
            }
            fact->specified = 1;
        }
        go_into(&made->node);
    }

    void open_cdata()
    {
        put_text();
        if (stopped_)
            return;
        if (vok_xml_charnode *made = put(vok_xml_document_createcdatasection(x_, nullptr)))
            go_into(&made->node);
    }

    void close()
    {
        put_text();
        if (stopped_)
            return;
        x_->depth--;
        x_->current = x_->current->parentnode;
    }

    void comment(const XML_Char *text)
    {
        put_text();
        if (!stopped_)
            put(vok_xml_document_createcomment(x_, decoded(text).c_str()));
    }

    // Runs that follow one another are one node's. They are gathered until something else
    // comes, as each change of a node's data copies all of it.
    void text(const XML_Char *text, size_t length)
    {
        if (length > longest_run)
            for (length = longest_run; length > 0 && (text[length] & 0xC0) == 0x80;)
                length--; // not within a character
        codec_.convert({text, length}, run_);
        has_run_ = true;
    }

    void put_text()
    {
        if (!has_run_)
            return;
        has_run_ = false;
        if (!stopped_) {
            vok_xml_node *last = last_child(x_->current);
            vok_xml_node *into = x_->current->nodetype == ps.cdata   ? x_->current
                                 : last && last->nodetype == ps.text ? last
                                                                     : nullptr;
            if (!into)
                put(vok_xml_document_createtextnode(x_, run_.c_str()));
            else if (append_data(reinterpret_cast<vok_xml_charnode *>(into), run_))
                stop();
        }
        run_.clear();
    }

    void count_entity()
    {
        if (++entities_ > most_entities)
            stop();
    }

    vok_xml_document *x_;
    XML_Parser parser_;
    text_codec codec_;
    std::string decoded_, run_;
    bool has_run_ = false, stopped_ = false;
    long entities_ = 0;
};

void report_fault(vok_xml_document *x, XML_Parser parser, std::string_view text)
{
    const long offset = std::clamp(long{XML_GetCurrentByteIndex(parser)}, 0L, long(text.size()));
    const long line = 1 + std::count(text.begin(), text.begin() + offset, '\n');
    std::string_view rest = text.substr(size_t(offset), 255);
    rest = rest.substr(0, rest.find_first_of(std::string_view("\0\n\r", 3)));
    vok_object_error(x, "vok_xml_document: error reading file at byte offset %ld / %s", offset,
                     XML_ErrorString(XML_GetErrorCode(parser)));
    vok_object_error(x, "line (%ld): %.*s", line, int(rest.size()), rest.data());
}

vok_err parse(vok_xml_document *x, std::string_view text)
{
    XML_Parser parser = XML_ParserCreate(nullptr);
    if (!parser) {
        vok_object_error(x, "vok_xml_document: could not allocate memory for parser");
        return VOK_ERR_EROR;
    }
    vok_err err = VOK_ERR_NONE;
    {
        tree_builder builder(x, parser);
        for (std::string_view rest = text; !err;) {
            const size_t bite = std::min(rest.size(), largest_bite);
            const bool is_last = bite == rest.size();
            if (XML_Parse(parser, rest.data(), int(bite), is_last) == XML_STATUS_ERROR)
                err = VOK_ERR_EROR;
            if (is_last)
                break;
            rest.remove_prefix(bite);
        }
    }
    if (err)
        report_fault(x, parser, text);
    XML_ParserFree(parser);
    return err;
}

void empty_document(vok_xml_document *x)
{
    vok_xml_node_removeallchildren(x);
    x->node.firstchild = x->node.lastchild = nullptr;
}

} // namespace

vok_err vok_xml_document_process_buffer(vok_xml_document *x, const char *text)
{
    return x && text ? parse(x, text) : long{VOK_ERR_EROR};
}

vok_err vok_xml_document_read_buffer(vok_xml_document *x, const char *text)
{
    if (!x || !text)
        return VOK_ERR_EROR;
    empty_document(x);
    return parse(x, text);
}

vok_err vok_xml_document_read(vok_xml_document *x, symbol *, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_EROR;
    char name[ZAN_NAME_SIZE] = "<none>";
    short path = 0;
    uint32_t type = 0;
    if (symbol *given = argc > 0 && argv ? atom_getsym(argv) : nullptr) {
        strncpy_zero(name, given->name, sizeof name);
        if (locatefile_extended(name, &path, &type, nullptr, 0))
            return VOK_ERR_EROR;
    } else if (open_dialog(name, &path, &type, nullptr, 0)) {
        return VOK_ERR_EROR;
    }
    zan_file_handle file = nullptr;
    if (path_opensysfile(name, path, &file, 1))
        return VOK_ERR_EROR;
    x->filename = gensym(name);
    x->path = path;
    empty_document(x);

    vok_err err = VOK_ERR_EROR;
    zan_handle text = sysmem_newhandle(1);
    if (!text)
        vok_object_error(x, "vok_xml_document: could not allocate buffer for reading file");
    else if (!sysfile_readtextfile(file, text, 0, 8))
        err = parse(x, {*text, size_t(sysmem_handlesize(text))});
    sysmem_freehandle(text);
    sysfile_close(file);
    return err;
}

long vok_xml_document_decode(vok_xml_document *x, const char *text, char **out)
{
    if (!x || !text || !out)
        return 0;
    *out = nullptr;
    long size = 0;
    vok_charset_converter *converter = vok_charset_converter_new(x->encoding, ps_ms_ansi);
    vok_charset_converter_convert(converter, text, long(std::strlen(text)) + 1, out, &size);
    vok_object_free(converter);
    return size;
}

// The six classes of XML nodes: their records come to life here, and their tables of
// messages and attributes stand here. What the messages do is in the files beside this one.
#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "kernel/class_table.h"
#include "kernel/message.h"
#include "xml/xml.h"

using namespace vok::xml;

vok::xml::words vok::xml::ps;

namespace {

// ---- objects ----

zan_class *document_class, *element_class, *attribute_class, *text_class, *comment_class, *cdata_class;

vok_xml_node *make_node(zan_class *c, symbol *type, symbol *name)
{
    vok_xml_node *x = node_of(vok_object_alloc(c));
    if (x) {
        x->nodetype = type;
        x->nodename = name;
    }
    return x;
}

void *document_new()
{
    auto *x = reinterpret_cast<vok_xml_document *>(make_node(document_class, ps.document, _vok_sym_nothing));
    if (x) {
        x->filename = _vok_sym_nothing;
        x->encoding = ps_utf_8;
    }
    return x;
}

void *element_new()
{
    return make_node(element_class, ps.element, _vok_sym_nothing);
}

void *attribute_new()
{
    return make_node(attribute_class, ps.attribute, _vok_sym_nothing);
}

void *text_new()
{
    return make_node(text_class, ps.text, ps.text);
}

void *comment_new()
{
    return make_node(comment_class, ps.comment, ps.comment);
}

void *cdata_new()
{
    return make_node(cdata_class, ps.cdata, ps.cdata);
}

void charnode_free(vok_xml_charnode *x)
{
    node_free(&x->node);
    free_data(x);
}

template <typename T> T *create(vok_xml_document *x, symbol *classname)
{
    auto *made = static_cast<T *>(vok::make(ps_vokra, classname));
    if (made)
        made->node.ownerdocument = x;
    return made;
}

template <typename T> T *create_named(vok_xml_document *x, symbol *classname, symbol *name)
{
    T *made = create<T>(x, classname);
    if (made)
        made->node.nodename = name ? name : _vok_sym_nothing;
    return made;
}

vok_xml_charnode *create_charnode(vok_xml_document *x, symbol *classname, const char *text)
{
    auto *made = create<vok_xml_charnode>(x, classname);
    if (made && vok_xml_charnode_appenddata(made, text)) {
        vok_object_free(made);
        return nullptr;
    }
    return made;
}

// ---- tables ----

// What users see and code alone sets.
constexpr vok::attribute shown(const char *name, const char *type, long offset)
{
    return {.name = name, .type = type, .flags = vok_attrflag_set_opaque_user, .offset = offset};
}

constexpr vok::attribute node_attributes[] = {
    {.name = "nodevalue",
     .type = "atom",
     .offset = offsetof(vok_xml_node, nodevalue),
     .size = 2048,
     .count = offsetof(vok_xml_node, nodevaluecount),
     .get = vok::fn<vok_xml_node_getnodevalue>,
     .set = vok::fn<vok_xml_node_nodevalue>},
    shown("nodename", "symbol", offsetof(vok_xml_node, nodename)),
    shown("nodetype", "symbol", offsetof(vok_xml_node, nodetype)),
    shown("parentnode", "object", offsetof(vok_xml_node, parentnode)),
    // pointers that are shown as words of type symbol, deliberately
    shown("childnodes", "symbol", offsetof(vok_xml_node, childnodes)),
    shown("firstchild", "symbol", offsetof(vok_xml_node, firstchild)),
    shown("lastchild", "symbol", offsetof(vok_xml_node, lastchild)),
    shown("previoussibling", "symbol", offsetof(vok_xml_node, previoussibling)),
    // reads the previous one, deliberately; the record has the next
    shown("nextsibling", "symbol", offsetof(vok_xml_node, previoussibling)),
    shown("attributes", "symbol", offsetof(vok_xml_node, attributes)),
    shown("ownerdocument", "symbol", offsetof(vok_xml_node, ownerdocument)),
};

constexpr vok::message node_messages[] = {
    {"insertbefore", vok::fn<vok_xml_node_insertbefore>, {argtype_cant}},
    {"replacechild", vok::fn<vok_xml_node_replacechild>, {argtype_cant}},
    {"removechild", vok::fn<vok_xml_node_removechild>, {argtype_cant}},
    {"appendchild", vok::fn<vok_xml_node_appendchild>, {argtype_cant}},
    {"haschildnodes", vok::fn<vok_xml_node_haschildnodes>, {argtype_cant}},
    {"clonenode", vok::fn<vok_xml_node_clonenode>, {argtype_cant}},
    {"removeallchildren", vok::fn<vok_xml_node_removeallchildren>, {argtype_cant}},
    {"setnodevalueasstring", vok::fn<vok_xml_node_setnodevalasstring>, {argtype_cant}},
    {"getnodevalueasstring", vok::fn<vok_xml_node_getnodevalasstring>, {argtype_cant}},
    {"setnodevalueasatoms", vok::fn<vok_xml_node_nodevalue>, {argtype_cant}},
    {"getnodevalueasatoms", vok::fn<vok_xml_node_getnodevalue>, {argtype_cant}},
};

constexpr vok::attribute charnode_attributes[] = {
    shown("length", "long", offsetof(vok_xml_charnode, length)),
};

constexpr vok::message charnode_messages[] = {
    {"substringdata", vok::fn<vok_xml_charnode_substringdata>, {argtype_cant}},
    {"appenddata", vok::fn<vok_xml_charnode_appenddata>, {argtype_cant}},
    {"insertdata", vok::fn<vok_xml_charnode_insertdata>, {argtype_cant}},
    {"deletedata", vok::fn<vok_xml_charnode_deletedata>, {argtype_cant}},
    {"replacedata", vok::fn<vok_xml_charnode_replacedata>, {argtype_cant}},
};

constexpr vok::attribute document_attributes[] = {
    {.name = "filename",
     .type = "symbol",
     .offset = offsetof(vok_xml_document, filename),
     .set = vok::fn<vok_xml_document_filename>},
};

constexpr vok::message document_messages[] = {
    {"read", vok::fn<vok_xml_document_read>, {argtype_gimme}},
    {"read_buffer", vok::fn<vok_xml_document_read_buffer>, {argtype_cant}},
    {"write_buffer", vok::fn<vok_xml_document_write_buffer>, {argtype_cant}},
    {"write", vok::fn<vok_xml_document_write>, {argtype_gimme}},
    {"createelement", vok::fn<vok_xml_document_createelement>, {argtype_cant}},
    {"createtextnode", vok::fn<vok_xml_document_createtextnode>, {argtype_cant}},
    {"createcomment", vok::fn<vok_xml_document_createcomment>, {argtype_cant}},
    {"createcdatasection", vok::fn<vok_xml_document_createcdatasection>, {argtype_cant}},
    {"createattribute", vok::fn<vok_xml_document_createattribute>, {argtype_cant}},
    {"getelementsbytagname", vok::fn<vok_xml_document_getelementsbytagname>, {argtype_cant}},
    {"print", vok::fn<vok_xml_document_print>, {argtype_cant}},
};

constexpr vok::attribute element_attributes[] = {
    shown("tagname", "symbol", offsetof(vok_xml_node, nodename)),
};

constexpr vok::message element_messages[] = {
    {"getattribute", vok::fn<vok_xml_element_getattribute>, {argtype_cant}},
    {"setattribute", vok::fn<vok_xml_element_setattribute>, {argtype_cant}},
    {"removeattribute", vok::fn<vok_xml_element_removeattribute>, {argtype_cant}},
    {"getattributenode", vok::fn<vok_xml_element_getattributenode>, {argtype_cant}},
    {"setattributenode", vok::fn<vok_xml_element_setattributenode>, {argtype_cant}},
    {"removeattributenode", vok::fn<vok_xml_element_removeattributenode>, {argtype_cant}},
    {"getelementsbytagname", vok::fn<vok_xml_element_getelementsbytagname>, {argtype_cant}},
};

constexpr vok::attribute attribute_attributes[] = {
    shown("name", "symbol", offsetof(vok_xml_node, nodename)),
    shown("specified", "long", offsetof(vok_xml_attribute, specified)),
};

constexpr vok::message text_messages[] = {
    {"splittext", vok::fn<vok_xml_text_splittext>, {argtype_cant}},
};

constexpr vok::message cdata_messages[] = {
    {"splittext", vok::fn<vok_xml_cdata_splittext>, {argtype_cant}},
};

// Makes a class of nodes; its constructor takes atoms and has no use for them.
zan_class *make_class(const char *name, void *(*new_fn)(), zan_method free_fn, long size, bool has_data,
                      std::span<const vok::message> messages, std::span<const vok::attribute> attributes)
{
    zan_class *c = vok_class_new(name, vok::method(new_fn), free_fn, size, argtype_gimme, 0);
    if (!c)
        return nullptr;
    vok_xml_node_addinterface(c);
    if (has_data)
        vok_xml_charnode_addinterface(c);
    vok::add_messages(c, messages);
    vok::add_attributes(c, attributes);
    vok_class_register(c);
    return c;
}

} // namespace

void vok_xml_node_addinterface(zan_class *c)
{
    vok::add_attributes(c, node_attributes);
    vok::add_messages(c, node_messages);
}

void vok_xml_charnode_addinterface(zan_class *c)
{
    vok::add_attributes(c, charnode_attributes);
    vok::add_messages(c, charnode_messages);
}

vok_err vok_xml_init(void)
{
    ps = {.document = gensym("document"),
          .element = gensym("element"),
          .attribute = gensym("attribute"),
          .text = gensym("text"),
          .comment = gensym("comment"),
          .cdata = gensym("cdata"),
          .vok_xml_element = gensym("vok_xml_element"),
          .vok_xml_attribute = gensym("vok_xml_attribute"),
          .vok_xml_text = gensym("vok_xml_text"),
          .vok_xml_comment = gensym("vok_xml_comment"),
          .vok_xml_cdata = gensym("vok_xml_cdata")};
    const zan_method free_node = vok::method(node_free), free_charnode = vok::method(charnode_free);
    document_class = make_class("vok_xml_document", document_new, free_node, sizeof(vok_xml_document), false,
                                document_messages, document_attributes);
    element_class = make_class("vok_xml_element", element_new, free_node, sizeof(vok_xml_element), false,
                               element_messages, element_attributes);
    attribute_class = make_class("vok_xml_attribute", attribute_new, free_node, sizeof(vok_xml_attribute), false,
                                 {}, attribute_attributes);
    text_class =
        make_class("vok_xml_text", text_new, free_charnode, sizeof(vok_xml_charnode), true, text_messages, {});
    comment_class =
        make_class("vok_xml_comment", comment_new, free_charnode, sizeof(vok_xml_charnode), true, {}, {});
    cdata_class =
        make_class("vok_xml_cdata", cdata_new, free_charnode, sizeof(vok_xml_charnode), true, cdata_messages, {});
    const bool all =
        document_class && element_class && attribute_class && text_class && comment_class && cdata_class;
    return all ? VOK_ERR_NONE : VOK_ERR_OMEM;
}

vok_xml_element *vok_xml_document_createelement(vok_xml_document *x, symbol *name)
{
    return create_named<vok_xml_element>(x, ps.vok_xml_element, name);
}

vok_xml_attribute *vok_xml_document_createattribute(vok_xml_document *x, symbol *name)
{
    return create_named<vok_xml_attribute>(x, ps.vok_xml_attribute, name);
}

vok_xml_charnode *vok_xml_document_createtextnode(vok_xml_document *x, const char *text)
{
    return create_charnode(x, ps.vok_xml_text, text);
}

vok_xml_charnode *vok_xml_document_createcomment(vok_xml_document *x, const char *text)
{
    return create_charnode(x, ps.vok_xml_comment, text);
}

vok_xml_charnode *vok_xml_document_createcdatasection(vok_xml_document *x, const char *text)
{
    return create_charnode(x, ps.vok_xml_cdata, text);
}

vok_err vok_xml_document_filename(vok_xml_document *x, void *, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_EROR;
    symbol *name = argc > 0 && argv ? atom_getsym(argv) : nullptr;
    x->filename = name ? name : _vok_sym_nothing;
    return VOK_ERR_NONE;
}

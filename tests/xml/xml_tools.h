// What tests of documents share: a document that goes with its scope, nodes as text, and
// values as atoms.
#pragma once
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vokra/vokra.h>
#include <zan/zan.h>

#include "scratch.h"

class document {
  public:
    document()
    {
        initialize();
        x = static_cast<vok_xml_document *>(vok_object_new(gensym("vok_xml_document")));
    }
    ~document() { vok_object_free(x); }
    document(const document &) = delete;
    document &operator=(const document &) = delete;
    operator vok_xml_document *() const { return x; }
    vok_xml_document *operator->() const { return x; }

    vok_err read(const std::string &file) const { return send("read", file); }
    vok_err write(const std::string &file) const { return send("write", file); }
    vok_xml_element *add(const char *name, void *under = nullptr) const
    {
        vok_xml_element *e = vok_xml_document_createelement(x, gensym(name));
        EXPECT_EQ(vok_xml_node_appendchild(under ? under : x, e), 0);
        return e;
    }

  private:
    vok_err send(const char *message, const std::string &file) const
    {
        atom name;
        atom_setsym(&name, gensym(file.c_str()));
        return vok_object_method(x, gensym(message), gensym(message), 1, &name);
    }
    vok_xml_document *x;
};

inline vok_xml_node *child(void *node, long index)
{
    return static_cast<vok_xml_node *>(linklist_getindex(static_cast<vok_xml_node *>(node)->childnodes, index));
}

inline std::string data_of(void *node)
{
    const auto *c = static_cast<vok_xml_charnode *>(node);
    EXPECT_TRUE(!c->data || long(std::string(c->data).size()) == c->length);
    return c->data ? c->data : "";
}

inline std::string value_of(void *node)
{
    long size = 0;
    char *text = nullptr;
    vok_xml_node_getnodevalasstring(node, &size, &text);
    const std::string value = text;
    sysmem_freeptr(text);
    return value;
}

inline std::string trimmed(const std::string &text)
{
    const size_t first = text.find_first_not_of(" \t\n\r"), last = text.find_last_not_of(" \t\n\r");
    return first == text.npos ? "" : text.substr(first, last - first + 1);
}

// The tree below a node in a line, without the white space that writing adds, checked on
// the way for links that agree with the lists.
inline std::string tree_of(void *node)
{
    const auto *n = static_cast<vok_xml_node *>(node);
    const std::string type = n->nodetype->name;
    if (type != "element" && type != "document")
        return trimmed(data_of(node)).empty() ? "" : type + "(" + trimmed(data_of(node)) + ")";
    std::string text = std::string(n->nodename->name) + "{";
    for (long i = 0; void *a = linklist_getindex(n->attributes, i); i++)
        text += std::string(static_cast<vok_xml_node *>(a)->nodename->name) + "=" + value_of(a) + ";";
    for (long i = 0; vok_xml_node *c = child(node, i); i++) {
        EXPECT_EQ(c->parentnode, n);
        EXPECT_EQ(c->previoussibling, child(node, i - 1));
        EXPECT_EQ(c->nextsibling, child(node, i + 1));
        text += tree_of(c);
    }
    EXPECT_EQ(n->firstchild, child(node, 0));
    EXPECT_EQ(n->lastchild, child(node, vok_linklist_getsize(n->childnodes) - 1));
    return text + "}";
}

// What the files of XML documents share: the words of the room, the conversion of text
// piece by piece, and the walk over a tree.
#pragma once
#include <string>
#include <string_view>
#include <vector>

#include <vokra/xml.h>

namespace vok::xml {

struct words {
    symbol *document, *element, *attribute, *text, *comment, *cdata; // types of nodes
    symbol *vok_xml_element, *vok_xml_attribute, *vok_xml_text, *vok_xml_comment, *vok_xml_cdata;
};
extern words ps; // filled by vok_xml_init

inline vok_xml_node *node_of(void *x)
{
    return static_cast<vok_xml_node *>(x);
}

inline vok_xml_node *last_child(const vok_xml_node *x)
{
    return node_of(linklist_getindex(x->childnodes, linklist_getsize(x->childnodes) - 1));
}

// Frees all that hangs on the node; the free function of a node.
void node_free(vok_xml_node *x);
void free_data(vok_xml_charnode *x);
vok_err append_data(vok_xml_charnode *x, std::string_view text);

// The node's list of children or attributes, made at first need; null when memory is out.
void *list_made(void *&list);

// Text from one character set into another. Plain ASCII is the same in all of them but
// UTF-16 and is passed through; only for other text a converter is opened, and kept.
class text_codec {
  public:
    text_codec(symbol *from, symbol *to);
    ~text_codec();
    text_codec(const text_codec &) = delete;
    text_codec &operator=(const text_codec &) = delete;
    // Appends; false, and nothing appended, when the text can't be converted.
    bool convert(std::string_view text, std::string &out);

  private:
    symbol *from_, *to_;
    bool ascii_passes_;
    bool tried_ = false;
    vok_charset_converter *converter_ = nullptr;
};

// Calls enter(node, depth) for the node, and where that gives true for all below it, and
// leave(node, depth) behind those. A loop: documents may be deeper than stacks. It goes by
// the lists, as sibling links aren't kept up everywhere.
template <typename Enter, typename Leave> void walk(vok_xml_node *root, long depth, Enter enter, Leave leave)
{
    struct place {
        vok_xml_node *node;
        long next; // index of the child whose turn it is
    };
    std::vector<place> open;
    if (enter(root, depth))
        open.push_back({root, 0});
    while (!open.empty()) {
        place &p = open.back();
        if (vok_xml_node *child = node_of(linklist_getindex(p.node->childnodes, p.next))) {
            p.next++;
            if (enter(child, depth + long(open.size())))
                open.push_back({child, 0});
        } else {
            vok_xml_node *done = p.node;
            open.pop_back();
            leave(done, depth + long(open.size()));
        }
    }
}

} // namespace vok::xml

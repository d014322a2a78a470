// Documents in memory: the tree, values, attributes, character data.
#include "xml_tools.h"

#include <functional>

namespace {

symbol *const nothing = gensym("");

TEST(XmlTree, InsertionReplacementAndRemovalKeepListAndLinks)
{
    const document d;
    vok_xml_element *root = d.add("root");
    vok_xml_element *b = d.add("b", root);
    const auto make = [&](const char *name) { return vok_xml_document_createelement(d, gensym(name)); };
    vok_xml_element *a = make("a"), *c = make("c"), *e = make("e"), *f = make("f");
    EXPECT_EQ(vok_xml_node_insertbefore(root, a, nullptr), 0); // no reference: the front
    EXPECT_EQ(vok_xml_node_insertbefore(root, c, b), 0);
    EXPECT_EQ(tree_of(root), "root{a{}c{}b{}}");
    EXPECT_EQ(vok_xml_node_insertbefore(root, e, d), 0); // one that isn't a child
    EXPECT_EQ(vok_xml_node_replacechild(root, f, c), 0);
    EXPECT_EQ(tree_of(root), "root{e{}a{}f{}b{}}");
    EXPECT_EQ(f->node.ownerdocument, d);
    EXPECT_EQ(root->node.ownerdocument, d);

    vok_xml_element *lone = vok_xml_document_createelement(nullptr, gensym("lone"));
    vok_xml_element *below = make("below");
    EXPECT_EQ(vok_xml_node_appendchild(lone, below), 0); // what has no document is one
    EXPECT_EQ(static_cast<void *>(below->node.ownerdocument), lone);
    EXPECT_EQ(vok_xml_node_insertbefore(lone, make("x"), nullptr), 0);
    EXPECT_EQ(child(lone, 0)->ownerdocument, nullptr);

    // nothing may hang twice or below itself
    EXPECT_EQ(vok_xml_node_appendchild(lone, lone), VOK_ERR_EROR);
    EXPECT_EQ(vok_xml_node_appendchild(below, lone), VOK_ERR_EROR);
    EXPECT_EQ(vok_xml_node_insertbefore(lone, a, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(vok_xml_node_replacechild(root, b, b), VOK_ERR_EROR);
    EXPECT_EQ(vok_xml_node_replacechild(root, lone, below), 0); // not there: nothing happens
    EXPECT_EQ(tree_of(root), "root{e{}a{}f{}b{}}");
    EXPECT_EQ(vok_xml_node_appendchild(lone, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(vok_xml_node_replacechild(b, lone, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(vok_xml_node_removechild(b, a), VOK_ERR_EROR); // no list
    vok_object_free(lone);

    EXPECT_EQ(vok_xml_node_removechild(root, e), 0);
    EXPECT_TRUE(root->node.firstchild == &a->node && root->node.lastchild == &b->node);
    EXPECT_EQ(vok_xml_node_removechild(root, b), 0);
    EXPECT_EQ(root->node.lastchild, &f->node);
    EXPECT_EQ(vok_linklist_getsize(root->node.childnodes), 2);
    EXPECT_EQ(vok_xml_node_haschildnodes(root), 1);
    EXPECT_EQ(vok_xml_node_removeallchildren(root), 0);
    EXPECT_EQ(vok_xml_node_haschildnodes(root), 0);
    EXPECT_EQ(root->node.firstchild, &a->node) << "the word stays";
    d.add("again", root);
    EXPECT_EQ(tree_of(root), "root{again{}}");
}

TEST(XmlTree, NodesAreFoundByNameInTheOrderOfTheText)
{
    const document d;
    vok_xml_element *a = d.add("a");
    d.add("b", d.add("a", d.add("b", a)));
    vok_xml_node_appendchild(a, vok_xml_document_createtextnode(d, "x"));
    const auto count = [](void *list) {
        const long n = vok_linklist_getsize(list);
        vok_linklist_chuck(list);
        return n;
    };
    void *found = vok_xml_element_getelementsbytagname(a, gensym("a"));
    EXPECT_EQ(linklist_getindex(found, 0), a) << "the start counts";
    EXPECT_EQ(count(found), 2);
    EXPECT_EQ(count(vok_xml_document_getelementsbytagname(d, gensym("b"))), 2);
    EXPECT_EQ(count(vok_xml_document_getelementsbytagname(d, gensym("text"))), 1);
    EXPECT_EQ(vok_xml_document_getelementsbytagname(d, gensym("c")), nullptr);
}

TEST(XmlValue, TextBecomesAtomsAndAtomsText)
{
    const document d;
    vok_xml_attribute *x = vok_xml_document_createattribute(d, gensym("x"));
    long count = 0, size = 0;
    atom *atoms = nullptr;
    char *text = nullptr;
    EXPECT_EQ(vok_xml_node_getnodevalue(x, nullptr, &count, &atoms), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(vok_xml_node_getnodevalasstring(x, &size, &text), VOK_ERR_EROR);
    EXPECT_STREQ(text, "");
    sysmem_freeptr(text);

    vok_object_method(x, gensym("setnodevalueasstring"), "3 2.5 word");
    vok_object_method(x, gensym("getnodevalueasatoms"), nullptr, &count, &atoms);
    ASSERT_EQ(count, 3);
    EXPECT_TRUE(atoms[0].type == argtype_long && atoms[0].value.as_long == 3);
    EXPECT_TRUE(atoms[1].type == argtype_float && atoms[1].value.as_float == 2.5);
    EXPECT_TRUE(atoms[2].type == argtype_sym && atoms[2].value.as_sym == gensym("word"));
    sysmem_freeptr(atoms);
    EXPECT_EQ(vok_xml_node_getnodevalue_long(x, nullptr), 3);
    EXPECT_EQ(vok_xml_node_getnodevalue_sym(x, nullptr), nothing);

    atom list[8];
    atom_setlong(list, -7);
    atom_setfloat(list + 1, 2.5);
    atom_setfloat(list + 2, 3);
    atom_setsym(list + 3, gensym("a word"));
    atom_setobj(list + 4, vok_xml_document_createelement(d, gensym("owned"))); // goes with the value
    atom_setlong(list + 5, 2);
    list[5].type = argtype_dollar;
    atom_setsym(list + 6, gensym("1x"));
    list[6].type = argtype_dollsym;
    list[7].type = argtype_comma;
    EXPECT_EQ(vok_xml_node_nodevalue(x, nullptr, 8, list), 0);
    EXPECT_EQ(value_of(x), "-7 2.5 3. a word vok_xml_element $2 $1x");
    char room[5] = "....", *into = room;
    size = sizeof room;
    EXPECT_EQ(vok_xml_node_getnodevalasstring(x, &size, &into), 0);
    EXPECT_STREQ(room, "-7 2") << "cut to the caller's buffer";

    char appended[64] = "";
    for (const int i : {2, 0, 6})
        vok_xml_appendatom(list + i, appended);
    EXPECT_STREQ(appended, "3. -7 $1x");
    vok_xml_atoms_totext(appended, 3, list);
    EXPECT_STREQ(appended, "-7 2.5 3.");
    atom words[3];
    count = 2;
    EXPECT_EQ(vok_xml_text_toatoms(appended, &count, words), 0);
    EXPECT_EQ(count, 2) << "as many as there is room for";
    count = 0;
    EXPECT_EQ(vok_xml_text_toatoms(appended, &count, words), 0);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(words[1].value.as_float, 2.5);

    std::string many;
    for (int i = 0; i < 3000; i++)
        many += "12 ";
    vok_xml_node_setnodevalasstring(x, many.c_str());
    EXPECT_EQ(vok_xml_node_getnodevalue_long_array(x, 0, nullptr), 2048);
    std::vector<zan_word> numbers(3000, 12);
    EXPECT_EQ(vok_xml_node_nodevalue_long_array(x, 3000, numbers.data()), 0);
    EXPECT_EQ(x->node.nodevaluecount, 2048);
    EXPECT_EQ(value_of(x).size(), 2048u * 3 - 1);
    vok_object_free(x);
}

TEST(XmlElement, AttributesByNameByNodeAndByKind)
{
    const document d;
    vok_xml_element *e = d.add("e");
    symbol *name = gensym("name"), *list = gensym("list");
    EXPECT_EQ(vok_xml_element_getattribute_sym(e, name), nothing);
    EXPECT_EQ(vok_xml_element_getattribute_long(e, name), 0);
    EXPECT_EQ(vok_xml_element_setattribute_sym(e, name, gensym("red")), 0);
    EXPECT_EQ(vok_xml_element_getattribute_sym(e, name), gensym("red"));
    EXPECT_EQ(vok_xml_element_setattribute_float(e, name, 0.5), 0);
    EXPECT_EQ(vok_xml_element_getattribute_float(e, name), 0.5);
    const float numbers[3] = {1, 2.5f, -3};
    EXPECT_EQ(vok_xml_element_setattribute_float_array(e, list, 3, numbers), 0);
    zan_word longs[2] = {};
    EXPECT_EQ(vok_xml_element_getattribute_long_array(e, list, 2, longs), 3) << "the whole count";
    EXPECT_TRUE(longs[0] == 1 && longs[1] == 2);
    EXPECT_EQ(tree_of(e), "e{name=0.5;list=1. 2.5 -3.;}");

    vok_xml_attribute *other = vok_xml_document_createattribute(d, name);
    EXPECT_EQ(vok_xml_element_removeattributenode(e, other), VOK_ERR_EROR);
    vok_xml_node_setnodevalasstring(other, "2nd");
    EXPECT_EQ(vok_xml_element_setattributenode(e, other), 0);
    EXPECT_EQ(tree_of(e), "e{name=0.5;list=1. 2.5 -3.;name=2nd;}");
    EXPECT_EQ(vok_xml_element_setattributenode(e, vok_xml_element_getattributenode(e, name)), 0);
    EXPECT_EQ(tree_of(e), "e{list=1. 2.5 -3.;name=2nd;name=0.5;}") << "the same node moves to the end";
    EXPECT_EQ(vok_xml_element_removeattribute(e, name), 0);
    EXPECT_EQ(vok_xml_element_removeattribute(e, gensym("none")), VOK_ERR_EROR);
    EXPECT_EQ(tree_of(e), "e{list=1. 2.5 -3.;name=0.5;}");
    long count = 0;
    vok_xml_element_attributes_funall(
        e, [](void *, void *n) { ++*static_cast<long *>(n); }, &count);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(vok_attr_getsym(vok_xml_element_getattributenode(e, list), gensym("name")), list);
    EXPECT_EQ(object_attr_usercanset(e, gensym("tagname")), 0);
    EXPECT_NE(object_attr_usercanset(e, gensym("nodevalue")), 0);
}

TEST(XmlCharacterData, ChangesLikeAString)
{
    const document d;
    vok_xml_charnode *x = vok_xml_document_createcomment(d, "0123456789");
    const struct {
        std::function<vok_err()> change;
        const char *expected; // null: refused
    } rows[] = {
        {[&] { return vok_xml_charnode_appenddata(x, "ab"); }, "0123456789ab"},
        {[&] { return vok_xml_charnode_insertdata(x, 3, "--"); }, "012--3456789ab"},
        {[&] { return vok_xml_charnode_insertdata(x, 14, "."); }, "012--3456789ab."},
        {[&] { return vok_xml_charnode_insertdata(x, 16, "."); }, nullptr},
        {[&] { return vok_xml_charnode_deletedata(x, 3, 2); }, "0123456789ab."},
        {[&] { return vok_xml_charnode_deletedata(x, -1, 2); }, nullptr},
        {[&] { return vok_xml_charnode_deletedata(x, 10, 1000); }, "0123456789"},
        {[&] { return vok_xml_charnode_replacedata(x, 1, 8, "..."); }, "0...9"},
        {[&] { return vok_xml_charnode_appenddata(x, x->data); }, "0...90...9"},
        {[&] { return vok_xml_charnode_deletedata(x, 0, 10); }, ""},
        {[&] { return vok_xml_charnode_appenddata(x, nullptr); }, ""},
    };
    for (const auto &row : rows) {
        const std::string before = data_of(x);
        EXPECT_EQ(row.change(), row.expected ? 0 : VOK_ERR_EROR);
        EXPECT_EQ(data_of(x), row.expected ? row.expected : before);
    }
    vok_xml_charnode_appenddata(x, "abcdef");
    const struct {
        long offset, count;
        const char *expected;
    } parts[] = {{2, 3, "abc"}, {4, 3, "ab"}, {-5, 99, "abcdef"}, {9, 2, ""}, {0, 0, ""}, {0, -4, ""}};
    for (const auto &p : parts) {
        char *part = vok_xml_charnode_substringdata(x, p.offset, p.count);
        EXPECT_STREQ(part, p.expected) << p.offset << " " << p.count;
        vok_freebytes(part, long(std::string(part).size()) + 1);
    }
    EXPECT_EQ(vok_attr_getlong(x, gensym("length")), 6);
    vok_object_free(x);
    auto *bare = static_cast<vok_xml_charnode *>(vok_object_new(gensym("vok_xml_text")));
    EXPECT_EQ(vok_xml_charnode_substringdata(bare, 0, 1), nullptr);
    vok_object_free(bare);
}

} // namespace

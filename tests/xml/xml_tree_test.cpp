// Documents in memory: the tree, values, attributes, character data.
#include "xml_tools.h"

#include <random>

namespace {

symbol *const nothing = gensym("");

TEST(XmlTree, InsertionReplacementAndRemovalKeepListAndLinks)
{
    const document d;
    vok_xml_element *root = d.add("root"), *b = d.add("b", root);
    const auto make = [&](const char *name) { return vok_xml_document_createelement(d, gensym(name)); };
    vok_xml_element *a = make("a"), *c = make("c"), *e = make("e"), *f = make("f");
    EXPECT_EQ(vok_xml_node_insertbefore(root, a, nullptr), 0); // no reference: the front
    EXPECT_EQ(vok_xml_node_insertbefore(root, c, b), 0);
    EXPECT_EQ(tree_of(root), "root{a{}c{}b{}}");
    EXPECT_EQ(vok_xml_node_insertbefore(root, e, d), 0); // one that isn't a child
    EXPECT_EQ(vok_xml_node_replacechild(root, f, c), 0);
    EXPECT_EQ(tree_of(root), "root{e{}a{}f{}b{}}");
    EXPECT_TRUE(f->node.ownerdocument == d && root->node.ownerdocument == d);

    vok_xml_element *lone = vok_xml_document_createelement(nullptr, gensym("lone")), *below = make("below");
    EXPECT_EQ(vok_xml_node_appendchild(lone, below), 0); // what has no document is one
    EXPECT_EQ(static_cast<void *>(below->node.ownerdocument), lone);
    EXPECT_EQ(vok_xml_node_insertbefore(lone, make("x"), nullptr), 0);
    EXPECT_EQ(child(lone, 0)->ownerdocument, nullptr);
    for (const vok_err err : {
             vok_xml_node_appendchild(lone, lone), vok_xml_node_appendchild(below, lone), // not below itself
             vok_xml_node_insertbefore(lone, a, nullptr), vok_xml_node_replacechild(root, b, b), // nor twice
             vok_xml_node_appendchild(lone, nullptr), vok_xml_node_replacechild(b, lone, nullptr),
             vok_xml_node_removechild(b, a) // no list
         })
        EXPECT_EQ(err, VOK_ERR_EROR);
    EXPECT_EQ(vok_xml_node_replacechild(root, lone, below), 0); // not there: nothing happens
    EXPECT_EQ(tree_of(root), "root{e{}a{}f{}b{}}");
    vok_object_free(lone);

    EXPECT_EQ(vok_xml_node_removechild(root, e), 0);
    EXPECT_EQ(vok_xml_node_removechild(root, b), 0);
    EXPECT_TRUE(root->node.firstchild == &a->node && root->node.lastchild == &f->node);
    EXPECT_EQ(vok_xml_node_haschildnodes(root), 1);
    EXPECT_EQ(vok_xml_node_removeallchildren(root), 0);
    EXPECT_EQ(vok_xml_node_haschildnodes(root), 0);
    EXPECT_EQ(root->node.firstchild, &a->node) << "the word stays";

    d.add("again", d.add("b", root));
    vok_xml_node_appendchild(root, make("again"));
    EXPECT_EQ(tree_of(root), "root{b{again{}}again{}}");
    void *found = vok_xml_element_getelementsbytagname(root, gensym("again"));
    EXPECT_TRUE(vok_linklist_getsize(found) == 2 && linklist_getindex(found, 1) == child(root, 1));
    vok_linklist_chuck(found);
    found = vok_xml_document_getelementsbytagname(d, gensym("root"));
    EXPECT_EQ(linklist_getindex(found, 0), root);
    vok_linklist_chuck(found);
    EXPECT_EQ(vok_xml_document_getelementsbytagname(d, gensym("c")), nullptr);
}

TEST(XmlValue, TextBecomesAtomsAndAtomsText)
{
    const document d;
    vok_xml_attribute *x = vok_xml_document_createattribute(d, gensym("x"));
    atom list[8], *into = list, words[3];
    long count = 8, size = 5;
    EXPECT_EQ(value_of(x), "");
    EXPECT_EQ(vok_xml_node_getnodevalue(x, nullptr, &count, &into), 0);
    EXPECT_EQ(std::exchange(count, 8), 0);
    vok_object_method(x, gensym("setnodevalueasstring"), "-7 2.5 3. word");
    EXPECT_EQ(vok_object_method(x, gensym("getnodevalueasatoms"), nullptr, &count, &into), 0);
    EXPECT_EQ(count, 4);
    EXPECT_TRUE(list[0].type == argtype_long && list[0].value.as_long == -7);
    EXPECT_TRUE(list[2].type == argtype_float && list[2].value.as_float == 3);
    EXPECT_TRUE(list[3].type == argtype_sym && list[3].value.as_sym == gensym("word"));

    atom_setsym(list + 3, gensym("a word"));
    atom_setobj(list + 4, vok_xml_document_createelement(d, gensym("owned"))); // goes with the value
    atom_setlong(list + 5, 2);
    list[5].type = argtype_dollar;
    atom_setsym(list + 6, gensym("1x"));
    list[6].type = argtype_dollsym;
    list[7].type = argtype_comma;
    EXPECT_EQ(vok_xml_node_nodevalue(x, nullptr, 8, list), 0);
    EXPECT_EQ(value_of(x), "-7 2.5 3. a word vok_xml_element $2 $1x");
    char room[5] = "....", *text = room, appended[64] = "";
    EXPECT_EQ(vok_xml_node_getnodevalasstring(x, &size, &text), 0);
    EXPECT_STREQ(room, "-7 2") << "cut to the caller's buffer";
    for (const int i : {2, 0, 6})
        vok_xml_appendatom(list + i, appended);
    EXPECT_STREQ(appended, "3. -7 $1x");
    vok_xml_atoms_totext(appended, 3, list);
    EXPECT_STREQ(appended, "-7 2.5 3.");
    for (const long given : {2, 0}) { // as many as there is room for, 0: any
        count = given;
        EXPECT_EQ(vok_xml_text_toatoms(appended, &count, words), 0);
        EXPECT_EQ(count, given ? 2 : 3);
    }
    const std::vector<zan_word> numbers(3000, 12345);
    EXPECT_EQ(vok_xml_node_nodevalue_long_array(x, 3000, numbers.data()), 0);
    EXPECT_EQ(x->node.nodevaluecount, 2048);
    EXPECT_EQ(value_of(x).size(), 8191u) << "as text it is cut";
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
    EXPECT_TRUE(!object_attr_usercanset(e, gensym("tagname")) && object_attr_usercanset(e, gensym("nodevalue")));
}

TEST(XmlCharacterData, ChangesLikeAString)
{
    const document d;
    auto *x = static_cast<vok_xml_charnode *>(vok_object_new(gensym("vok_xml_text")));
    EXPECT_EQ(vok_xml_charnode_substringdata(x, 0, 1), nullptr) << "it has no data yet";
    std::mt19937 random(3);
    std::string model;
    for (int step = 0; step < 2000; step++) {
        const long length = long(model.size()), offset = long(random() % unsigned(length + 4)) - 1;
        const long count = long(random() % 12) - 1;
        const std::string text(random() % 7, char('a' + step % 26));
        const long kind = length > 200 ? 1 + random() % 2 : random() % 5; // doubling ends
        const bool fits = kind == 0 || (offset >= 0 && offset <= length && (count >= 0 || kind == 4));
        const vok_err err = kind == 0   ? vok_xml_charnode_appenddata(x, step % 9 ? nullptr : x->data)
                            : kind == 1 ? vok_xml_charnode_deletedata(x, offset, count)
                            : kind < 4  ? vok_xml_charnode_replacedata(x, offset, count, text.c_str())
                                        : vok_xml_charnode_insertdata(x, offset, text.c_str());
        ASSERT_EQ(err, fits ? 0 : VOK_ERR_EROR) << step;
        if (kind == 0)
            model += step % 9 ? "" : model;
        else if (fits)
            model.replace(size_t(offset), kind == 4 ? 0 : size_t(count), kind == 1 ? "" : text);
        ASSERT_EQ(data_of(x), model) << step;
        ASSERT_EQ(vok_attr_getlong(x, gensym("length")), long(model.size()));
        if (!x->data)
            continue;
        // from the start, as many bytes as there are behind the offset at most
        char *part = vok_xml_charnode_substringdata(x, offset, count);
        const long behind = long(model.size()) - std::clamp(offset, 0L, long(model.size()));
        ASSERT_EQ(part, model.substr(0, size_t(std::clamp(count, 0L, behind)))) << step;
        vok_freebytes(part, long(std::string(part).size()) + 1);
    }
    vok_object_free(x);
}

} // namespace

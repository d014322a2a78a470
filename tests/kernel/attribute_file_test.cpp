// The messages importattrs and exportattrs, with a document of the test's own in place of
// the XML one: what is written, in which order, and what is set from what was read. Each
// in a process of its own, as the stand-in takes the class's name.
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vokra/vokra.h>
#include <zan/host.h>

#include "quick_class.h"

namespace {

// What the library did to the document, as text.
std::string story;

std::string text_of(long argc, atom *argv)
{
    char text[256] = "";
    atoms_totext(argc, argv, text, sizeof text);
    return text;
}

struct element {
    object header;
    symbol *tag;
    std::string *facts;
    const char *name; // of an imported attribute, with its value
    long value;
};
zan_class *element_class;

zan_word element_set(element *x, symbol *name, long argc, atom *argv)
{
    *x->facts += std::string(" ") + name->name + "=" + text_of(argc, argv);
    return 0;
}
zan_word element_append(element *x, element *child)
{
    story += std::string(x->tag->name) + " < " + child->tag->name + *child->facts + "\n";
    return 0;
}
zan_word element_get(element *x, symbol *name, long *argc, atom **argv)
{
    if (name == gensym("value") && x->value < 0)
        return VOK_ERR_EROR; // an element with no value
    *argc = 1;
    *argv = static_cast<atom *>(sysmem_newptr(sizeof(atom)));
    if (name == gensym("name"))
        atom_setsym(*argv, gensym(x->name));
    else
        atom_setlong(*argv, x->value);
    return 0;
}
element *new_element(symbol *tag)
{
    auto *x = static_cast<element *>(vok_object_alloc(element_class));
    x->tag = tag;
    x->facts = new std::string;
    return x;
}

vok_err read_result;
zan_word document_create(void *, symbol *tag)
{
    return reinterpret_cast<zan_word>(new_element(tag));
}
element *document_root;
zan_word document_append(void *, element *root)
{
    document_root = root;
    story += std::string("document < ") + root->tag->name + "\n";
    return 0;
}
zan_word document_write(void *, symbol *, long argc, atom *argv)
{
    story += "root" + *document_root->facts + "\nwrite " + text_of(argc, argv) + "\n";
    return 0;
}
zan_word document_read(void *, symbol *, long argc, atom *argv)
{
    story += "read " + text_of(argc, argv) + "\n";
    return read_result;
}
zan_word document_elements(void *, symbol *tag)
{
    story += std::string("elements ") + tag->name + "\n";
    void *list = linklist_new();
    const struct {
        const char *name;
        long value;
    } rows[] = {{"width", 31}, {"unknown", 5}, {"height", -1}, {"depth", 7}};
    for (const auto &row : rows) {
        element *x = new_element(tag);
        x->name = row.name;
        x->value = row.value;
        linklist_append(list, x);
    }
    return reinterpret_cast<zan_word>(list);
}
void *document_new()
{
    return vok_object_alloc(vok_class_findbyname(gensym("vok_xml_document")));
}
void document_free(void *)
{
    story += "freed\n";
}

struct box {
    object header;
    long width, height, depth;
};

box *start()
{
    initialize();
    if (zan_class *real = vok_class_findbyname(gensym("vok_xml_document")))
        vok_class_free(real);
    element_class = quick_class("stand_in_element", sizeof(element))
                        .message("setattribute", element_set)
                        .message("appendchild", element_append)
                        .message("getattribute", element_get)
                        .c;
    zan_class *c = vok_class_new("vok_xml_document", erase(document_new), erase(document_free), sizeof(object),
                                 argtype_gimme, 0);
    vok_class_addmethod(c, erase(document_create), "createelement", argtype_cant, 0);
    vok_class_addmethod(c, erase(document_append), "appendchild", argtype_cant, 0);
    vok_class_addmethod(c, erase(document_write), "write", argtype_gimme, 0);
    vok_class_addmethod(c, erase(document_read), "read", argtype_gimme, 0);
    vok_class_addmethod(c, erase(document_elements), "getelementsbytagname", argtype_cant, 0);
    vok_class_register(c);

    quick_class k("vok_file_box", sizeof(box));
    k.value("width", "long", offsetof(box, width));
    k.value("depth", "long", offsetof(box, depth));
    k.value("height", "long", offsetof(box, height));
    k.value("fixed", "long", offsetof(box, width), vok_attrflag_set_opaque_user);
    k.value("secret", "long", offsetof(box, width), vok_attrflag_get_opaque_user);
    auto *x = static_cast<box *>(vok_object_alloc(k.c));
    x->width = 1;
    x->height = 2;
    x->depth = 3;
    return x;
}

void exit_when(bool good)
{
    if (!good)
        std::fputs(story.c_str(), stderr);
    std::_Exit(good ? 0 : 1);
}

TEST(AttributeFile, ExportWritesWhatUsersCanSetAndGetInOrder)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            box *x = start();
            atom name;
            atom_setsym(&name, gensym("file.xml"));
            const bool done = vok_object_exportattrs(x, gensym("exportattrs"), 1, &name) == 0;
            exit_when(done && story == "document < tarnobject\n"
                                       "tarnobject < attribute name=depth value=3\n"
                                       "tarnobject < attribute name=height value=2\n"
                                       "tarnobject < attribute name=width value=1\n"
                                       "root class=vok.file.box\n"
                                       "write file.xml\n"
                                       "freed\n");
        },
        testing::ExitedWithCode(0), "");
}

TEST(AttributeFile, ImportSetsWhatItKnowsEvenFromABrokenFile)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            box *x = start();
            static std::string errors;
            zan_set_reporter(
                [](void *, long kind, void *, const char *text) {
                    if (kind == zan_report_error)
                        errors += text;
                },
                nullptr);
            read_result = VOK_ERR_EROR;
            atom name;
            atom_setsym(&name, gensym("file.xml"));
            const bool done = vok_object_importattrs(x, gensym("importattrs"), 1, &name) == 0;
            exit_when(done && story == "read file.xml\nelements attribute\nfreed\n" && x->width == 31 &&
                      x->depth == 7 && x->height == 2 &&
                      errors == "vok_object_importattrs: error reading import file");
        },
        testing::ExitedWithCode(0), "");
}

} // namespace

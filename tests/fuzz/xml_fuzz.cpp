// Documents from anywhere: whatever the bytes are, the tree that was read can be walked,
// changed and written, and one whose file reads again gives the same file from then on (but
// for text with entities, which writing leaves bare).
#include "fuzz.h"
#include <vokra/vokra.h>
#include <zan/zan.h>

namespace {

struct collector {
    object header;
    std::string *text;
};

collector *made_collector()
{
    start_quietly();
    initialize();
    const auto collect = [](collector *x, const char *text, zan_word size) {
        x->text->append(text, size_t(size));
    };
    zan_class *c = vok_class_new("fuzz_collector", nullptr, nullptr, sizeof(collector), argtype_cant, 0);
    vok_class_addmethod(c, reinterpret_cast<zan_method>(+collect), "append", argtype_cant, 0);
    return static_cast<collector *>(vok_object_alloc(c));
}

std::string written(vok_xml_document *x, collector *into)
{
    std::string text;
    into->text = &text;
    require(vok_xml_document_write_buffer(x, into) == 0);
    return text;
}

vok_xml_document *new_document()
{
    return static_cast<vok_xml_document *>(vok_object_new(gensym("vok_xml_document")));
}

void change(vok_xml_document *x)
{
    void *found = vok_xml_document_getelementsbytagname(x, gensym("a"));
    for (long i = vok_linklist_getsize(found) - 1; i >= 0; i--) { // the deepest first
        auto *e = static_cast<vok_xml_element *>(linklist_getindex(found, i));
        vok_xml_element_getattribute_long(e, gensym("b"));
        vok_xml_element_setattribute_long(e, gensym("b"), i);
        require(vok_xml_element_getattribute_long(e, gensym("b")) == i);
        if (i > 0)
            require(vok_xml_node_removechild(e->node.parentnode, e) == 0);
    }
    if (found)
        linklist_chuck(found);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static collector *const into = made_collector();
    const std::string text(reinterpret_cast<const char *>(data), size);
    vok_xml_document *x = new_document(), *again = new_document();
    const vok_err err = vok_xml_document_read_buffer(x, text.c_str());
    require(err == 0 || err == VOK_ERR_EROR);
    require(x->current == &x->node && x->depth == 0);
    if (vok_xml_document_read_buffer(again, written(x, into).c_str()) == 0 && text.find('&') == text.npos) {
        const std::string once = written(again, into);
        require(vok_xml_document_read_buffer(again, once.c_str()) == 0);
        require(written(again, into) == once);
    }
    change(x);
    written(x, into);
    vok_object_free(x);
    vok_object_free(again);
    return 0;
}

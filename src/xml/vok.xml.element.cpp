// The attributes of elements, by name and by node.
#include <zan/zan.h>

#include <vokra/kernel.h>

#include "kernel/message.h"
#include "xml/xml.h"

using namespace vok::xml;

namespace {

// The attribute of that name, made when the element has none; null when memory is out.
vok_xml_attribute *attribute_made(vok_xml_element *x, symbol *name)
{
    if (!x)
        return nullptr;
    if (vok_xml_attribute *known = vok_xml_element_getattributenode(x, name))
        return known;
    vok_xml_attribute *made = vok_xml_document_createattribute(x->node.ownerdocument, name);
    if (made && vok_xml_element_setattributenode(x, made)) {
        vok_object_free(made);
        return nullptr;
    }
    return made;
}

} // namespace

long vok_xml_attr_symcompare(void *attribute, void *name)
{
    return attribute && node_of(attribute)->nodename == name;
}

vok_xml_attribute *vok_xml_element_getattributenode(vok_xml_element *x, symbol *name)
{
    void *found = nullptr;
    if (x)
        linklist_findfirst(x->node.attributes, &found, vok_xml_attr_symcompare, name);
    return static_cast<vok_xml_attribute *>(found);
}

vok_err vok_xml_element_getattribute(vok_xml_element *x, symbol *name, long *argc, atom **argv)
{
    return vok_xml_node_getnodevalue(vok_xml_element_getattributenode(x, name), nullptr, argc, argv);
}

vok_err vok_xml_element_setattribute(vok_xml_element *x, symbol *name, long argc, atom *argv)
{
    return vok_xml_node_nodevalue(attribute_made(x, name), nullptr, argc, argv);
}

vok_err vok_xml_element_removeattribute(vok_xml_element *x, symbol *name)
{
    return vok_xml_element_removeattributenode(x, vok_xml_element_getattributenode(x, name));
}

vok_err vok_xml_element_setattributenode(vok_xml_element *x, vok_xml_attribute *attribute)
{
    if (!x || !attribute)
        return VOK_ERR_EROR;
    if (!list_made(x->node.attributes))
        return VOK_ERR_OMEM;
    linklist_chuckobject(x->node.attributes, attribute); // one that is there moves to the end
    return linklist_append(x->node.attributes, attribute) < 0 ? VOK_ERR_EROR : VOK_ERR_NONE;
}

vok_err vok_xml_element_removeattributenode(vok_xml_element *x, vok_xml_attribute *attribute)
{
    if (!x || !attribute || linklist_objptr2index(x->node.attributes, attribute) < 0)
        return VOK_ERR_EROR;
    const long first =
        linklist_findfirst(x->node.attributes, nullptr, vok_xml_attr_symcompare, attribute->node.nodename);
    return vok_err_from_zan_err(linklist_deleteindex(x->node.attributes, first));
}

void vok_xml_element_attributes_funall(vok_xml_element *x, void (*function)(void *, void *), void *data)
{
    if (x)
        linklist_funall(x->node.attributes, function, data);
}

#define DEFINE(tail, T, E)                                                                                        \
    T vok_xml_element_getattribute_##tail(vok_xml_element *x, symbol *name)                                       \
    {                                                                                                             \
        return vok_xml_node_getnodevalue_##tail(vok_xml_element_getattributenode(x, name), nullptr);              \
    }                                                                                                             \
    vok_err vok_xml_element_setattribute_##tail(vok_xml_element *x, symbol *name, T value)                        \
    {                                                                                                             \
        return vok_xml_node_nodevalue_##tail(attribute_made(x, name), value);                                     \
    }                                                                                                             \
    long vok_xml_element_getattribute_##tail##_array(vok_xml_element *x, symbol *name, long max, E *values)       \
    {                                                                                                             \
        return vok_xml_node_getnodevalue_##tail##_array(vok_xml_element_getattributenode(x, name), max, values);  \
    }                                                                                                             \
    vok_err vok_xml_element_setattribute_##tail##_array(vok_xml_element *x, symbol *name, long count,             \
                                                        E const *values)                                          \
    {                                                                                                             \
        return vok_xml_node_nodevalue_##tail##_array(attribute_made(x, name), count, values);                     \
    }
VOK_XML_VALUE_TYPES(DEFINE)
#undef DEFINE

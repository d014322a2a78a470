/* XML documents: a tree of nodes that are library objects, read by expat and written as
 * indented text, and the converter of character sets under both. Names are symbols,
 * values are atoms or text. Inside the tree all text is in the single-byte character set
 * "ms-ansi" (code page 1252); reading and writing convert.
 *
 * A node belongs to the list that holds it, and freeing a node frees all below it; a node
 * that hangs nowhere belongs to whoever made it. A tree belongs to one thread at a time;
 * only the four changes of a list of children run in the global critical region. Where an
 * argument is called `node` it may be any of the records. Results are 0 or an error code;
 * a null node gives EROR, 0 or null. */
#ifndef VOKRA_XML_H
#define VOKRA_XML_H

#include <vokra/base.h>
#include <zan/collections.h>
#include <zan/files.h>

VOKRA_BEGIN_C

/* ---- the records ---- */

struct vok_xml_document;

/* What every node begins with. */
typedef struct vok_xml_node {
    object header;
    symbol *nodename;      /* tag of an element, name of an attribute, else the node's type */
    atom *nodevalue;       /* when valuekind is vok_xml_value_atoms */
    long nodevaluecount;   /* atoms in it */
    char *nodevaluestring; /* when valuekind is vok_xml_value_text; owned */
    symbol *nodetype;      /* document, element, attribute, text, comment or cdata */
    struct vok_xml_node *parentnode;
    void *childnodes; /* a vok_linklist, owned, made at first need */
    struct vok_xml_node *firstchild, *lastchild;
    /* Brought up to date where a node is put in; removechild leaves its neighbours' as they
     * were, so what is to be walked is the list. */
    struct vok_xml_node *previoussibling, *nextsibling;
    void *attributes;                       /* a vok_linklist of vok_xml_attribute, owned, made at first need */
    struct vok_xml_document *ownerdocument; /* null in a document */
    char valuekind;
} vok_xml_node;

enum { vok_xml_value_none = 0, vok_xml_value_atoms = 1, vok_xml_value_text = 2 };

typedef struct vok_xml_document {
    vok_xml_node node;
    symbol *filename;      /* of the last read or write */
    long path;             /* its folder, a path identifier */
    vok_xml_node *current; /* where the reader stands */
    long depth;            /* how deep that is */
    char hasheader;        /* writing begins with the XML declaration */
    symbol *encoding;      /* utf-8, utf-16, iso-8859-1 or us-ascii: what is written */
} vok_xml_document;

typedef struct vok_xml_element {
    vok_xml_node node;
} vok_xml_element;

typedef struct vok_xml_attribute {
    vok_xml_node node;
    long specified; /* 1: stood in the file */
} vok_xml_attribute;

/* Classes vok_xml_text, vok_xml_comment and vok_xml_cdata. */
typedef struct vok_xml_charnode {
    vok_xml_node node;
    long length; /* bytes */
    char *data;  /* length + 1 bytes of vok_getbytes, ended by a NUL; null when nothing was set */
} vok_xml_charnode;

VOKRA_EXPORT vok_err vok_xml_init(void);
/* Give a class whose record begins as vok_xml_node (as vok_xml_charnode) the attributes
 * and messages of a node (of character data). */
VOKRA_EXPORT void vok_xml_node_addinterface(zan_class *c);
VOKRA_EXPORT void vok_xml_charnode_addinterface(zan_class *c);

/* ---- documents: making and finding nodes ---- */

/* New nodes that hang nowhere yet, null when memory is out. `text` is copied; null counts
 * as empty. */
VOKRA_EXPORT vok_xml_element *vok_xml_document_createelement(vok_xml_document *x, symbol *name);
VOKRA_EXPORT vok_xml_attribute *vok_xml_document_createattribute(vok_xml_document *x, symbol *name);
VOKRA_EXPORT vok_xml_charnode *vok_xml_document_createtextnode(vok_xml_document *x, const char *text);
VOKRA_EXPORT vok_xml_charnode *vok_xml_document_createcomment(vok_xml_document *x, const char *text);
VOKRA_EXPORT vok_xml_charnode *vok_xml_document_createcdatasection(vok_xml_document *x, const char *text);
/* A new vok_linklist of the nodes with that nodename, the start among them, in the order of
 * the text; null when there is none. The caller gives it back with linklist_chuck. */
VOKRA_EXPORT void *vok_xml_document_getelementsbytagname(vok_xml_document *x, symbol *name);
VOKRA_EXPORT void *vok_xml_element_getelementsbytagname(vok_xml_element *x, symbol *name);
/* Setter of the attribute `filename`: no atoms make it the empty symbol. */
VOKRA_EXPORT vok_err vok_xml_document_filename(vok_xml_document *x, void *attr, long argc, atom *argv);

/* ---- nodes: the tree ---- */

/* Append, insert ahead of `refchild` (at the front when that is null or elsewhere), put in
 * the place of `oldchild` (which is freed). The node owns the child from then on. EROR, and
 * the child stays the caller's: a null child, one that has a parent already, or one that
 * the node hangs under. Insertion makes the node's own document the child's, while
 * appending to a document makes it that document. replacechild without `oldchild` in the
 * list does nothing; 0. */
VOKRA_EXPORT vok_err vok_xml_node_appendchild(void *node, void *child);
VOKRA_EXPORT vok_err vok_xml_node_insertbefore(void *node, void *child, void *refchild);
VOKRA_EXPORT vok_err vok_xml_node_replacechild(void *node, void *child, void *oldchild);
/* Takes the child out and frees it. EROR for a null child or no list. */
VOKRA_EXPORT vok_err vok_xml_node_removechild(void *node, void *child);
/* Frees all children; firstchild and lastchild keep their old words. */
VOKRA_EXPORT vok_err vok_xml_node_removeallchildren(void *node);
/* 1 or 0. */
VOKRA_EXPORT long vok_xml_node_haschildnodes(void *node);
/* Reserved names: they do nothing and give 0. */
VOKRA_EXPORT zan_word vok_xml_node_clonenode(void *node);
VOKRA_EXPORT zan_word vok_xml_text_splittext(void *node);
VOKRA_EXPORT zan_word vok_xml_cdata_splittext(void *node);

/* ---- nodes: the value ---- */

/* Setter and getter of the attribute `nodevalue`. Set: a copy of the atoms. Get: the atoms,
 * or the words of the text (the first 2,048), in the caller's array when *argc and *argv are
 * both set, else in a new one (sysmem_freeptr); a node without a value gives none. */
VOKRA_EXPORT vok_err vok_xml_node_nodevalue(void *node, void *attr, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_xml_node_getnodevalue(void *node, void *attr, long *argc, atom **argv);
/* Set: a copy of the text. Get: the text, or the atoms as text (at most 8,191 bytes of it),
 * cut to the caller's *size bytes with the NUL when *size and *text are both set, else in a
 * new block (sysmem_freeptr) of *size bytes. EROR, and empty text, for a node without a
 * value. */
VOKRA_EXPORT vok_err vok_xml_node_setnodevalasstring(void *node, const char *text);
VOKRA_EXPORT vok_err vok_xml_node_getnodevalasstring(void *node, long *size, char **text);
/* No value any more; objects among the atoms are freed. */
VOKRA_EXPORT void vok_xml_node_nodevalue_clear(void *node);

/* X(tail, type, type in arrays) for each kind of number or name that a value can be had as. */
#define VOK_XML_VALUE_TYPES(X)                                                                                    \
    X(sym, symbol *, symbol *)                                                                                    \
    X(long, zan_word, zan_word)                                                                                   \
    X(float, double, float)

/* The value's first atom, 0 (the empty symbol) when there is none; a value of one atom.
 * Arrays: stores at most `max` and gives the count that the value has; sets at most 2,048. */
#define VOK_DECLARE(tail, T, E)                                                                                   \
    VOKRA_EXPORT T vok_xml_node_getnodevalue_##tail(void *node, void *attr);                                      \
    VOKRA_EXPORT vok_err vok_xml_node_nodevalue_##tail(void *node, T value);                                      \
    VOKRA_EXPORT long vok_xml_node_getnodevalue_##tail##_array(void *node, long max, E *values);                  \
    VOKRA_EXPORT vok_err vok_xml_node_nodevalue_##tail##_array(void *node, long count, E const *values);
VOK_XML_VALUE_TYPES(VOK_DECLARE)
#undef VOK_DECLARE

/* Atoms as the text of a value: longs, floats without their last zeros ("2.5", "3."),
 * symbols as they are, objects by their class, each with a blank behind it; "$1". The first
 * appends one atom to `text`, the second writes a list without the last blank; the caller
 * has made room: a symbol's length, or 320 bytes, and 2 an atom. */
VOKRA_EXPORT void vok_xml_appendatom(const atom *a, char *text);
VOKRA_EXPORT void vok_xml_atoms_totext(char *text, long argc, const atom *argv);
/* Words of text as atoms, as the host's readatom reads them, into the caller's array of *argc
 * atoms (2,048 when that is 0); *argc becomes their count. */
VOKRA_EXPORT vok_err vok_xml_text_toatoms(const char *text, long *argc, atom *argv);

/* ---- elements: their attributes ---- */

/* The value of an attribute, as in vok_xml_node_getnodevalue; EROR when there is none. */
VOKRA_EXPORT vok_err vok_xml_element_getattribute(vok_xml_element *x, symbol *name, long *argc, atom **argv);
/* The attribute is made when need be. */
VOKRA_EXPORT vok_err vok_xml_element_setattribute(vok_xml_element *x, symbol *name, long argc, atom *argv);
/* Freed with its value; EROR when there is none. */
VOKRA_EXPORT vok_err vok_xml_element_removeattribute(vok_xml_element *x, symbol *name);
/* Null when there is none. */
VOKRA_EXPORT vok_xml_attribute *vok_xml_element_getattributenode(vok_xml_element *x, symbol *name);
/* Appends the node, which the element owns from then on. Another one of the same name
 * stays, and is the one that is found. */
VOKRA_EXPORT vok_err vok_xml_element_setattributenode(vok_xml_element *x, vok_xml_attribute *attribute);
/* Frees the first attribute of the node's name, if the node is the element's; else EROR. */
VOKRA_EXPORT vok_err vok_xml_element_removeattributenode(vok_xml_element *x, vok_xml_attribute *attribute);
/* function(attribute, data) for each. */
VOKRA_EXPORT void vok_xml_element_attributes_funall(vok_xml_element *x, void (*function)(void *, void *),
                                                    void *data);
/* 1 when the attribute has that name; for linklist_findfirst. */
VOKRA_EXPORT long vok_xml_attr_symcompare(void *attribute, void *name);

#define VOK_DECLARE(tail, T, E)                                                                                   \
    VOKRA_EXPORT T vok_xml_element_getattribute_##tail(vok_xml_element *x, symbol *name);                         \
    VOKRA_EXPORT vok_err vok_xml_element_setattribute_##tail(vok_xml_element *x, symbol *name, T value);          \
    VOKRA_EXPORT long vok_xml_element_getattribute_##tail##_array(vok_xml_element *x, symbol *name, long max,     \
                                                                  E *values);                                     \
    VOKRA_EXPORT vok_err vok_xml_element_setattribute_##tail##_array(vok_xml_element *x, symbol *name,            \
                                                                     long count, E const *values);
VOK_XML_VALUE_TYPES(VOK_DECLARE)
#undef VOK_DECLARE

/* ---- character data, counted in bytes ---- */

/* EROR, and nothing changed, for an offset outside the data or a negative count; a count
 * that reaches beyond the end stops there. */
VOKRA_EXPORT vok_err vok_xml_charnode_appenddata(vok_xml_charnode *x, const char *text);
VOKRA_EXPORT vok_err vok_xml_charnode_insertdata(vok_xml_charnode *x, long offset, const char *text);
VOKRA_EXPORT vok_err vok_xml_charnode_deletedata(vok_xml_charnode *x, long offset, long count);
VOKRA_EXPORT vok_err vok_xml_charnode_replacedata(vok_xml_charnode *x, long offset, long count, const char *text);
/* The first `count` bytes, at most as many as there are behind `offset` (deliberate: the
 * offset limits the count and nothing else). A block of as many bytes and a NUL for
 * vok_freebytes; null when the node has no data. */
VOKRA_EXPORT char *vok_xml_charnode_substringdata(vok_xml_charnode *x, long offset, long count);

/* ---- reading ---- */

/* The message `read`: argv[0] a symbol names the file, else the open dialog asks. What the
 * document held is freed. EROR when there is no such file, with an error report when its
 * text is no XML; what came ahead of the fault is kept then. A document may be in any
 * encoding that expat knows; `encoding` becomes the declared one if it is one of the four,
 * else utf-8. Entities of the document type expand in attribute values alone, within
 * expat's limit of amplification; more than 1,000 of them are refused. A run of character
 * data is cut at 4,095 bytes (line ends and entities divide runs). */
VOKRA_EXPORT vok_err vok_xml_document_read(vok_xml_document *x, symbol *selector, long argc, atom *argv);
/* The same from memory. The second leaves what the document holds and goes on behind it. */
VOKRA_EXPORT vok_err vok_xml_document_read_buffer(vok_xml_document *x, const char *text);
VOKRA_EXPORT vok_err vok_xml_document_process_buffer(vok_xml_document *x, const char *text);
/* From the document's encoding to "ms-ansi": the size of *out, which ends with a NUL that
 * the size counts (sysmem_freeptr); 0 and null on failure. */
VOKRA_EXPORT long vok_xml_document_decode(vok_xml_document *x, const char *text, char **out);

/* ---- writing ---- */

/* The message `write`: argv[0] a symbol names the file, else the save dialog asks. 0
 * always; failures are reported. Each node begins a line of its own, indented by tabs. The
 * value of an attribute is cut at 8,095 bytes. Text, comments and CDATA are written as they
 * stand, so markup in text comes out as markup. What can't be converted is left out, and so
 * are elements more than 8,000 deep, whose indentation alone would fill a tag's line. */
VOKRA_EXPORT vok_err vok_xml_document_write(vok_xml_document *x, symbol *selector, long argc, atom *argv);
/* The same, sent to any object as messages `append` with two words, the text of a line and
 * its size in bytes (UTF-16 has zeros among them). */
VOKRA_EXPORT vok_err vok_xml_document_write_buffer(vok_xml_document *x, void *buffer);
/* Asks for the XML declaration in one of the four encodings; any other takes it away and
 * makes the encoding utf-8. */
VOKRA_EXPORT vok_err vok_xml_document_createheader(vok_xml_document *x, symbol *encoding);
/* Posts the tree, a line a post, indented by four blanks a level. */
VOKRA_EXPORT vok_err vok_xml_document_print(vok_xml_document *x);
VOKRA_EXPORT vok_err vok_xml_node_write(void *node, zan_file_handle file, long depth);
VOKRA_EXPORT vok_err vok_xml_node_write_to_buffer(void *node, void *buffer, long depth);
VOKRA_EXPORT vok_err vok_xml_node_print(void *node, long depth);
/* Writes (appends) *count bytes of "ms-ansi" in the encoding of the node's document;
 * *count becomes the bytes written, 0 when they can't be converted. */
VOKRA_EXPORT vok_err vok_xml_node_encode_and_write(void *node, zan_file_handle file, long *count,
                                                   const char *text);
VOKRA_EXPORT vok_err vok_xml_node_encode_and_write_to_buffer(void *node, void *buffer, long *count,
                                                             const char *text);
/* The text with " & < > as entities: a new block (vok_freebytes) of *count bytes with the
 * NUL; null, and *count left alone, when it has none of them. */
VOKRA_EXPORT char *vok_xml_convert_entities(const char *text, long *count);

/* ---- character sets ---- */

/* X(global, symbol, name for iconv). utf-16 without an order is big-endian. Whether the
 * last two are known depends on the iconv in use. */
#define VOK_CHARACTER_SETS(X)                                                                                     \
    X(ps_utf_8, "utf-8", "UTF-8")                                                                                 \
    X(ps_utf_16, "utf-16", "UTF-16BE")                                                                            \
    X(ps_utf_16be, "utf-16be", "UTF-16BE")                                                                        \
    X(ps_utf_16le, "utf-16le", "UTF-16LE")                                                                        \
    X(ps_iso_8859_1, "iso-8859-1", "ISO-8859-1")                                                                  \
    X(ps_us_ascii, "us-ascii", "US-ASCII")                                                                        \
    X(ps_ms_ansi, "ms-ansi", "MS-ANSI")                                                                           \
    X(ps_macroman, "macroman", "MACROMAN")
#define VOK_DECLARE(global, name, iconv_name) VOKRA_EXPORT extern symbol *global;
VOK_CHARACTER_SETS(VOK_DECLARE)
#undef VOK_DECLARE

/* The class vok_charset_converter. One converter serves one direction, and one thread at a
 * time. */
typedef struct vok_charset_converter {
    object header;
    void *handle;          /* iconv's, or null */
    const char *from, *to; /* names for iconv */
} vok_charset_converter;

VOKRA_EXPORT vok_err vok_charset_init(void);
/* Null, with an error report, for a symbol outside the table or a pair that iconv lacks. */
VOKRA_EXPORT vok_charset_converter *vok_charset_converter_new(symbol *from, symbol *to);
VOKRA_EXPORT void vok_charset_converter_free(vok_charset_converter *x);
/* Opens the converter again from its two names; EROR when iconv lacks the pair. */
VOKRA_EXPORT vok_err vok_charset_converter_initialize(vok_charset_converter *x);
/* The message `convert`: `size` bytes into a new block of *outsize bytes (sysmem_freeptr).
 * EROR for a null argument, and, with a report, when a character has no equivalent, the
 * text is broken or the result is more than 4 times as long; OMEM, reported too. */
VOKRA_EXPORT vok_err vok_charset_converter_convert(vok_charset_converter *x, const char *text, long size,
                                                   char **out, long *outsize);
/* iconv's name for a symbol of the table, else null; whether it is there (1 or 0). */
VOKRA_EXPORT const char *vok_charset_encoding_sym2enc(symbol *encoding);
VOKRA_EXPORT long vok_charset_encoding_checkvalid(symbol *encoding);

VOKRA_END_C
#ifdef __cplusplus
static_assert(offsetof(vok_xml_node, nodename) == 32 && offsetof(vok_xml_node, childnodes) == 80 &&
                  offsetof(vok_xml_node, valuekind) == 136 && sizeof(vok_xml_node) == 144 &&
                  offsetof(vok_xml_document, encoding) == 184 && offsetof(vok_xml_attribute, specified) == 144 &&
                  offsetof(vok_xml_charnode, data) == 152 && offsetof(vok_charset_converter, to) == 48,
              "the records of XML nodes and of a converter");
#endif
#endif

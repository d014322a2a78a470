// How a class is written: one constexpr table of its messages, one of its attributes,
// and an init of a few lines that hands them over.
//
//   constexpr vok::message messages[] = {
//       {"getinfo", vok::fn<vok_matrix_getinfo>, {argtype_cant}},
//       {"fillplane", vok::fn<vok_matrix_fillplane>, {argtype_defer_low}},
//   };
//   constexpr vok::attribute attributes[] = {
//       {.name = "planecount", .type = "long", .flags = vok::low, .offset = offsetof(vok_matrix, planecount),
//        .set = vok::fn<vok_matrix_planecount>, .label = "Planecount", .clip = vok::clip(1, 32)},
//   };
//   vok_err vok_matrix_init() {
//       return vok::add_class({"vok_matrix", vok::fn<vok_matrix_new>, vok::fn<vok_matrix_free>,
//                              sizeof(vok_matrix)}, messages, attributes) ? VOK_ERR_NONE : VOK_ERR_OMEM;
//   }
#pragma once
#include <span>

#include <vokra/kernel.h>

namespace vok {

// A function of a table. Its address can't be untyped in a constant, so a row holds the
// function that gives it: vok::fn<vok_matrix_getinfo>.
using function = zan_method (*)();
template <auto F> zan_method fn()
{
    return reinterpret_cast<zan_method>(F);
}

struct message {
    const char *name;
    function fn;
    unsigned char tags[8] = {}; // argument tags, ended by 0; none: takes nothing but the object
};

// What a value is limited to when it is set.
struct clip_range {
    bool on = false;
    double min = 0, max = 0;
    bool usemin = false, usemax = false;
};
constexpr clip_range clip(double min, double max)
{
    return {true, min, max, true, true};
}
constexpr clip_range clip_min(double min)
{
    return {true, min, 0, true, false};
}
constexpr clip_range clip_max(double max)
{
    return {true, 0, max, false, true};
}

// Flags that most attributes have: got through defer_low, set as low-priority merged
// calls; the same without a set by users; neither set nor seen by users.
constexpr long low = vok_attrflag_get_defer_low | vok_attrflag_set_usurp_low;
constexpr long low_readonly = vok_attrflag_get_defer_low | vok_attrflag_set_opaque_user;
constexpr long hidden = vok_attrflag_get_opaque_user | vok_attrflag_set_opaque_user;

struct attribute {
    const char *name = nullptr;
    const char *type = nullptr; // char, long, float32, float64, symbol, object, pointer, atom
    long flags = 0;             // vok_attrflag_...
    long offset = 0;            // of the value in the object
    long size = 0;              // above 0: an array with room for this many
    long count = 0;             // an array's: offset of the long that counts, 0: always `size`
    function get = nullptr;     // null: the value at the offset
    function set = nullptr;
    const char *label = nullptr;
    const char *style = nullptr;
    const char *enumvals = nullptr; // blank-separated, quoted where need be
    const char *category = nullptr;
    bool basic = false;
    bool invisible = false;
    clip_range clip = {};
};

struct class_row {
    const char *name;
    function new_fn;  // words, at most eight
    function free_fn; // or null
    long size;        // of the instance record
};

// Null when memory is out; an error has been posted then.
zan_class *add_class(const class_row &row, std::span<const message> messages = {},
                     std::span<const attribute> attributes = {});

// The same piece by piece, for a class made or registered in another way.
void add_messages(zan_class *c, std::span<const message> messages);
void add_attributes(zan_class *c, std::span<const attribute> attributes);
// Sets an attribute's own attribute from text ("label", "style", ...) on the class.
void describe_attribute(zan_class *c, const char *name, const char *what, symbol *type, const char *text);
// Marks a method with an attribute of its own, such as "undocumented".
void mark_method(zan_class *c, const char *name, const char *what);

} // namespace vok

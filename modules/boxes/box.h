// How a control box is written: a class with one function that hears messages, and a row
// that says what the box is called and what a person may send it. The record that the
// host knows is the same for all of them.
//
// A box may hear messages on the scheduler and on the main thread at once: what is more
// than a word is guarded by the box's lock, which is never held while anything is sent.
#pragma once
#include <zan/host.h>

#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace boxes {

class box;
struct kind;

// The host's side of a box.
struct shell {
    object header;
    long inlet; // where the proxies leave their number
    box *self;  // null until the box is made
};

struct message {
    symbol *selector;
    long argc;
    atom *argv;
};

// What a box is made from.
struct birth {
    shell *x;
    const kind *what;
    std::span<atom> args; // ahead of the first attribute
};

class box {
  public:
    explicit box(const birth &b) : x(b.x) {}
    virtual ~box() = default;
    box(const box &) = delete;
    box &operator=(const box &) = delete;

    // Inlet 0 is the left one.
    virtual void hear(long inlet, const message &m) = 0;

  protected:
    // Makes the inlets right of the left one, and the outlets. Once, in the constructor.
    void shape(long inlets, long outlets);
    void error(const std::string &text) const;
    // The error for a message that makes no sense at this inlet.
    void misfit(long inlet, const message &m, const char *wanted) const;
    // An argument that has to be a number; null, which is an error, for another one, and for
    // a missing one. Then as the number that it is, or `otherwise`.
    const atom *argument(const birth &b, size_t index) const;
    double number(const birth &b, size_t index, double otherwise) const;
    long whole(const birth &b, size_t index, long otherwise) const;

    shell *const x;
    std::vector<void *> out; // from the left
    mutable std::mutex lock;
};

struct attribute {
    const char *name;
    const char *type;
    atom (*get)(const box &);
    void (*set)(box &, const atom &);
    const char *label;
};

// One row: a class of boxes.
struct kind {
    const char *name;
    const char *digest;    // one sentence: what it does
    const char *arguments; // what may stand behind its name, for help
    const char *words;     // the messages it takes, parted by blanks; "anything": every one
    const char *inlets;    // what goes in and comes out, from the left, parted by "|";
    const char *outlets;   // the last text stands for all further ones
    std::unique_ptr<box> (*make)(const birth &);
    std::span<const attribute> attributes = {};
    const void *rule = nullptr; // for families: what tells one member from another
    bool as_written = false;    // a patch leaves $1 and commas among its arguments alone
};

template <class F> zan_method erase(F *fn)
{
    return reinterpret_cast<zan_method>(fn);
}
template <class T> std::unique_ptr<box> make(const birth &b)
{
    return std::make_unique<T>(b);
}
// The getter and setter of an attribute that is a plain number of the box.
template <auto field> struct owner_of;
template <class T, class V, V T::*field> struct owner_of<field> {
    using type = T;
    using value = V;
};
template <auto field> atom get_number(const box &b)
{
    atom a;
    atom_setfloat(&a, double(static_cast<const typename owner_of<field>::type &>(b).*field));
    return a;
}
template <auto field> atom get_long(const box &b)
{
    atom a;
    atom_setlong(&a, static_cast<const typename owner_of<field>::type &>(b).*field);
    return a;
}

// The words that boxes speak.
struct vocabulary {
    symbol *bang = gensym("bang"), *an_int = gensym("int"), *a_float = gensym("float"), *list = gensym("list");
    symbol *set = gensym("set"), *stop = gensym("stop"), *reset = gensym("reset"), *read = gensym("read");
    symbol *append = gensym("append"), *vok_matrix = gensym("vok_matrix"), *empty = gensym("");
};
const vocabulary &words();

bool is_number(const atom &a);
bool is_bang(const message &m);
// The number that a message is or begins with, or null.
const atom *number_of(const message &m);
// A message as atoms: a number or a list its own, another one its selector and the rest,
// a bang none.
std::vector<atom> atoms_of(const message &m);
// Atoms as the message that they are: none a bang, a number, a list, or a word with the rest.
message message_of(std::span<atom> atoms);
void send(void *outlet, const message &m);
void send_number(void *outlet, const atom &a);
std::string text_of(std::span<const atom> atoms);

// Makes the classes of rows that stay where they are.
void add_kinds(std::span<const kind> rows);

// The families, a file each.
std::span<const kind> timing_kinds();
std::span<const kind> flow_kinds();
std::span<const kind> value_kinds();
std::span<const kind> message_kinds();
std::span<const kind> picture_kinds();
std::span<const kind> frame_kinds();
std::span<const kind> probe_kinds();

} // namespace boxes

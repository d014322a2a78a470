// Boxes that order, sort, join, part and show messages, and carry them without a cord.
#include "box.h"
#include "receiving.h"

#include <algorithm>

namespace boxes {
namespace {

// The arguments of a box as it keeps them, with others where there are none.
std::vector<atom> kept(const birth &b, std::initializer_list<long> otherwise)
{
    std::vector<atom> atoms(b.args.begin(), b.args.end());
    if (atoms.empty())
        for (long value : otherwise)
            atom_setlong(&atoms.emplace_back(), value);
    return atoms;
}

bool same(const atom &a, const atom &b)
{
    if (is_number(a) && is_number(b))
        return atom_getfloat(&a) == atom_getfloat(&b);
    return a.type == b.type && atom_getsym(&a) && atom_getsym(&a) == atom_getsym(&b);
}

struct trigger : box {
    std::vector<atom> forms;

    explicit trigger(const birth &b) : box(b), forms(b.args.begin(), b.args.end())
    {
        if (forms.empty())
            for (int i = 0; i < 2; i++)
                atom_setsym(&forms.emplace_back(), words().bang);
        shape(1, long(forms.size()));
    }
    void hear(long, const message &m) override
    {
        for (size_t i = forms.size(); i-- > 0;)
            send_as(out[i], forms[i], m);
    }
    static void send_as(void *outlet, const atom &form, const message &m)
    {
        const symbol *word = atom_getsym(&form);
        const std::string name = word ? word->name : "";
        atom value;
        atom_setlong(&value, 0);
        const std::vector<atom> all = atoms_of(m);
        if (!all.empty())
            value = all[0];
        if (!word)
            return send_number(outlet, form);
        if (name == "b" || name == "bang") {
            outlet_bang(outlet);
        } else if (name == "a" || name == "l" || name == "list" || name == "anything") {
            send(outlet, m);
        } else if (name == "i" || name == "int") {
            outlet_int(outlet, atom_getlong(&value));
        } else if (name == "f" || name == "float") {
            outlet_float(outlet, atom_getfloat(&value));
        } else if (name == "s" || name == "symbol") {
            if (!atom_getsym(&value))
                atom_setsym(&value, words().empty);
            send(outlet, message_of({&value, 1}));
        } else {
            value = form;
            send(outlet, message_of({&value, 1}));
        }
    }
};

// What route and select share: one outlet for each argument, and one for the rest.
struct sorter : box {
    std::vector<atom> wanted;

    explicit sorter(const birth &b) : box(b), wanted(kept(b, {0})) { shape(1, long(wanted.size()) + 1); }
    // The outlet for messages that begin so; the last one when none does.
    size_t place_of(const std::vector<atom> &atoms) const
    {
        atom first;
        atom_setsym(&first, words().bang);
        if (!atoms.empty())
            first = atoms[0];
        return size_t(std::find_if(wanted.begin(), wanted.end(), [&](const atom &a) { return same(a, first); }) -
                      wanted.begin());
    }
};

struct route : sorter {
    using sorter::sorter;
    void hear(long, const message &m) override
    {
        std::vector<atom> atoms = atoms_of(m);
        const size_t place = place_of(atoms);
        if (place == wanted.size())
            send(out[place], m);
        else
            send(out[place], message_of(std::span(atoms).subspan(atoms.empty() ? 0 : 1)));
    }
};

struct select : sorter {
    using sorter::sorter;
    void hear(long, const message &m) override
    {
        const size_t place = place_of(atoms_of(m));
        place == wanted.size() ? send(out[place], m) : void(outlet_bang(out[place]));
    }
};

struct gate : box {
    long open;

    explicit gate(const birth &b) : box(b), open(whole(b, 1, 0))
    {
        shape(2, std::clamp(whole(b, 0, 1), 1L, 256L));
    }
    void hear(long inlet, const message &m) override
    {
        if (inlet) {
            if (open >= 1 && open <= long(out.size()))
                send(out[size_t(open - 1)], m);
        } else if (const atom *value = number_of(m)) {
            open = atom_getlong(value);
        } else {
            misfit(inlet, m, "the number of the outlet to open, 0 for none");
        }
    }
    static void set(box &b, const atom &a) { static_cast<gate &>(b).open = atom_getlong(&a); }
};
constexpr attribute gate_attributes[] = {
    {"open", "long", get_long<&gate::open>, gate::set, "The outlet that is open, from 1; 0 for none"},
};

struct pack : box {
    std::vector<atom> values;

    explicit pack(const birth &b) : box(b), values(kept(b, {0, 0})) { shape(long(values.size()), 1); }
    void hear(long inlet, const message &m) override
    {
        std::vector<atom> all;
        {
            const std::lock_guard hold(lock);
            const std::vector<atom> given = atoms_of(m);
            for (size_t i = 0; i < given.size() && size_t(inlet) + i < values.size(); i++)
                values[size_t(inlet) + i] = given[i];
            if (inlet)
                return;
            all = values;
        }
        send(out[0], message_of(all));
    }
};

struct unpack : box {
    explicit unpack(const birth &b) : box(b) { shape(1, std::clamp(whole(b, 0, 2), 1L, 256L)); }
    void hear(long, const message &m) override
    {
        std::vector<atom> atoms = atoms_of(m);
        for (size_t i = std::min(atoms.size(), out.size()); i-- > 0;)
            send(out[i], message_of({&atoms[i], 1}));
    }
};

struct prepend : box {
    std::vector<atom> front;

    explicit prepend(const birth &b) : box(b), front(b.args.begin(), b.args.end()) { shape(2, 1); }
    void hear(long inlet, const message &m) override
    {
        std::vector<atom> all;
        {
            const std::lock_guard hold(lock);
            if (inlet) {
                front = atoms_of(m);
                return;
            }
            all = front;
        }
        const std::vector<atom> rest = atoms_of(m);
        all.insert(all.end(), rest.begin(), rest.end());
        send(out[0], message_of(all));
    }
};

struct print : box {
    std::string label;

    explicit print(const birth &b) : box(b), label(text_of(b.args)) {}
    void hear(long, const message &m) override
    {
        const std::vector<atom> atoms = atoms_of(m);
        const std::string text = atoms.empty() ? m.selector->name : text_of(atoms);
        object_post(x, "%s%s%s", label.c_str(), label.empty() ? "" : ": ", text.c_str());
    }
};

// ---- send and receive ----

symbol *name_argument(const birth &b)
{
    symbol *name = b.args.empty() ? nullptr : atom_getsym(&b.args[0]);
    if (!name)
        object_error(b.x, "a name is missing (%s NAME)", b.what->name);
    return name;
}

struct send_box : box {
    symbol *name;

    explicit send_box(const birth &b) : box(b), name(name_argument(b)) {}
    void hear(long, const message &m) override
    {
        if (!name)
            return;
        if (void *to = object_behind(name))
            zan_send(to, 0, m.selector, m.argc, m.argv);
        else
            error("nobody receives \"" + std::string(name->name) + "\"");
    }
};

struct receive : box {
    std::unique_ptr<receiving> ear;

    explicit receive(const birth &b) : box(b)
    {
        shape(1, 1);
        if (symbol *name = name_argument(b))
            ear = std::make_unique<receiving>(x, name, out[0]);
    }
    void hear(long, const message &m) override { send(out[0], m); }
};

constexpr kind rows[] = {
    {"trigger", "Sends a message on in several forms, from right to left.", "[b i f s a or a constant] ...",
     "anything", "any message", "the message in the form of the argument", make<trigger>},
    {"route", "Sorts messages by their first word or number, which it takes off.", "word or number ...",
     "anything", "any message", "what begins with the argument of this outlet, the last one for all else",
     make<route>},
    {"select", "Sends a bang where a message begins with the argument.", "word or number ...", "anything",
     "any message", "bang for the argument of this outlet, the last one for all else", make<select>},
    {"gate", "Lets messages through to the outlet that is open.", "[outlets] [open one]", "anything",
     "number of the outlet to open, 0 closes|any message", "messages while it is open", make<gate>,
     gate_attributes},
    {"pack", "Joins what comes in at its inlets into a list.", "first values ...", "anything",
     "first value: sends the list; bang sends it as it stands|value of this place", "the list", make<pack>},
    {"unpack", "Parts a list, from right to left.", "[outlets]", "anything", "a list", "the value of this place",
     make<unpack>},
    {"prepend", "Puts its arguments ahead of every message.", "words ...", "anything",
     "any message|what to put ahead", "the longer message", make<prepend>},
    {"print", "Tells every message to the person who runs the patch.", "[label]", "anything", "any message", "",
     make<print>},
    {"send", "Sends messages to all receive boxes of its name.", "name", "anything", "any message", "",
     make<send_box>},
    {"receive", "Gets what is sent to its name.", "name", "anything", "any message, as if it were sent",
     "what was sent", make<receive>},
};

} // namespace

std::span<const kind> flow_kinds()
{
    return rows;
}

} // namespace boxes

// What tests of boxes share: boxes made from text, messages sent as text, and an ear
// behind their outlets that notes what it hears as text.
#pragma once
#include "scratch.h"
#include <set>

namespace box_tools {

inline std::vector<atom> atoms_of(const std::string &text)
{
    std::vector<atom> atoms;
    char word[ZAN_NAME_SIZE];
    atom a;
    long at = 0;
    while (readatom(word, text.c_str(), &at, sizeof word, &a))
        atoms.push_back(a);
    return atoms;
}

// What zan_box_names gives.
inline std::vector<std::string> box_names()
{
    long count = 0;
    symbol **names = nullptr;
    EXPECT_EQ(zan_box_names(&count, &names), 0);
    std::vector<std::string> all;
    for (long i = 0; i < count; i++)
        all.push_back(names[i]->name);
    sysmem_freeptr(names);
    return all;
}

// A message as text; a number or a list without its selector.
inline std::string text_of(const symbol *selector, long argc, const atom *argv)
{
    std::string text = std::set<std::string>{"int", "float", "list"}.count(selector->name) ? "" : selector->name;
    for (long i = 0; i < argc; i++) {
        char one[256];
        atoms_totext(1, argv + i, one, sizeof one);
        text += (text.empty() ? "" : " ") + std::string(one);
    }
    return text;
}

class patch;

struct ear {
    object header;
    patch *owner;
    long number;
};

// Boxes that go with it, in the order opposite to their making.
class patch {
  public:
    ~patch()
    {
        while (!boxes_.empty())
            free(boxes_.back());
    }
    // "class argument ..."; null when there is no such box.
    void *make(const std::string &text)
    {
        std::vector<atom> atoms = atoms_of(text);
        boxes_.push_back(newinstance(atom_getsym(&atoms[0]), long(atoms.size()) - 1, &atoms[1]));
        return boxes_.back();
    }
    void free(void *box)
    {
        std::erase(boxes_, box);
        object_free(box);
    }
    // Notes what leaves the box's outlets from number `from` on, outlet 0 under the number `first`.
    void listen(void *box, long first = 0, long from = 0)
    {
        for (long i = from; i < outlet_count(box); i++) {
            auto *e = static_cast<ear *>(newobject(ear_class()));
            e->owner = this;
            e->number = first + i;
            boxes_.push_back(e);
            EXPECT_EQ(zan_connect(box, i, e, 0), 0);
        }
    }
    // "inlet message"
    void send(void *box, const std::string &text)
    {
        std::vector<atom> m = atoms_of(text);
        const long inlet = atom_getlong(&m[0]);
        if (symbol *selector = atom_getsym(&m[1]))
            zan_send(box, inlet, selector, long(m.size()) - 2, m.data() + 2);
        else if (m.size() > 2)
            zan_send(box, inlet, gensym("list"), long(m.size()) - 1, m.data() + 1);
        else
            zan_send(box, inlet, gensym(m[1].type == argtype_long ? "int" : "float"), 1, m.data() + 1);
    }
    // What is heard since the last call, or has gone wrong, when these have been sent.
    template <class... Texts> std::string ask(void *box, const Texts &...texts)
    {
        (send(box, texts), ...);
        return heard();
    }
    template <class... Texts> std::string complaint(void *box, const Texts &...texts)
    {
        (send(box, texts), ...);
        return errors();
    }
    // "number message; ..." since the last call.
    std::string heard() { return std::exchange(heard_, ""); }
    // The errors since the last call, a line each.
    std::string errors()
    {
        std::string all;
        for (const std::string &text : reports_.take(zan_report_error))
            all += (all.empty() ? "" : "\n") + text;
        return all;
    }

  private:
    static void hear(ear *e, symbol *selector, long argc, atom *argv)
    {
        std::string &all = e->owner->heard_;
        all += (all.empty() ? "" : "; ") + std::to_string(e->number) + " " + text_of(selector, argc, argv);
    }
    static zan_class *ear_class()
    {
        static zan_class *const c = [] {
            zan_class *made = class_new("ear", nullptr, nullptr, sizeof(ear), nullptr, 0);
            for (const char *word : {"bang", "int", "float", "list", "anything"})
                class_addmethod(made, reinterpret_cast<zan_method>(hear), word, argtype_gimme, 0);
            return made;
        }();
        return c;
    }

    std::vector<void *> boxes_;
    std::string heard_;
    report_catcher reports_;
};

} // namespace box_tools

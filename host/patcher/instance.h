// An open patch: the objects made of a document, and the boxes that patches have of their
// own, `inlet`, `outlet`, a patch as a box, and what stands in for a box that is missing.
#pragma once
#include "document.h"
#include "kernel.h"

#include <map>
#include <memory>
#include <set>
#include <vector>

namespace zan {

// What one check or opening knows, shared by the patches in the patch.
struct building {
    bool checking;
    finding_list findings;
    std::map<std::string, std::shared_ptr<const document>> documents; // by full name
    std::vector<const document *> open;                               // the patches that are in the making
    std::set<std::string> told;                                       // files whose own findings are in
    std::map<std::string, std::vector<std::string>> class_names;      // for hints, by folder
    long boxes = 0;                                                   // made so far
};

struct made_box {
    object *box = nullptr;
    object *stand = nullptr; // what "#B" is for it
    zan_patch *inner = nullptr;
    bool missing = false;
};

} // namespace zan

struct zan_patch {
    std::shared_ptr<const zan::document> text;
    std::vector<zan::finding> findings; // of the text and of the last build, in order
    std::vector<zan::made_box> boxes;   // one for each of the text's while open
    std::vector<atom> arguments;
    std::vector<bool> refused; // one for each of the text's messages: it isn't sent
    std::vector<object *> inlets, outlets;
    object *as_box = nullptr;         // when it is a box in another patch
    const zan_patch *outer = nullptr; // when it was read as a class of another patch
    std::unique_ptr<zan::open_folder> folder;
};

namespace zan {

// instance.cpp
void build(zan_patch &p, building &all); // one patch, and those in it
long open(zan_patch &p);                 // the number of errors
long check(zan_patch &p);
void start(zan_patch &p);
void take_down(zan_patch &p);
zan_patch *patch_of_class(zan_patch &p, symbol *classname);
zan_patch *new_patch(std::shared_ptr<const document> text); // read, not open

// ports.cpp
object *make_stand(zan_patch *p, symbol *name, symbol *classname, long line);
zan_patch *patch_around(void *box); // the one that the box is in, or null
// A box that is a patch; it owns the patch. Its inlets and outlets come with open_ports.
object *make_patch_box(zan_patch *p);
void open_ports(object *patch_box);
object *make_missing_box(long inlets, long outlets);

} // namespace zan

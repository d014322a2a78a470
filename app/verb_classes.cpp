// vokra classes: what the library offers, and what patches can have as boxes.
#include <algorithm>
#include <cstdio>
#include <memory>

#include <nlohmann/json.hpp>
#include <vokra/vokra.h>
#include <zan/module.h>

#include "patches.h"
#include "verbs.h"

namespace program {

std::vector<std::string> class_names()
{
    long count = 0;
    symbol **names = nullptr;
    zan_class_names(gensym("vokra"), &count, &names);
    std::vector<std::string> result = texts_of(count, names);
    std::sort(result.begin(), result.end());
    return result;
}

std::vector<std::string> box_names()
{
    long count = 0;
    symbol **names = nullptr;
    zan_box_names(&count, &names);
    return texts_of(count, names);
}

void load_packs()
{
    box_names();
}

std::string digest_of(zan_class *c)
{
    const symbol *digest = zan_class_digest(c);
    return digest ? digest->name : "";
}

namespace {

void list_classes(bool as_json)
{
    load_packs();
    const std::vector<std::string> names = class_names();
    if (as_json) {
        std::printf("%s\n", nlohmann::json(names).dump(2).c_str());
        return;
    }
    for (const std::string &name : names) {
        zan_class *c = vok_class_findbyname(gensym(name.c_str()));
        std::printf("%-24s%s\n", name.c_str(), class_adornment_get(c, gensym("vok_mop")) ? "matrix operator" : "");
    }
}

void list_boxes(bool as_json)
{
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const std::string &name : box_names()) {
        const std::string does = digest_of(zan_box_class(gensym(name.c_str())));
        if (as_json)
            all.push_back({{"box", name}, {"does", does}});
        else
            std::printf("%-24s%s\n", name.c_str(), does.c_str());
    }
    if (as_json)
        std::printf("%s\n", all.dump(2).c_str());
}

} // namespace

void add_classes(CLI::App &app)
{
    auto as_json = std::make_shared<bool>(false), boxes = std::make_shared<bool>(false);
    CLI::App *verb = app.add_subcommand(
        "classes", "List the classes of the library, or the boxes of patches.\nExample: vokra classes --boxes");
    verb->add_flag("--boxes", *boxes, "what a patch can have as boxes, and what each does");
    verb->add_flag("--json", *as_json, "as JSON");
    add_path_option(verb);
    verb->callback([=] { *boxes ? list_boxes(*as_json) : list_classes(*as_json); });
}

} // namespace program

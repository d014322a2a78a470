// Patches as the verbs meet them.
#include "patches.h"

#include <algorithm>
#include <iostream>
#include <iterator>

namespace program {
namespace {

long paths_given;

zan_patch *read(const std::string &name)
{
    if (name.empty())
        throw failure(wrong_use, "the name of a patch is empty");
    if (name != "-")
        return zan_patch_read(name.c_str());
    const std::string text{std::istreambuf_iterator<char>(std::cin), {}};
    return zan_patch_parse("standard input", text.c_str(), long(text.size()));
}

} // namespace

patch::patch(const std::string &name) : p_(read(name))
{
    if (!p_)
        throw std::bad_alloc();
}

std::vector<zan_finding> patch::findings() const
{
    std::vector<zan_finding> all;
    zan_finding f;
    for (long i = 0; !zan_patch_finding(p_, i, &f); i++)
        all.push_back(f);
    return all;
}

exit_code patch::verdict() const
{
    bool any = false, no_class = false;
    for (const zan_finding &f : findings()) {
        if (f.severity != zan_report_error)
            continue;
        if (f.kind == zan_finding_file)
            return file_trouble;
        any = true;
        no_class = no_class || f.kind == zan_finding_class;
    }
    return no_class ? class_missing : any ? work_reported_errors : done;
}

std::vector<std::string> patch::box_names() const
{
    std::vector<std::string> names;
    zan_patch_box box;
    for (long i = 0; !zan_patch_getbox(p_, i, &box); i++)
        names.emplace_back(box.name->name);
    return names;
}

std::string told(const zan_place *place, const std::string &text)
{
    std::string where(size_t(zan_place_text(place, nullptr, 0)), 0);
    zan_place_text(place, where.data(), long(where.size()) + 1);
    const std::string prefix = place && place->classname ? place->classname->name + std::string(": ") : "";
    if (!prefix.empty() && text.starts_with(prefix)) // is in the place
        return where + ": " + text.substr(prefix.size());
    return where.empty() ? text : where + ": " + text;
}

atom atom_of(const std::string &word)
{
    atom a{};
    long end = 0;
    const bool is_number = readatom(nullptr, word.c_str(), &end, 0, &a) && size_t(end) == word.size() &&
                           (a.type == argtype_long || a.type == argtype_float);
    if (!is_number)
        atom_setsym(&a, gensym(word.c_str()));
    return a;
}

std::vector<atom> atoms_of(const std::vector<std::string> &words)
{
    std::vector<atom> atoms(words.size());
    std::transform(words.begin(), words.end(), atoms.begin(), atom_of);
    return atoms;
}

void add_path_option(CLI::App *verb)
{
    const auto add = [verb](const std::vector<std::string> &folders) {
        for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) // each goes to the front
            if (path_addsearchpath(folder->c_str()))
                throw failure(file_trouble,
                              verb->get_name() + ": --path " + *folder + ": there is no such folder");
        paths_given = long(folders.size());
    };
    verb->add_option_function<std::vector<std::string>>(
            "--path", add, "look for patches, classes and files in this folder too; may be given several times")
        ->expected(1)
        ->take_all()
        ->type_name("FOLDER");
}

long path_count()
{
    return paths_given;
}

} // namespace program

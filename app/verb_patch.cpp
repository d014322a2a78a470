// vokra check, fmt, graph and paths: what can be done with a patch without running it.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

#include <nlohmann/json.hpp>

#include "patches.h"
#include "verbs.h"

namespace program {
namespace {

namespace fs = std::filesystem;

const char *severity_of(const zan_finding &f)
{
    return f.severity == zan_report_error ? "error" : "warning";
}

nlohmann::ordered_json as_json(const zan_finding &f)
{
    constexpr const char *kinds[] = {"text", "file", "class"};
    nlohmann::ordered_json j{{"severity", severity_of(f)}, {"kind", kinds[f.kind]}};
    const std::pair<const char *, const symbol *> words[] = {
        {"file", f.place.file}, {"box", f.place.box}, {"class", f.place.classname}};
    for (const auto &[key, word] : words)
        if (word)
            j[key] = word->name;
    if (f.place.line)
        j["line"] = f.place.line;
    j["text"] = f.text;
    return j;
}

std::string line_of(const zan_finding &f)
{
    return told(&f.place, f.severity == zan_report_error ? f.text : "warning: " + std::string(f.text));
}

int check(const std::string &name, const std::vector<std::string> &arguments, bool json)
{
    const patch p(name);
    const std::vector<atom> atoms = atoms_of(arguments);
    zan_patch_check(p.get(), long(atoms.size()), atoms.data());
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const zan_finding &f : p.findings())
        if (json)
            list.push_back(as_json(f));
        else
            std::printf("%s\n", line_of(f).c_str());
    if (json)
        std::printf("%s\n", list.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    return p.verdict();
}

// Writes under a name beside it that is renamed when the text is whole.
void replace(const std::string &name, const std::string &text)
{
    std::error_code error;
    const fs::path target = fs::canonical(name, error); // a link stays a link
    const fs::path part = target.parent_path() / ("." + target.filename().string() + ".new");
    const auto trouble = [&](const char *what) {
        fs::remove(part, error);
        throw failure(file_trouble, name + ": can't be written: " + what);
    };
    errno = 0;
    if (!(std::ofstream(part, std::ios::binary) << text).flush())
        trouble(std::strerror(errno));
    fs::permissions(part, fs::status(target, error).permissions(), error);
    if (fs::rename(part, target, error); error)
        trouble(error.message().c_str());
}

int format(const std::string &name, bool in_place)
{
    if (in_place && name == "-")
        throw failure(wrong_use, "fmt: standard input can't be written in place");
    const patch p(name);
    for (const zan_finding &f : p.findings())
        std::fprintf(stderr, "vokra: %s\n", line_of(f).c_str());
    long size = 0;
    const std::unique_ptr<char, void (*)(char *)> text(zan_patch_text(p.get(), &size),
                                                       [](char *t) { sysmem_freeptr(t); });
    if (!text)
        return std::max(p.verdict(), work_reported_errors);
    const std::string whole(text.get(), size_t(size));
    if (!in_place) {
        std::fwrite(whole.data(), 1, whole.size(), stdout);
    } else {
        std::ifstream before(name, std::ios::binary);
        if (std::string{std::istreambuf_iterator<char>(before), {}} != whole)
            replace(name, whole);
    }
    return p.verdict();
}

// In double quotes for a graph's text.
std::string quoted(const std::string &text)
{
    std::string q = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            q += '\\';
        q += c;
    }
    return q + "\"";
}

// A patch as a graph: the boxes in it that are patches are drawn round what is in them, and
// cords that end at them end at the boxes of their inlets and outlets.
class drawing {
  public:
    // `path` stands ahead of the names of its boxes, as zan_patch_find takes them.
    drawing(zan_patch *p, std::string path, int depth)
        : p_(p), path_(std::move(path)), indent_(size_t(4 * depth), ' ')
    {
        zan_patch_box box;
        for (long i = 0; !zan_patch_getbox(p, i, &box); i++)
            draw(box, depth);
        zan_patch_cord cord;
        for (long i = 0; !zan_patch_getcord(p, i, &cord); i++)
            std::printf("%s%s -> %s [taillabel=\"%ld\", headlabel=\"%ld\"];\n", indent_.c_str(),
                        end(cord.source, outlets_, cord.outlet).c_str(),
                        end(cord.destination, inlets_, cord.inlet).c_str(), cord.outlet, cord.inlet);
    }

  private:
    using ports = std::map<const symbol *, std::vector<std::string>>;

    void draw(const zan_patch_box &box, int depth)
    {
        char words[200];
        atoms_totext(box.argc, box.argv, words, sizeof words);
        const std::string name = path_ + box.name->name;
        const std::string label =
            quoted(box.name->name + std::string("\n") + box.classname->name + (box.argc ? " " : "") + words);
        zan_patch *inner = zan_patch_of_class(p_, box.classname);
        if (!inner) {
            std::printf("%s%s [label=%s];\n", indent_.c_str(), quoted(name).c_str(), label.c_str());
            return;
        }
        std::printf("%ssubgraph %s {\n%s    label=%s;\n", indent_.c_str(), quoted("cluster_" + name).c_str(),
                    indent_.c_str(), label.c_str());
        const drawing within(inner, name + "/", depth + 1);
        std::printf("%s}\n", indent_.c_str());
        zan_patch_box port;
        for (long i = 0; !zan_patch_getbox(inner, i, &port); i++)
            for (const auto &[all, classname] : {std::pair(&inlets_, "inlet"), {&outlets_, "outlet"}})
                if (port.classname == gensym(classname))
                    (*all)[box.name].push_back(name + "/" + port.name->name);
        zan_patch_free(inner);
    }
    std::string end(const symbol *box, const ports &of, long number) const
    {
        const auto at = of.find(box);
        const bool is_port = at != of.end() && number >= 0 && size_t(number) < at->second.size();
        return quoted(is_port ? at->second[size_t(number)] : path_ + box->name);
    }
    zan_patch *p_;
    std::string path_, indent_;
    ports inlets_, outlets_; // of the boxes that are patches, by the box's name
};

int graph(const std::string &name)
{
    const patch p(name);
    for (const zan_finding &f : p.findings())
        std::fprintf(stderr, "vokra: %s\n", line_of(f).c_str());
    if (p.verdict() == file_trouble)
        return file_trouble;
    std::printf("digraph patch {\n    node [shape=box, fontname=\"monospace\"];\n    fontname=\"monospace\";\n");
    const drawing all(p.get(), "", 1);
    std::printf("}\n");
    return p.verdict();
}

struct searched_folder {
    std::string name, why;
};

std::vector<searched_folder> searched_folders(const std::string &patch)
{
    std::vector<std::string> names;
    char folder[ZAN_NAME_SIZE];
    for (long i = 0; !path_getclasspath(i, folder); i++)
        names.emplace_back(folder);
    if (!patch.empty()) // while none is open the current folder stands for a patch's
        names[0] = fs::absolute(patch).lexically_normal().parent_path().string();
    const char *list = std::getenv("VOKRA_PATH");
    const std::string listed = list ? list : "";
    size_t in_list = 0;
    for (size_t at = 0; at < listed.size(); at = std::min(listed.find(':', at), listed.size()) + 1)
        in_list += listed[at] != ':';
    const size_t given = 1 + size_t(path_count());
    std::vector<searched_folder> folders;
    for (size_t i = 0; i < names.size(); i++)
        folders.push_back({names[i], i == 0                 ? "beside the patch"
                                     : i < given            ? "--path"
                                     : i < given + in_list  ? "VOKRA_PATH"
                                     : i == given + in_list ? "user's data"
                                                            : "installed"});
    return folders;
}

void tell_paths(const std::string &patch, bool json)
{
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const searched_folder &f : searched_folders(patch)) {
        std::error_code none;
        const bool there = fs::is_directory(f.name, none);
        if (json)
            all.push_back({{"folder", f.name}, {"why", f.why}, {"there", there}});
        else
            std::printf("%-18s%s%s\n", f.why.c_str(), f.name.c_str(), there ? "" : " (isn't there)");
    }
    if (json)
        std::printf("%s\n", all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

} // namespace

void add_patch_verbs(CLI::App &app, int &code)
{
    struct words {
        std::string patch;
        std::vector<std::string> arguments;
        bool json = false, in_place = false, dot = false;
    };
    const auto verb = [&](const char *name, const char *help, const std::shared_ptr<words> &w) {
        CLI::App *v = app.add_subcommand(name, help);
        v->add_option("patch", w->patch, "the patch, - for standard input");
        return v;
    };

    auto w = std::make_shared<words>();
    CLI::App *v = verb("check",
                       "Tell everything that is wrong with a patch, without running it.\n"
                       "Example: vokra check fade.patch",
                       w);
    v->get_option("patch")->required();
    v->add_option("arguments", w->arguments, "what $1, $2... stand for in it");
    v->add_flag("--json", w->json, "as JSON");
    add_path_option(v);
    v->callback([w, &code] { code = check(w->patch, w->arguments, w->json); });

    w = std::make_shared<words>();
    v = verb(
        "fmt",
        "Write the canonical text of a patch; nothing of it is lost.\nExample: vokra fmt --in-place fade.patch",
        w);
    v->get_option("patch")->required();
    v->add_flag("--in-place", w->in_place, "into the file itself");
    v->callback([w, &code] { code = format(w->patch, w->in_place); });

    w = std::make_shared<words>();
    v = verb(
        "graph",
        "Draw the boxes and cords of a patch, and of the patches that are boxes in it, as text for graphviz.\n"
        "Example: vokra graph fade.patch --dot | dot -Tpng -o fade.png",
        w);
    v->get_option("patch")->required();
    v->add_flag("--dot", w->dot, "in the language of graphviz, which is the only one");
    add_path_option(v);
    v->callback([w, &code] { code = graph(w->patch); });

    w = std::make_shared<words>();
    v = verb("paths",
             "Tell where patches and box classes are looked for, in order.\nExample: vokra paths fade.patch", w);
    v->get_option("patch")->description(
        "the patch that names them; else the current folder stands for its folder");
    v->add_flag("--json", w->json, "as JSON");
    add_path_option(v);
    v->callback([w] { tell_paths(w->patch, w->json); });
}

} // namespace program

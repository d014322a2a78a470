// Making the boxes and cords of a patch. Opening and checking take the same road, so that
// they find the same; a check only makes no cord, sends nothing and frees the boxes again.
#include "instance.h"
#include "text_reader.h"

#include <zan/module.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <optional>

namespace zan {
namespace {

constexpr long most_boxes = 100000; // of a patch and all patches in it
constexpr size_t most_nested = 64;
constexpr long most_ports = 256; // of what stands in for a missing box
constexpr std::string_view patch_ending = ".patch";

int checking; // depth of checks under way

// The value of "#B" while a box is in the making.
class box_in_the_making {
  public:
    explicit box_in_the_making(object *stand) : before_(ks().hash_b->thing) { ks().hash_b->thing = stand; }
    ~box_in_the_making() { ks().hash_b->thing = before_; }
    box_in_the_making(const box_in_the_making &) = delete;
    box_in_the_making &operator=(const box_in_the_making &) = delete;

  private:
    void *before_;
};

atom substituted(const atom &a, const std::vector<atom> &arguments)
{
    atom to = a;
    const auto number = static_cast<size_t>(a.value.as_long);
    switch (a.type) {
    case argtype_dollar:
        if (number >= 1 && number <= arguments.size())
            return arguments[number - 1];
        atom_setlong(&to, 0);
        break;
    case argtype_dollsym:
        atom_setsym(&to,
                    gensym(substitute(a.value.as_sym->name, long(arguments.size()), arguments.data()).c_str()));
        break;
    case argtype_comma: atom_setsym(&to, gensym(",")); break;
    default: break;
    }
    return to;
}

bool names_attribute(const atom &a)
{
    return a.type == argtype_sym && a.value.as_sym->name[0] == '@' && a.value.as_sym->name[1];
}
symbol *attribute_named(const atom &a)
{
    return gensym(a.value.as_sym->name + 1);
}

// A check sends no messages: the words "@message ..." go, and those of attributes stay.
void take_messages_out(std::vector<atom> &argv, zan_class *c)
{
    std::vector<atom> rest;
    bool keep = true;
    for (const atom &a : argv) {
        if (names_attribute(a))
            keep = !class_mess(c, attribute_named(a)) || has_attribute(c, attribute_named(a));
        if (keep)
            rest.push_back(a);
    }
    argv.swap(rest);
}

std::string counted(const char *what, long index, long count)
{
    const std::string which = count == 0 ? std::string("it has none")
                              : count == 1
                                  ? "it has one, number 0"
                                  : "its " + std::string(what) + "s are 0 to " + std::to_string(count - 1);
    return "there is no " + std::string(what) + " " + std::to_string(index) + ": " + which;
}

bool is_patch_name(const symbol *classname)
{
    return std::string_view(classname->name).ends_with(patch_ending);
}

// Of the patch that a class stands for, or empty.
std::string patch_file(const symbol *classname)
{
    return class_file(classname->name + std::string(is_patch_name(classname) ? "" : patch_ending));
}

// What a patch names is looked for beside it first, while this lives.
std::optional<open_folder> in_folder_of(const document &d)
{
    using folder = std::optional<open_folder>;
    return d.folder.empty() ? folder() : folder(std::in_place, d.folder, true);
}

// A patch that another one names, shown as the user would name it: from where the other was named.
std::shared_ptr<document> read_inner(const document &d, const std::string &file)
{
    std::string shown = file;
    const std::string folder = d.folder + "/";
    if (!d.folder.empty() && file.starts_with(folder))
        shown = (std::filesystem::path(d.shown).parent_path() / file.substr(folder.size())).string();
    auto text = std::make_shared<document>();
    read_file(*text, shown);
    return text;
}

class builder {
  public:
    builder(zan_patch &patch, building &shared) : p(patch), all(shared), d(*patch.text) {}

    void run()
    {
        const std::optional<open_folder> here = in_folder_of(d);
        if (all.told.insert(d.full).second)
            for (const finding &f : d.findings.all())
                all.findings.add(f);
        all.open.push_back(&d);
        p.boxes.resize(d.boxes.size());
        for (size_t i = 0; i < d.boxes.size(); i++)
            box(d.boxes[i], p.boxes[i]);
        cords();
        p.refused.assign(d.messages.size(), false);
        for (size_t i = 0; i < d.messages.size(); i++)
            p.refused[i] = !message(d.statements[d.messages[i]]);
        all.open.pop_back();
    }

  private:
    void found(long kind, long severity, long line, const document::box *b, std::string text)
    {
        all.findings.add(
            {kind, severity, {d.file, line, b ? b->name : nullptr, b ? b->classname : nullptr}, std::move(text)});
    }
    void error(const document::box &b, std::string text) { error(b.line, b, std::move(text)); }
    void error(long line, const document::box &b, std::string text)
    {
        found(zan_finding_text, zan_report_error, line, &b, std::move(text));
    }

    // ---- boxes ----

    void box(const document::box &b, made_box &m)
    {
        m.stand = make_stand(&p, b.name, b.classname, b.line);
        if (++all.boxes <= most_boxes)
            make(b, m);
        else if (all.boxes == most_boxes + 1)
            error(b, "there are more than " + std::to_string(most_boxes) + " boxes");
        if (!m.box)
            stand_in(b, m);
        zan_set_box_place(m.box, b.name, d.file, b.line);
        object_obex_store(m.box, ks().hash_b, m.stand);
    }

    void make(const document::box &b, made_box &m)
    {
        std::vector<caught_reports::report> loading;
        zan_class *c = nullptr;
        if (!is_patch_name(b.classname)) {
            const caught_reports caught;
            c = zan_box_class(b.classname);
            loading = caught.all;
        }
        for (const caught_reports::report &r : loading) // an external that can't be loaded
            found(zan_finding_class, r.kind, b.line, &b, r.text);
        if (c)
            construct(b, m, c);
        else if (const std::string file = patch_file(b.classname); !file.empty())
            inner(b, m, file);
        else
            found(zan_finding_class, zan_report_error, b.line, &b,
                  "there is no box class " + std::string(b.classname->name) +
                      (loading.empty() ? near_class(b.classname) : ""));
    }

    std::vector<atom> arguments_of(const document::box &b, bool as_written = false)
    {
        long argc = 0;
        const atom *argv = d.arguments(b, &argc);
        std::vector<atom> all_of_them(argv, argv + argc);
        if (!as_written)
            for (atom &a : all_of_them)
                a = substituted(a, p.arguments);
        return all_of_them;
    }

    void construct(const document::box &b, made_box &m, zan_class *c)
    {
        std::vector<atom> argv = arguments_of(b, class_extra_lookup(c, gensym("#unread")));
        if (all.checking)
            take_messages_out(argv, c);
        const caught_reports caught;
        {
            const queued_work from(zan_place_of(m.stand)); // what is put off knows where it comes from
            const box_in_the_making mark(m.stand);
            m.box = static_cast<object *>(newinstance(b.classname, long(argv.size()), argv.data()));
        }
        if (!m.box && caught.all.empty())
            error(b, "it can't be made of these arguments");
        for (const caught_reports::report &r : caught.all)
            found(zan_finding_text, r.kind, b.line, &b, in_our_words(r.text, b, m.box, argv));
    }

    // What a constructor reports, without its class's name, which stands in the place
    // already. A complaint about an "@word" that is no attribute gets a hint.
    std::string in_our_words(const std::string &text, const document::box &b, object *x,
                             const std::vector<atom> &argv)
    {
        for (const atom &a : argv) {
            if (!x || !names_attribute(a) || !all.findings.wants_hints())
                continue;
            symbol *name = attribute_named(a);
            if (object_attr_get(x, name) || object_mess(x, name) ||
                text.find("\"" + std::string(name->name) + "\"") == text.npos)
                continue;
            near_word near(name->name);
            consider_attributes(near, x);
            return "there is no attribute " + std::string(name->name) + near.hint();
        }
        for (const char *prefix : {b.classname->name, x ? object_classname(x)->name : ""})
            if (const size_t length = std::strlen(prefix);
                length && text.compare(0, length, prefix) == 0 && text.compare(length, 2, ": ") == 0)
                return text.substr(length + 2);
        return text;
    }

    std::string near_class(const symbol *wrong)
    {
        near_word near(wrong->name);
        if (all.findings.wants_hints())
            for (const std::string &name : class_names())
                near.consider(name);
        return near.hint();
    }

    // What would be a class here, looked up once for each folder that patches are in.
    const std::vector<std::string> &class_names()
    {
        const auto [at, fresh] = all.class_names.try_emplace(d.folder);
        if (!fresh)
            return at->second;
        long count = 0;
        symbol **names = nullptr;
        if (!zan_box_names(&count, &names))
            for (long i = 0; i < count; i++)
                at->second.emplace_back(names[i]->name);
        sysmem_freeptr(names);
        char folder[ZAN_NAME_SIZE];
        for (long i = 0; !path_getclasspath(i, folder); i++) {
            std::error_code none;
            for (auto file = std::filesystem::directory_iterator(folder, none);
                 file != std::filesystem::directory_iterator(); file.increment(none))
                if (const auto ending = file->path().extension(); ending == patch_ending || ending == ".so") {
                    at->second.push_back(file->path().stem().string());
                    at->second.push_back(file->path().filename().string());
                }
        }
        return at->second;
    }

    // ---- patches in the patch ----

    void inner(const document::box &b, made_box &m, const std::string &file)
    {
        const std::shared_ptr<const document> text = document_of(file);
        if (const auto at = std::find(all.open.begin(), all.open.end(), text.get()); at != all.open.end()) {
            std::string way;
            for (auto one = at; one != all.open.end(); ++one)
                way += (*one)->shown + " -> ";
            return error(b, "a patch can't be in itself: " + way + text->shown);
        }
        if (all.open.size() >= most_nested)
            return error(b, "patches are in patches more than " + std::to_string(most_nested) + " deep");
        m.inner = new zan_patch;
        m.inner->text = text;
        m.inner->arguments = arguments_of(b);
        m.box = make_patch_box(m.inner);
        build(*m.inner, all);
        open_ports(m.box);
    }

    std::shared_ptr<const document> document_of(const std::string &file)
    {
        const auto fresh = read_inner(d, file);
        return all.documents.try_emplace(fresh->full, fresh).first->second;
    }

    // ---- what is missing ----

    void stand_in(const document::box &b, made_box &m)
    {
        if (used_.empty())
            count_ports();
        const auto &[inlets, outlets] = used_[size_t(&b - d.boxes.data())];
        m.box = make_missing_box(inlets, outlets);
        m.missing = true;
    }

    // Once, however many boxes are missing.
    void count_ports()
    {
        used_.resize(d.boxes.size());
        const auto use = [this](size_t box, long ports::*end, long number) {
            if (box != document::none)
                used_[box].*end = std::max(used_[box].*end, std::min(number, most_ports - 1) + 1);
        };
        for (const document::cord &c : d.cords) {
            use(c.source, &ports::outlets, c.outlet);
            use(c.destination, &ports::inlets, c.inlet);
        }
    }

    // ---- cords and messages ----

    void cords()
    {
        std::set<std::tuple<size_t, long, size_t, long>> known;
        for (const document::cord &c : d.cords) {
            if (c.source == document::none || c.destination == document::none)
                continue;
            const made_box &from = p.boxes[c.source], &to = p.boxes[c.destination];
            const bool no_inlets = to.inner && to.inner->inlets.empty();
            if (const long count = outlet_count(from.box); c.outlet >= count)
                error(c.line, d.boxes[c.source], counted("outlet", c.outlet, count));
            else if (no_inlets || !has_inlet(to.box, c.inlet))
                error(c.line, d.boxes[c.destination],
                      counted("inlet", c.inlet, no_inlets ? 0 : zan_inlet_count(to.box)));
            else if (!known.insert({c.source, c.outlet, c.destination, c.inlet}).second)
                found(zan_finding_text, zan_report_warning, c.line, &d.boxes[c.source],
                      "this cord is there already");
            else if (!all.checking)
                zan_connect(from.box, c.outlet, to.box, c.inlet);
        }
    }

    // False when the message can't be sent.
    bool message(const document::statement &s)
    {
        if (s.atoms[0].type != argtype_sym)
            return false;
        const size_t index = d.find(s.atoms[0].value.as_sym);
        if (index == document::none)
            return false;
        bool good = true;
        each_message(p, s, [&](const made_box &to, symbol *selector, long, atom *) {
            if (to.missing || takes(to.box, selector))
                return;
            good = false;
            near_word near(selector->name);
            if (all.findings.wants_hints())
                consider_messages(near, to.box);
            error(s.line, d.boxes[index], "it has no message " + std::string(selector->name) + near.hint());
        });
        return good;
    }

  public:
    // The messages of a statement, with their arguments in place.
    template <class F> static void each_message(zan_patch &p, const document::statement &s, F &&call)
    {
        const size_t index = p.text->find(s.atoms[0].value.as_sym);
        std::vector<atom> words;
        for (size_t at = 1; at <= s.atoms.size(); at++) {
            if (at < s.atoms.size() && s.atoms[at].type != argtype_comma) {
                words.push_back(substituted(s.atoms[at], p.arguments));
                continue;
            }
            long from = 0;
            symbol *selector = selector_of(long(words.size()), words.data(), &from);
            call(p.boxes[index], selector, long(words.size()) - from, words.data() + from);
            words.clear();
        }
    }

  private:
    struct ports {
        long inlets = 0, outlets = 0;
    };
    zan_patch &p;
    building &all;
    const document &d;
    std::vector<ports> used_; // by the cords, of each box; filled when one is missing
};

// In order of files and lines; each once, however often a patch is used as a box.
std::vector<finding> sorted(const finding_list &list)
{
    std::vector<finding> all = list.all();
    std::map<const symbol *, size_t> files;
    for (const finding &f : all)
        files.try_emplace(f.place.file, files.size());
    if (files.contains(nullptr)) // that there are more
        files[nullptr] = files.size();
    const auto key = [&](const finding &f) { return std::make_pair(files[f.place.file], f.place.line); };
    std::stable_sort(all.begin(), all.end(), [&](const auto &a, const auto &b) { return key(a) < key(b); });
    const auto same = [](const finding &a, const finding &b) {
        return a.place.file == b.place.file && a.place.line == b.place.line && a.place.box == b.place.box &&
               a.text == b.text;
    };
    all.erase(std::unique(all.begin(), all.end(), same), all.end());
    return all;
}

// The whole of a build; the number of errors.
long build_all(zan_patch &p, bool for_check)
{
    const scheduler_at_rest rest(true); // the first boxes may start clocks while the others are made
    take_down(p);
    building all{for_check, {}, {}, {}, {}, {}};
    if (!p.text->full.empty())
        all.documents.emplace(p.text->full, p.text);
    build(p, all);
    p.findings = sorted(all.findings);
    return all.findings.errors();
}

} // namespace

void build(zan_patch &p, building &all)
{
    if (!all.checking && !p.text->folder.empty())
        p.folder = std::make_unique<open_folder>(p.text->folder, false);
    builder(p, all).run();
}

void start(zan_patch &p)
{
    symbol *const loadbang = gensym("loadbang");
    for (size_t i = 0; i < p.boxes.size(); i++) {
        const made_box &m = p.boxes[i];
        if (m.inner)
            start(*m.inner);
        else if (!m.missing && zgetfn(m.box, loadbang)) {
            const queued_work from(zan_place_of(m.box));
            object_method_imp(m.box, loadbang, 0, 0, 0, 0, 0, 0, 0, 0);
        }
    }
    for (size_t i = 0; i < p.refused.size(); i++)
        if (!p.refused[i])
            builder::each_message(p, p.text->statements[p.text->messages[i]],
                                  [](const made_box &to, symbol *selector, long argc, atom *argv) {
                                      zan_send(to.box, 0, selector, argc, argv);
                                  });
}

void take_down(zan_patch &p)
{
    const scheduler_at_rest rest(true);
    for (auto m = p.boxes.rbegin(); m != p.boxes.rend(); ++m)
        object_free(m->box); // an inner patch goes with its box
    for (const made_box &m : p.boxes)
        object_free(m.stand);
    p.boxes.clear();
    p.refused.clear();
    p.folder.reset();
}

long check(zan_patch &p)
{
    struct under_way {
        under_way() { checking++; }
        ~under_way() { checking--; }
    };
    const under_way mark;
    const long errors = build_all(p, true);
    take_down(p);
    return errors;
}

long open(zan_patch &p)
{
    const long errors = build_all(p, false);
    for (const finding &f : p.findings) {
        const queued_work from(keep_place(f.place)); // reports take their place from here
        (f.severity == zan_report_error ? object_error : object_warn)(nullptr, "%s", f.text.c_str());
    }
    return errors;
}

zan_patch *new_patch(std::shared_ptr<const document> text)
{
    auto p = std::make_unique<zan_patch>();
    p->findings = sorted(text->findings);
    p->text = std::move(text);
    return p.release();
}

zan_patch *patch_of_class(zan_patch &p, symbol *classname)
{
    const std::optional<open_folder> here = in_folder_of(*p.text);
    {
        const caught_reports unheard; // of an external that can't be loaded
        if (!is_patch_name(classname) && zan_box_class(classname))
            return nullptr;
    }
    const std::string file = patch_file(classname);
    if (file.empty())
        return nullptr;
    auto text = read_inner(*p.text, file);
    for (const zan_patch *around = &p; around; around = around->outer)
        if (around->text->full == text->full)
            return nullptr;
    zan_patch *made = new_patch(std::move(text));
    made->outer = &p;
    return made;
}

} // namespace zan

extern "C" long zan_patch_checking(void)
{
    return zan::checking;
}

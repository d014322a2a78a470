// vokra help: a box of patches as its quick reference tells it, or a class of the library,
// read from the class itself.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

#include <nlohmann/json.hpp>
#include <zan/module.h>

#include "matrix.h"
#include "patches.h"
#include "verbs.h"

namespace program {
namespace {

std::string tag_text(const signed char *types)
{
    switch (types[0]) {
    case 0: return "";
    case argtype_cant: return "(from code)";
    case argtype_gimme: return "list";
    case argtype_gimmeback: return "list, with a reply";
    case argtype_defer: return "list; on the main thread";
    case argtype_usurp: return "list; repeated calls are merged";
    case argtype_defer_low: return "list; on the main thread, low priority";
    case argtype_usurp_low: return "list; repeated calls are merged, low priority";
    default: break;
    }
    constexpr const char *words[] = {"", "long", "float", "symbol", "object", "[long]", "[float]", "[symbol]"};
    std::string text;
    for (const signed char *t = types; *t > 0 && *t <= argtype_defsym; ++t)
        text += (text.empty() ? "" : " ") + std::string(words[static_cast<int>(*t)]);
    return text;
}

struct message_help {
    std::string name, arguments;
    bool is_private, undocumented;
};

std::vector<message_help> messages_of(zan_class *c)
{
    std::vector<message_help> result;
    void *table = class_extra_lookup(c, gensym("methods"));
    if (!table)
        return result;
    const auto collect = +[](zan_hashtab_entry *entry, void *data) {
        const auto *m = static_cast<zan_method_object *>(entry->value);
        static_cast<std::vector<message_help> *>(data)->push_back(
            {entry->key->name, tag_text(m->entry.types), m->entry.types[0] == argtype_cant,
             object_refpage_method_is_undocumented(entry->value) != 0});
    };
    hashtab_funall(table, collect, &result);
    std::sort(result.begin(), result.end(), [](const auto &a, const auto &b) { return a.name < b.name; });
    return result;
}

struct attribute_help {
    std::string name, type, value, access, label, choices;
};

std::string value_text(void *x, symbol *name)
{
    long argc = 0, size = 0;
    atom *argv = nullptr;
    char *text = nullptr;
    if (object_attr_getvalueof(x, name, &argc, &argv) != 0 || argc == 0)
        return "";
    std::string result;
    if (atom_gettext(argc, argv, &size, &text, zan_gettext_truncate_zeros) == 0 && text)
        result = text;
    sysmem_freeptr(text);
    sysmem_freeptr(argv);
    return result;
}

std::string described(void *x, symbol *name, const char *what)
{
    long argc = 0;
    atom *argv = nullptr;
    std::string result;
    if (object_attr_attr_getvalueof(x, name, gensym(what), &argc, &argv) == 0)
        for (long i = 0; i < argc; ++i)
            if (const symbol *s = atom_getsym(argv + i))
                result += (i ? " " : "") + std::string(s->name);
    sysmem_freeptr(argv);
    return result;
}

// The attributes as a new object of the class has them.
std::vector<attribute_help> attributes_of(void *x)
{
    std::vector<attribute_help> result;
    long count = 0;
    symbol **names = nullptr;
    if (object_attr_getnames(x, &count, &names) != 0)
        return result;
    for (long i = 0; i < count; ++i) {
        void *attr = object_attr_get(x, names[i]);
        const bool get = object_attr_usercanget(x, names[i]), set = object_attr_usercanset(x, names[i]);
        if (!attr || (!get && !set))
            continue;
        const auto *type = reinterpret_cast<symbol *>(send(attr, "gettype"));
        result.push_back({names[i]->name, type ? type->name : "", get ? value_text(x, names[i]) : "",
                          get && set ? ""
                          : get      ? "read only"
                                     : "write only",
                          described(x, names[i], "label"), described(x, names[i], "enumvals")});
    }
    sysmem_freeptr(names);
    std::sort(result.begin(), result.end(), [](const auto &a, const auto &b) { return a.name < b.name; });
    return result;
}

void print_wrapped(const std::string &label, const std::string &text)
{
    std::printf("  %-14s", label.c_str());
    size_t column = 16;
    size_t from = 0;
    while (from < text.size()) {
        size_t to = text.find(' ', from);
        to = to == std::string::npos ? text.size() : to;
        if (column + (to - from) > 100) {
            std::printf("\n%16s", "");
            column = 16;
        }
        std::printf(" %s", text.substr(from, to - from).c_str());
        column += to - from + 1;
        from = to + 1;
    }
    std::printf("\n");
}

void print_operators()
{
    std::printf("\noperators:\n");
    // Words with the same functions are partners: one line for each pair.
    std::vector<std::pair<const vok_op_fn *, std::string>> rows;
    long count = 0;
    symbol **keys = nullptr;
    hashtab_getkeys(_vok_op_fn_hashtab, &count, &keys);
    for (long i = 0; i < count; ++i) {
        const vok_op_fn *fn = vok_op_fn_lookup(keys[i]);
        const char *help = vok_op_fn_help(keys[i]);
        const auto partner = std::find_if(rows.begin(), rows.end(), [&](const auto &row) {
            const char *other = vok_op_fn_help(row.first->name);
            return help && other && std::string(help) == other;
        });
        if (partner != rows.end())
            partner->second += ", " + std::string(keys[i]->name);
        else
            rows.emplace_back(fn, keys[i]->name);
    }
    sysmem_freeptr(keys);
    for (const auto &[fn, words] : rows) {
        const char *help = vok_op_fn_help(fn->name);
        print_wrapped(words, help ? help : "");
    }
}

// A label such as "Plane Count" for planecount says nothing new.
bool says_more(const std::string &label, const std::string &name)
{
    const auto letters = [](const std::string &text) {
        std::string result;
        for (const char c : text)
            if (std::isalnum(static_cast<unsigned char>(c)))
                result += static_cast<char>(std::tolower(c));
        return result;
    };
    return !label.empty() && letters(label) != letters(name);
}

void print_attribute(const attribute_help &a)
{
    print_wrapped(a.name, a.type + (a.value.empty() ? "" : ", " + a.value) +
                              (a.access.empty() ? "" : ", " + a.access) +
                              (says_more(a.label, a.name) ? ": " + a.label : ""));
    if (!a.choices.empty())
        print_wrapped("", "one of: " + a.choices);
}

void describe(nlohmann::ordered_json &j, const std::vector<attribute_help> &attributes,
              const std::vector<message_help> &messages)
{
    auto &attribute_list = j["attributes"] = nlohmann::ordered_json::array();
    for (const attribute_help &a : attributes)
        attribute_list.push_back(
            {{"name", a.name}, {"type", a.type}, {"default", a.value}, {"access", a.access}, {"label", a.label}});
    auto &message_list = j["messages"] = nlohmann::ordered_json::array();
    for (const message_help &m : messages)
        if (!m.undocumented)
            message_list.push_back({{"name", m.name}, {"arguments", m.arguments}, {"private", m.is_private}});
}

void tell_class(zan_class *c, bool as_json)
{
    const std::vector<message_help> messages = messages_of(c);
    const bool is_operator = class_adornment_get(c, gensym("vok_mop")) != nullptr;
    // any class: whatever words its constructor takes are 0
    const owned x(vok_object_new(class_nameget(c), 0L, 0L, 0L, 0L, 0L, 0L, 0L, 0L));
    const std::vector<attribute_help> attributes = x ? attributes_of(x.get()) : std::vector<attribute_help>{};
    if (as_json) {
        nlohmann::ordered_json j;
        j["class"] = class_nameget(c)->name;
        j["matrix_operator"] = is_operator;
        describe(j, attributes, messages);
        std::printf("%s\n", j.dump(2).c_str());
        return;
    }
    std::printf("%s%s\n", class_nameget(c)->name, is_operator ? ", a matrix operator" : "");
    if (void *mop = class_adornment_get(c, gensym("vok_mop")))
        std::printf("  %ld inputs, %ld outputs\n", vok_attr_getlong(mop, gensym("inputcount")),
                    vok_attr_getlong(mop, gensym("outputcount")));
    if (!attributes.empty())
        std::printf("\nattributes (type, default):\n");
    for (const attribute_help &a : attributes)
        print_attribute(a);
    for (const bool is_private : {false, true}) {
        std::printf(is_private ? "\nfrom code only:\n " : "\nmessages:\n");
        size_t column = 0;
        for (const message_help &m : messages) {
            if (m.is_private != is_private || m.undocumented)
                continue;
            if (!is_private) {
                print_wrapped(m.name, m.arguments);
                continue;
            }
            if (column + m.name.size() > 98) {
                std::printf("\n ");
                column = 0;
            }
            std::printf(" %s", m.name.c_str());
            column += m.name.size() + 1;
        }
        if (is_private)
            std::printf("\n");
    }
    if (class_nameget(c) == gensym("vok_op"))
        print_operators();
}

// ---- boxes ----

// A box that is made for this, in a patch of its own.
class example_box {
  public:
    example_box(const std::string &name, const std::vector<std::string> &arguments)
        : p_(zan_patch_parse(
              "help", ("patch 1;box it " + in_quotes(name) + " " + numbered(arguments.size()) + ";").c_str(), -1))
    {
        const std::vector<atom> atoms = atoms_of(arguments);
        const quiet_reports quiet;
        zan_patch_open(p_, long(atoms.size()), atoms.data());
        zan_patch_getbox(p_, 0, &box_);
    }
    ~example_box() { zan_patch_free(p_); }
    example_box(const example_box &) = delete;
    example_box &operator=(const example_box &) = delete;
    void *get() const { return box_.missing ? nullptr : box_.box; }
    std::string trouble() const
    {
        zan_finding f;
        return zan_patch_finding(p_, 0, &f) ? "it can't be made" : f.text;
    }
    // Then its trouble is why, and not only that there is no such class.
    bool has_module() const
    {
        zan_finding f;
        return zan_patch_finding(p_, 1, &f) == zan_err_none;
    }

    // What is told of an inlet or an outlet.
    std::string about(bool inlet, long index) const
    {
        char text[1024] = "";
        if (zgetfn(get(), gensym("assist")))
            send(get(), "assist", 0, inlet ? 1 : 2, index, text);
        return text;
    }
    // The rows of its menu; empty when it has none.
    std::vector<std::string> quick_reference() const
    {
        symbol *symbols[256];
        long count = 0;
        if (zgetfn(get(), gensym("quickref")))
            send(get(), "quickref", &count, symbols);
        std::vector<std::string> rows;
        for (long i = 0; i < count; i++)
            rows.emplace_back(symbols[i]->name);
        return rows;
    }

  private:
    static std::string in_quotes(const std::string &word)
    {
        std::string text = "\"";
        for (const char c : word)
            text += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
        return text + "\"";
    }
    static std::string numbered(size_t count) // $1 $2...
    {
        std::string text;
        for (size_t i = 1; i <= count; i++)
            text += " $" + std::to_string(i);
        return text;
    }
    zan_patch *p_;
    zan_patch_box box_{};
};

// The library's class of a name with dots: vok.op is the box of vok_op.
zan_class *class_behind(std::string name)
{
    std::replace(name.begin(), name.end(), '.', '_');
    return vok_class_findbyname(gensym(name.c_str()));
}

std::vector<message_help> public_messages(zan_class *c)
{
    std::vector<message_help> all = messages_of(c);
    std::erase_if(all, [](const message_help &m) { return m.is_private || m.undocumented; });
    return all;
}

void print_ports(const example_box &box, bool inlets)
{
    const long count = inlets ? zan_inlet_count(box.get()) : outlet_count(box.get());
    std::printf("\n%s:%s\n", inlets ? "inlets" : "outlets", count ? "" : " none");
    for (long i = 0; i < count; i++)
        print_wrapped(std::to_string(i), box.about(inlets, i));
}

void print_box(const std::string &name, const example_box &box)
{
    zan_class *c = object_class(box.get());
    const std::string does = digest_of(c);
    std::printf("%s\n", (does.empty() ? name : name + ": " + does).c_str());
    print_ports(box, true);
    print_ports(box, false);
    std::printf("\n");
    const std::vector<std::string> rows = box.quick_reference();
    for (size_t i = 1; i < rows.size(); i++)
        std::printf("%s\n", rows[i].c_str());
    if (rows.empty()) {
        const std::vector<attribute_help> attributes = attributes_of(box.get());
        if (!attributes.empty())
            std::printf("attributes (type, value):\n");
        for (const attribute_help &a : attributes)
            print_attribute(a);
        std::printf("%smessages:\n", attributes.empty() ? "" : "\n");
        for (const message_help &m : public_messages(c))
            print_wrapped(m.name, m.arguments);
    }
    if (zan_class *behind = class_behind(name))
        std::printf("\nMore of the class behind it: vokra help %s\n", class_nameget(behind)->name);
}

void print_box_json(const std::string &name, const example_box &box)
{
    zan_class *c = object_class(box.get());
    nlohmann::ordered_json j{{"box", name}, {"does", digest_of(c)}};
    for (const bool inlets : {true, false}) {
        auto &list = j[inlets ? "inlets" : "outlets"] = nlohmann::ordered_json::array();
        for (long i = 0; i < (inlets ? zan_inlet_count(box.get()) : outlet_count(box.get())); i++)
            list.push_back(box.about(inlets, i));
    }
    describe(j, attributes_of(box.get()), public_messages(c));
    std::printf("%s\n", j.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

// A library's class goes by its own name, vok_op; everything else is what a patch calls it.
void tell(const std::string &name, const std::vector<std::string> &arguments, bool as_json)
{
    symbol *const known_as = gensym(name.c_str());
    zan_class *c = vok_class_findbyname(known_as);
    if (!c && name.starts_with("vok_")) { // an external's is there once its box has been asked for
        std::string box_name = name;
        std::replace(box_name.begin(), box_name.end(), '_', '.');
        const quiet_reports quiet;
        zan_box_class(gensym(box_name.c_str()));
        c = vok_class_findbyname(known_as);
    }
    if (c)
        return tell_class(c, as_json);
    const example_box box(name, arguments);
    if (box.get())
        return as_json ? print_box_json(name, box) : print_box(name, box);
    if ((c = class_behind(name)))
        return tell_class(c, as_json);
    std::vector<std::string> known = box_names();
    for (const std::string &one : class_names())
        known.push_back(one);
    const bool is_known = box.has_module() || std::count(known.begin(), known.end(), name);
    throw failure(class_missing, is_known ? "help: " + name + ": " + box.trouble()
                                          : "help: there is no box or class " + name + did_you_mean(name, known));
}

} // namespace

void add_help(CLI::App &app)
{
    auto name = std::make_shared<std::string>();
    auto arguments = std::make_shared<std::vector<std::string>>();
    auto as_json = std::make_shared<bool>(false);
    CLI::App *verb = app.add_subcommand(
        "help", "Tell the inlets, outlets, attributes and messages of a box, or of a class of the library.\n"
                "Example: vokra help metro");
    verb->add_option("class", *name, "the box as a patch names it, such as vok.op, or the class, such as vok_op")
        ->required();
    verb->add_option("arguments", *arguments, "what stands behind it in a patch");
    verb->add_flag("--json", *as_json, "as JSON");
    add_path_option(verb);
    verb->callback([=] { tell(*name, *arguments, *as_json); });
}

} // namespace program

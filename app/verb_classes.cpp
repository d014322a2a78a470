// vokra classes and vokra help: what the library offers, read from the classes
// themselves.
#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>

#include <nlohmann/json.hpp>
#include <zan/host.h>

#include "matrix.h"
#include "verbs.h"

namespace program {
namespace {

std::vector<std::string> class_names()
{
    long count = 0;
    symbol **names = nullptr;
    zan_class_names(gensym("vokra"), &count, &names);
    std::vector<std::string> result;
    for (long i = 0; i < count; ++i)
        result.emplace_back(names[i]->name);
    sysmem_freeptr(names);
    std::sort(result.begin(), result.end());
    return result;
}

zan_class *find_class(const std::string &name)
{
    std::string word = name; // vok.op is another spelling of vok_op
    std::replace(word.begin(), word.end(), '.', '_');
    zan_class *c = vok_class_findbyname(gensym(word.c_str()));
    if (!c)
        throw failure(class_missing, "help: there is no class " + name + did_you_mean(word, class_names()));
    return c;
}

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

void tell_class(const std::string &name, bool as_json)
{
    zan_class *c = find_class(name);
    const std::vector<message_help> messages = messages_of(c);
    const bool is_operator = class_adornment_get(c, gensym("vok_mop")) != nullptr;
    const owned x(vok_object_new(class_nameget(c)));
    const std::vector<attribute_help> attributes = x ? attributes_of(x.get()) : std::vector<attribute_help>{};
    if (as_json) {
        nlohmann::ordered_json j;
        j["class"] = class_nameget(c)->name;
        j["matrix_operator"] = is_operator;
        j["attributes"] = nlohmann::ordered_json::array();
        j["messages"] = nlohmann::ordered_json::array();
        for (const attribute_help &a : attributes)
            j["attributes"].push_back({{"name", a.name},
                                       {"type", a.type},
                                       {"default", a.value},
                                       {"access", a.access},
                                       {"label", a.label}});
        for (const message_help &m : messages)
            if (!m.undocumented)
                j["messages"].push_back({{"name", m.name}, {"arguments", m.arguments}, {"private", m.is_private}});
        std::printf("%s\n", j.dump(2).c_str());
        return;
    }
    std::printf("%s%s\n", class_nameget(c)->name, is_operator ? ", a matrix operator" : "");
    if (void *mop = class_adornment_get(c, gensym("vok_mop")))
        std::printf("  %ld inputs, %ld outputs\n", vok_attr_getlong(mop, gensym("inputcount")),
                    vok_attr_getlong(mop, gensym("outputcount")));
    if (!attributes.empty())
        std::printf("\nattributes (type, default):\n");
    for (const attribute_help &a : attributes) {
        print_wrapped(a.name, a.type + (a.value.empty() ? "" : ", " + a.value) +
                                  (a.access.empty() ? "" : ", " + a.access));
        if (!a.choices.empty())
            print_wrapped("", "one of: " + a.choices);
    }
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

void list_classes(bool as_json)
{
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

} // namespace

void add_classes(CLI::App &app)
{
    auto as_json = std::make_shared<bool>(false);
    CLI::App *verb =
        app.add_subcommand("classes", "List the classes of the library.\nExample: vokra classes --json");
    verb->add_flag("--json", *as_json, "as JSON");
    verb->callback([=] { list_classes(*as_json); });
}

void add_help(CLI::App &app)
{
    auto name = std::make_shared<std::string>();
    auto as_json = std::make_shared<bool>(false);
    CLI::App *verb =
        app.add_subcommand("help", "Tell a class's attributes and messages.\nExample: vokra help vok_op");
    verb->add_option("class", *name, "the class, such as vok_matrix")->required();
    verb->add_flag("--json", *as_json, "as JSON");
    verb->callback([=] { tell_class(*name, *as_json); });
}

} // namespace program

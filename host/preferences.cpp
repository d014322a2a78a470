// Preferences: a text file of "name value" lines, read at first use, changed in
// memory, and written back line for line by preferences_save.
#include "internal.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <vector>

namespace zan {
namespace {

// A line of the file: a preference, or (without a name) text that stays as it is.
struct line {
    std::string name, value;
};

struct preference_store {
    std::mutex lock;
    bool loaded = false;
    std::vector<line> lines;
};

preference_store &store()
{
    static preference_store *s = new preference_store;
    return *s;
}

constexpr size_t max_file_size = 1 << 20;
constexpr const char *blanks = " \t\r\f\v";

std::string trimmed(const std::string &text)
{
    const size_t from = text.find_first_not_of(blanks);
    return from == std::string::npos ? "" : text.substr(from, text.find_last_not_of(blanks) + 1 - from);
}

std::string file_name()
{
    for (const auto &[variable, rest] :
         {std::pair{"VOKRA_PREFERENCES", ""}, std::pair{"XDG_CONFIG_HOME", "/vokra/preferences.txt"},
          std::pair{"HOME", "/.config/vokra/preferences.txt"}})
        if (const char *value = getenv(variable); value && *value)
            return full_name(0, (std::string(value) + rest).c_str());
    return "";
}

// With the lock held. A file that isn't there is an empty one. What is wrong goes to
// `complaint`: a reporter may ask for preferences, so it is told without the lock.
void load(preference_store &s, std::string &complaint)
{
    if (s.loaded)
        return;
    s.loaded = true;
    const std::string name = file_name();
    std::string text;
    const int failed = name.empty() ? ENOENT : read_whole_file(name, max_file_size, text);
    if (failed && failed != ENOENT && failed != ENOTDIR)
        complaint = name + ": preferences can't be read: " + strerror(failed);
    if (failed)
        return;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        const std::string whole = text.substr(at, end - at), words = trimmed(whole);
        at = end + 1;
        if (words.empty() || words[0] == '#') {
            s.lines.push_back({"", whole});
            continue;
        }
        const size_t blank = std::min(words.find_first_of(blanks), words.size());
        s.lines.push_back({words.substr(0, blank), trimmed(words.substr(blank))});
    }
}

// The last line of a name holds, as if the lines were carried out one by one.
line *find(preference_store &s, const char *name)
{
    for (auto at = s.lines.rbegin(); at != s.lines.rend(); ++at)
        if (name && *name && at->name == name)
            return &*at;
    return nullptr;
}

// Runs fn on the loaded preferences under the lock; what it gives.
template <class Fn> auto with_preferences(Fn fn)
{
    std::string complaint;
    preference_store &s = store();
    std::unique_lock hold(s.lock);
    load(s, complaint);
    auto result = fn(s);
    hold.unlock();
    if (!complaint.empty())
        object_error(nullptr, "%s", complaint.c_str());
    return result;
}

std::string value_of(const char *name)
{
    return with_preferences([&](preference_store &s) {
        const line *found = find(s, name);
        return found ? found->value : std::string();
    });
}

void set(const char *name, const std::string &value)
{
    if (!name || !*name || *name == '#' || name[strcspn(name, " \t\r\f\v\n")]) {
        object_error(nullptr, "a preference's name is one word, not \"%s\"", name ? name : "");
        return;
    }
    if (value.find('\n') != std::string::npos) {
        object_error(nullptr, "the preference %s can't hold more than one line", name);
        return;
    }
    with_preferences([&](preference_store &s) {
        if (value.empty())
            std::erase_if(s.lines, [&](const line &l) { return l.name == name; });
        else if (line *found = find(s, name))
            found->value = value;
        else
            s.lines.push_back({name, value});
        return 0;
    });
}

} // namespace
} // namespace zan

using namespace zan;

symbol *preferences_getsym(const char *name)
{
    return gensym(value_of(name).c_str());
}

zan_word preferences_getlong(const char *name)
{
    const std::string value = value_of(name);
    zan_word number = 0;
    const auto read = std::from_chars(value.data(), value.data() + value.size(), number);
    return read.ec == std::errc() ? number : 0;
}

void preferences_setsym(const char *name, symbol *value)
{
    set(name, trimmed(value ? value->name : ""));
}

void preferences_setlong(const char *name, zan_word value)
{
    set(name, std::to_string(value));
}

long preferences_save(void)
{
    const std::string name = file_name();
    const int failed = with_preferences([&](preference_store &s) {
        if (name.empty())
            return ENOENT;
        std::error_code already_there;
        std::filesystem::create_directories(std::filesystem::path(name).parent_path(), already_there);
        whole_file file(name);
        for (const line &l : s.lines)
            if (file.stream())
                fprintf(file.stream(), "%s%s%s\n", l.name.c_str(), l.name.empty() ? "" : " ", l.value.c_str());
        return file.commit();
    });
    if (!failed)
        return zan_err_none;
    object_error(nullptr, "%s: preferences can't be written: %s", name.c_str(), strerror(failed));
    return zan_err_generic;
}

// Names, folders and the search path. A folder's identifier is its place in one
// table that only grows, so an identifier handed out stays good for the life of the
// process; 0 stands for whatever the current folder is at the time.
#include "internal.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace zan {
namespace {

constexpr size_t max_folders = 32768; // identifiers -1 to -32768

struct path_tables {
    std::mutex lock;
    std::vector<std::string> folders; // folder i has the identifier -1 - i
    std::vector<std::string> added;   // the search path's own part, first searched first
    std::vector<std::string> open;    // of open patches, first searched first
    std::vector<std::string> making;  // of patches in the making, each in the one ahead of it
};

// Never destroyed: other threads may still ask for names while the process ends.
path_tables &tables()
{
    static path_tables *t = new path_tables;
    return *t;
}

std::string current_folder()
{
    std::error_code gone; // the current folder may have been deleted
    const fs::path here = fs::current_path(gone);
    return gone ? std::string("/") : here.string();
}

std::string env(const char *name)
{
    const char *value = getenv(name);
    return value ? value : "";
}

// Absolute, with ~ for the user's home, and without `.`, `..`, doubled and ending slashes.
std::string absolute_name(std::string_view text, const std::string &base)
{
    fs::path name(text);
    if (!text.empty() && text[0] == '~' && (text.size() == 1 || text[1] == '/'))
        name = env("HOME") + "/" + std::string(text.substr(1));
    std::string full = (fs::path(base) / name).lexically_normal().string();
    while (full.size() > 1 && full.back() == '/')
        full.pop_back();
    return full;
}

bool is_full_name(const char *name)
{
    return name[0] == '/' || (name[0] == '~' && (name[1] == '/' || !name[1]));
}

bool copy_name(const std::string &from, char *to)
{
    if (from.size() >= ZAN_NAME_SIZE)
        return false;
    memcpy(to, from.c_str(), from.size() + 1);
    return true;
}

std::string user_data_folder()
{
    const std::string data = env("XDG_DATA_HOME"), home = env("HOME");
    return !data.empty() ? data + "/vokra" : !home.empty() ? home + "/.local/share/vokra" : "";
}

// share/vokra beside the lib folder that this library was loaded from; lib may have
// a folder of its own for the machine's kind.
std::string installed_folder()
{
    Dl_info info;
    if (!dladdr(reinterpret_cast<void *>(&installed_folder), &info) || !info.dli_fname)
        return "";
    fs::path prefix = fs::path(absolute_name(info.dli_fname, current_folder())).parent_path();
    for (int up = 0; up < 2; ++up) {
        prefix = prefix.parent_path();
        if (is_folder((prefix / "share/vokra").string()))
            return (prefix / "share/vokra").string();
    }
    return "";
}

// Put together at each search: the environment may be set after the start.
std::vector<std::string> search_folders(bool for_classes)
{
    const std::string here = current_folder();
    std::vector<std::string> folders;
    {
        std::lock_guard hold(tables().lock);
        const path_tables &t = tables();
        if (!t.making.empty())
            folders.push_back(t.making.back());
        // a patch in the making gets its classes from its own folder, and not from another's
        if (folders.empty() || !for_classes)
            for (const std::string &folder : t.open) // many may come from one
                if (std::find(folders.begin(), folders.end(), folder) == folders.end())
                    folders.push_back(folder);
        if (folders.empty() || !for_classes)
            folders.push_back(here);
        folders.insert(folders.end(), t.added.begin(), t.added.end());
    }
    const std::string list = env("VOKRA_PATH");
    for (size_t at = 0; at < list.size();) {
        const size_t end = std::min(list.find(':', at), list.size());
        if (end > at)
            folders.push_back(absolute_name(list.substr(at, end - at), here));
        at = end + 1;
    }
    for (const std::string &folder : {user_data_folder(), installed_folder()})
        if (!folder.empty())
            folders.push_back(absolute_name(folder, here));
    return folders;
}

short give_folder(const std::vector<std::string> &folders, long index, char *folder)
{
    if (!folder || index < 0 || index >= static_cast<long>(folders.size()))
        return zan_err_generic;
    return copy_name(folders[static_cast<size_t>(index)], folder) ? 0 : zan_err_generic;
}

// The extensions that a name without one is tried with, by the type asked for.
constexpr struct {
    uint32_t type;
    const char *extension;
} type_extensions[] = {
    {file_code("PNG "), ".png"}, {file_code("JPEG"), ".jpg"}, {file_code("JPEG"), ".jpeg"},
    {file_code("VoK!"), ".vkf"}, {file_code("TEXT"), ".txt"},
};

bool listed(uint32_t type, const uint32_t *types, long count)
{
    return std::find(types, types + count, type) != types + count;
}

} // namespace

bool is_folder(const std::string &name)
{
    struct stat info;
    return stat(name.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

short path_of_folder(const std::string &folder)
{
    path_tables &t = tables();
    std::lock_guard hold(t.lock);
    const auto found = std::find(t.folders.begin(), t.folders.end(), folder);
    if (found == t.folders.end()) {
        if (t.folders.size() == max_folders)
            return 0;
        t.folders.push_back(folder);
        return static_cast<short>(-static_cast<long>(t.folders.size()));
    }
    return static_cast<short>(-1 - (found - t.folders.begin()));
}

std::string full_name(short path, const char *name)
{
    if (!name)
        name = "";
    std::string folder;
    if (path == 0 || is_full_name(name)) {
        folder = current_folder();
    } else {
        std::lock_guard hold(tables().lock);
        const size_t index = static_cast<size_t>(-1 - path);
        if (path > 0 || index >= tables().folders.size())
            return "";
        folder = tables().folders[index];
    }
    return absolute_name(name, folder);
}

std::string class_file(const std::string &name)
{
    for (const std::string &folder : search_folders(true)) {
        std::string full = absolute_name(name, folder);
        if (access(full.c_str(), F_OK) == 0 && !is_folder(full))
            return full;
    }
    return "";
}

open_folder::open_folder(std::string folder, bool in_the_making)
    : folder_(std::move(folder)), in_the_making_(in_the_making)
{
    std::lock_guard hold(tables().lock);
    (in_the_making ? tables().making : tables().open).push_back(folder_);
}

open_folder::~open_folder()
{
    std::lock_guard hold(tables().lock);
    std::vector<std::string> &all = in_the_making_ ? tables().making : tables().open;
    all.erase(std::next(std::find(all.rbegin(), all.rend(), folder_)).base());
}

} // namespace zan

using namespace zan;

short locatefile_extended(char *name, short *path, uint32_t *outtype, const uint32_t *typelist, short numtypes)
{
    if (!name || !path || !*name)
        return zan_err_invalid_ptr;
    const std::string asked = name;
    const long types = typelist && numtypes > 0 ? numtypes : 0;
    std::vector<std::string> spellings{asked};
    if (fs::path(asked).extension().empty())
        for (const auto &row : type_extensions)
            if (listed(row.type, typelist, types))
                spellings.push_back(asked + row.extension);

    // The best so far: 1 a folder, 2 a file of another type, 3 what was asked for.
    int best = 0;
    std::string found;
    uint32_t found_type = 0;
    std::vector<std::string> folders = search_folders(false);
    if (is_full_name(name))
        folders.resize(1);
    for (const std::string &folder : folders) {
        for (const std::string &spelling : spellings) {
            const std::string full = absolute_name(spelling, folder);
            if (access(full.c_str(), F_OK) != 0)
                continue;
            const uint32_t type = file_type(full);
            const bool wanted = listed(type, typelist, types) || (!types && type != file_code("fold"));
            const int rank = wanted ? 3 : type == file_code("fold") ? 1 : 2;
            if (rank > best) {
                best = rank;
                found = full;
                found_type = type;
            }
        }
        if (best == 3)
            break;
    }
    if (!best)
        return zan_err_generic;
    const std::string last = fs::path(found).filename().string();
    const short id = path_of_folder(fs::path(found).parent_path().string());
    if (!id || !copy_name(last, name))
        return zan_err_generic;
    *path = id;
    if (outtype)
        *outtype = found_type;
    return 0;
}

long path_addsearchpath(const char *folder)
{
    if (!folder || !*folder)
        return zan_err_invalid_ptr;
    const std::string full = absolute_name(folder, current_folder());
    struct stat info;
    if (stat(full.c_str(), &info) != 0)
        return errno;
    if (!S_ISDIR(info.st_mode))
        return ENOTDIR;
    std::lock_guard hold(tables().lock);
    auto &added = tables().added;
    added.erase(std::remove(added.begin(), added.end(), full), added.end());
    added.insert(added.begin(), full);
    return 0;
}

short path_getsearchpath(long index, char *folder)
{
    return give_folder(search_folders(false), index, folder);
}

short path_getclasspath(long index, char *folder)
{
    return give_folder(search_folders(true), index, folder);
}

short path_frompotentialpathname(const char *text, short *path, char *name)
{
    if (!text || !path || !name)
        return zan_err_invalid_ptr;
    if (!strchr(text, '/'))
        return zan_err_generic;
    const std::string full = absolute_name(text, current_folder());
    const std::string folder = fs::path(full).parent_path().string(), last = fs::path(full).filename().string();
    if (!is_folder(folder))
        return zan_err_generic;
    const short id = path_of_folder(folder);
    if (!id || !copy_name(last, name))
        return zan_err_generic;
    *path = id;
    return 0;
}

short path_topathname(short path, const char *name, char *fullname)
{
    if (!fullname)
        return zan_err_invalid_ptr;
    const std::string full = full_name(path, name);
    return !full.empty() && copy_name(full, fullname) ? 0 : zan_err_generic;
}

short path_fileinfo(const char *name, short path, zan_fileinfo *info)
{
    if (!info)
        return zan_err_invalid_ptr;
    *info = {};
    const std::string full = full_name(path, name);
    struct stat found;
    if (full.empty() || stat(full.c_str(), &found) != 0)
        return zan_err_generic;
    info->date = found.st_mtime;
    info->size = found.st_size;
    info->type = file_type(full);
    info->flags = S_ISDIR(found.st_mode) ? 1 : 0;
    return 0;
}

short path_getdefault(void)
{
    return 0;
}

short path_tempfolder(void)
{
    const std::string folder = env("TMPDIR");
    return path_of_folder(absolute_name(is_folder(folder) ? folder : "/tmp", current_folder()));
}

short path_nameconform(const char *src, char *dst, long style, long type)
{
    if (!src || !dst)
        return zan_err_invalid_ptr;
    const std::string here = current_folder();
    std::string name;
    if (type == 0) {
        name = fs::path(src).lexically_normal().string();
    } else {
        name = absolute_name(src, here);
        const std::string inside = here == "/" ? here : here + "/";
        if (type == 2 && name.compare(0, inside.size(), inside) == 0 && name.size() > inside.size())
            name.erase(0, inside.size());
    }
    return copy_name(name, dst) ? 0 : zan_err_generic;
}

void path_splitnames(const char *fullname, char *folder, char *name)
{
    const char *text = fullname ? fullname : "";
    const char *slash = strrchr(text, '/');
    // the folder of "/name" is "/" itself
    const long length = !slash ? 0 : slash == text ? 1 : slash - text;
    if (folder)
        strncpy_zero(folder, std::string(text, static_cast<size_t>(length)).c_str(), ZAN_NAME_SIZE);
    if (name)
        strncpy_zero(name, slash ? slash + 1 : text, ZAN_NAME_SIZE);
}

short packages_getpackagepath(const char *name)
{
    // one plain word: a package's name can't lead out of the packages' folder
    if (!name || !*name || strchr(name, '/') || !strcmp(name, ".") || !strcmp(name, ".."))
        return 0;
    for (const std::string &folder : search_folders(false)) {
        const std::string package = folder + "/packages/" + name;
        if (is_folder(package))
            return path_of_folder(package);
    }
    return 0;
}

// Loading of separately built modules, by file, by the name of a box class that a patch
// asks for (NAME.so along the search path), or all that lie in a folder of packs.
#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <zan/files.h>
#include <zan/module.h>
#include <zan/objects.h>

#include "internal.h"

namespace {

std::mutex loaded_mutex;

// What the init of each loaded file gave.
std::map<std::string, long> &loaded_files()
{
    static std::map<std::string, long> files;
    return files;
}

long refuse(const char *filename, const char *why)
{
    object_error(nullptr, "%s: can't be loaded: %s", filename, why);
    return zan_err_generic;
}

long run_init(const zan_module &module)
try {
    return module.init();
} catch (...) {
    object_error(nullptr, "%s: its set-up %s", module.name, zan::told_of_throw().c_str());
    return zan_err_generic;
}

} // namespace

std::string zan::told_of_throw()
try {
    throw;
} catch (const std::exception &e) {
    return std::string("threw an exception: ") + e.what();
} catch (...) {
    return "threw an exception";
}

long zan_load_module(const char *filename)
{
    if (!filename)
        return zan_err_invalid_ptr;
    char *real = realpath(filename, nullptr);
    const std::string file = real ? real : filename;
    std::free(real);
    {
        std::lock_guard lock(loaded_mutex);
        if (const auto [at, fresh] = loaded_files().try_emplace(file, zan_err_none); !fresh)
            return at->second;
    }
    const auto forget = [&](const char *why) {
        std::lock_guard lock(loaded_mutex);
        loaded_files().erase(file);
        return refuse(filename, why);
    };
    void *handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        return forget(dlerror());
    const auto *module = static_cast<const zan_module *>(dlsym(handle, "zan_module_record"));
    if (!module)
        return forget("it is a shared object, but no module: it has no zan_module_record");
    if (module->interface_number != ZAN_MODULE_INTERFACE || module->word_size != sizeof(zan_word))
        return forget("it was built for another interface of the host");
    zan::boot();
    // A module stays loaded even when its init fails: classes of it may be in use.
    const long result = run_init(*module);
    if (result == zan_err_none)
        return zan_err_none;
    {
        std::lock_guard lock(loaded_mutex);
        loaded_files()[file] = zan_err_generic;
    }
    return refuse(filename, ("its set-up failed (" + std::to_string(result) + ")").c_str());
}

bool zan::load_module_for(symbol *classname)
{
    if (!classname || std::strchr(classname->name, '/'))
        return false;
    const std::string file = class_file(std::string(classname->name) + ".so");
    return !file.empty() && zan_load_module(file.c_str()) == zan_err_none;
}

void zan::load_packs()
{
    static std::set<std::string> tried; // one that can't be loaded says so once
    char folder[ZAN_NAME_SIZE];
    for (long i = 0; !path_getclasspath(i, folder); i++) {
        std::error_code none;
        std::vector<std::string> files;
        std::filesystem::directory_iterator at(std::string(folder) + "/packs", none), end;
        for (; at != end; at.increment(none)) // which throws nothing when a disk fails
            if (at->path().extension() == ".so")
                files.push_back(at->path().string());
        std::sort(files.begin(), files.end()); // the order of a folder is nobody's choice
        for (const std::string &file : files)
            if (tried.insert(file).second)
                zan_load_module(file.c_str());
    }
}

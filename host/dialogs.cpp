// Dialogs without a display: each answers as cancelled unless the embedder has set
// an answer, which then holds for all that follow until it is changed.
#include "internal.h"

#include <cstring>
#include <map>
#include <mutex>
#include <unistd.h>
#include <zan/host.h>

namespace {

struct dialog_state {
    std::mutex lock;
    std::string answer;                      // empty: cancelled
    uint32_t key = 0;                        // of the next dialog; 0: none
    std::map<uint32_t, std::string> folders; // where the last dialog of each key ended
};

dialog_state &state()
{
    static dialog_state *s = new dialog_state;
    return *s;
}

// The answer as a full name, and the key it is for; empty when cancelled.
std::string take_answer(uint32_t &key)
{
    dialog_state &s = state();
    std::lock_guard hold(s.lock);
    key = s.key;
    s.key = 0;
    if (s.answer.empty())
        return "";
    const auto kept = s.folders.find(key);
    const bool full = s.answer[0] == '/' || s.answer[0] == '~';
    if (key && !full && kept != s.folders.end())
        return zan::full_name(0, (kept->second + "/" + s.answer).c_str());
    return zan::full_name(0, s.answer.c_str());
}

void keep_folder(uint32_t key, const std::string &folder)
{
    if (!key)
        return;
    std::lock_guard hold(state().lock);
    state().folders[key] = folder;
}

// The parts of a full name into a caller's places; false when the folder isn't there.
bool hand_over(const std::string &full, uint32_t key, char *name, short *path)
{
    if (path_frompotentialpathname(full.c_str(), path, name) != 0)
        return false;
    keep_folder(key, zan::full_name(*path, ""));
    return true;
}

} // namespace

void zan_set_dialog_answer(const char *fullname)
{
    std::lock_guard hold(state().lock);
    state().answer = fullname ? fullname : "";
}

void dialog_setkey(uint32_t key)
{
    std::lock_guard hold(state().lock);
    state().key = key;
}

short open_dialog(char *name, short *path, uint32_t *type, const uint32_t *types, short numtypes)
{
    uint32_t key;
    const std::string full = take_answer(key);
    if (!name || !path || full.empty())
        return 1;
    if (access(full.c_str(), F_OK) != 0 || !hand_over(full, key, name, path)) {
        object_error(nullptr, "%s: the file chosen isn't there", full.c_str());
        return 1;
    }
    if (type)
        *type = zan::file_type(full);
    return 0;
}

short saveasdialog_extended(char *name, short *path, uint32_t *type, const uint32_t *types, short numtypes)
{
    uint32_t key;
    std::string full = take_answer(key);
    if (!name || !path || full.empty())
        return 1;
    if (zan::is_folder(full))
        full += std::string("/") + name;
    if (!hand_over(full, key, name, path)) {
        object_error(nullptr, "%s: the folder chosen isn't there", full.c_str());
        return 1;
    }
    // without a display nobody picks another type than the first one offered
    if (type && types && numtypes > 0)
        *type = types[0];
    return 0;
}

short getfolder(short *path)
{
    uint32_t key;
    const std::string full = take_answer(key);
    if (!path || full.empty())
        return 1;
    const short id = zan::is_folder(full) ? zan::path_of_folder(full) : short(0);
    if (!id) {
        object_error(nullptr, "%s: the folder chosen isn't there", full.c_str());
        return 1;
    }
    keep_folder(key, full);
    *path = id;
    return 0;
}

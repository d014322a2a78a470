// The text of a patch from anywhere: it is read, its canonical text is read and written again
// to the same bytes, and it is checked, opened and started with the boxes that patches have
// of their own.
#include "fuzz.h"
#include <zan/patch.h>

namespace {

std::string written(zan_patch *p)
{
    long size = 0;
    char *t = zan_patch_text(p, &size);
    std::string text(t ? t : "", t ? size_t(size) : 0);
    sysmem_freeptr(t);
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    start_quietly(); // and so it stays
    zan_patch *p = zan_patch_parse("fuzz", reinterpret_cast<const char *>(data), long(size));
    const std::string once = written(p);
    if (!once.empty()) {
        zan_patch *again = zan_patch_parse("fuzz", once.c_str(), long(once.size()));
        require(written(again) == once);
        zan_patch_free(again);
    }
    atom argument;
    atom_setsym(&argument, gensym("inlet"));
    const long errors = zan_patch_check(p, 1, &argument);
    require(zan_patch_open(p, 1, &argument) == errors);
    zan_patch_start(p);
    zan_patch_free(p);
    require(zan_object_count(gensym("inlet")) == 0);
    return 0;
}

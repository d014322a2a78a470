// The text of a patch from anywhere: it is read, its canonical text is read and written again
// to the same bytes, and it is checked, opened and started with the boxes that patches have
// of their own.
#include <zan/patch.h>

#include <cstdlib>
#include <string>

namespace {

void require(bool holds)
{
    if (!holds)
        abort();
}

bool written(zan_patch *p, std::string &text)
{
    long size = 0;
    char *t = zan_patch_text(p, &size);
    if (t)
        text.assign(t, size_t(size));
    sysmem_freeptr(t);
    return t != nullptr;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool started = [] {
        zan_start();
        zan_set_reporter([](void *, long, void *, const char *) {}, nullptr);
        return true;
    }();
    (void)started;
    zan_patch *p = zan_patch_parse("fuzz", reinterpret_cast<const char *>(data), long(size));
    std::string once, twice;
    if (written(p, once)) {
        zan_patch *again = zan_patch_parse("fuzz", once.c_str(), long(once.size()));
        require(written(again, twice) && once == twice);
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

// A patch that goes with its scope, and its findings as lines.
#pragma once
#include <scratch.h>
#include <zan/patch.h>

using lines = std::vector<std::string>;

class test_patch {
  public:
    explicit test_patch(const std::string &text) : p_(zan_patch_parse("t", text.c_str(), long(text.size()))) {}
    static test_patch file(const std::string &name) { return test_patch(zan_patch_read(name.c_str())); }
    ~test_patch() { zan_patch_free(p_); }
    test_patch(const test_patch &) = delete;
    test_patch &operator=(const test_patch &) = delete;
    operator zan_patch *() const { return p_; }

    // "LINE BOX: text", errors and warnings, those of other files with "NAME:" ahead.
    lines findings() const
    {
        lines all;
        zan_finding f;
        for (long i = 0; !zan_patch_finding(p_, i, &f); i++) {
            const std::string file = std::filesystem::path(f.place.file ? f.place.file->name : "t").filename();
            all.push_back((file == "t" ? "" : file + ":") + std::to_string(f.place.line) +
                          (f.place.box ? std::string(" ") + f.place.box->name : "") + ": " +
                          (f.severity == zan_report_warning ? "warning: " : "") + f.text);
        }
        return all;
    }
    // The canonical text, "-" when there is none.
    std::string text() const
    {
        long size = 0;
        char *t = zan_patch_text(p_, &size);
        const std::string copy = t ? std::string(t, size_t(size)) : "-";
        sysmem_freeptr(t);
        return copy;
    }
    void *find(const char *name) const { return zan_patch_find(p_, gensym(name)); }

  private:
    explicit test_patch(zan_patch *p) : p_(p) {}
    zan_patch *p_;
};

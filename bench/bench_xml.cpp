// Documents read and written, in megabytes of file a second, beside the limit of copying as
// many bytes. The trees are attribute files of many objects, and text in elements, plain and
// with every eighth character outside ASCII.
#include "limits.h"

#include <string>

#include <vokra/vokra.h>
#include <zan/host.h>
#include <zan/zan.h>

namespace {

constexpr size_t file_size = 1 << 18;

std::string attribute_file()
{
    std::string text = "<tarnobject class=\"vok.op\">\n";
    for (int i = 0; text.size() < file_size; i++)
        text += "\t<attribute name=\"name" + std::to_string(i % 40) + "\" value=\"" + std::to_string(i) +
                " 2.5 word\" />\n";
    return text + "</tarnobject>\n";
}

std::string prose(bool accents)
{
    std::string text = "<book>\n";
    while (text.size() < file_size)
        text += accents ? "\t<p>\n\t\tl'\xC3\xA9t\xC3\xA9 pass\xC3\xA9, \xC3\xA0 c\xC3\xB4t\xC3\xA9 du "
                          "pr\xC3\xA9\n\t</p>\n"
                        : "\t<p>\n\t\tthe summer gone, beside the meadow\n\t</p>\n";
    return text + "</book>\n";
}

struct bytes_counted {
    object header;
    size_t count;
};

zan_word count_bytes(bytes_counted *x, const char *, zan_word size)
{
    x->count += size_t(size);
    return 0;
}

void document(benchmark::State &state, std::string (*make)(), bool writes)
{
    zan_start();
    initialize();
    static zan_class *counter = [] {
        zan_class *c = vok_class_new("bench_bytes", nullptr, nullptr, sizeof(bytes_counted), argtype_cant, 0);
        vok_class_addmethod(c, reinterpret_cast<zan_method>(count_bytes), "append", argtype_cant, 0);
        return c;
    }();
    const std::string text = make();
    auto *d = static_cast<vok_xml_document *>(vok_object_new(gensym("vok_xml_document")));
    auto *into = static_cast<bytes_counted *>(vok_object_alloc(counter));
    if (vok_xml_document_read_buffer(d, text.c_str()))
        state.SkipWithError("the document can't be read");
    vok_xml_document_write_buffer(d, into);
    if (into->count != text.size())
        state.SkipWithError("the document is written otherwise");
    bench::run(state, {{text.size()}, text.size()}, [&](size_t) {
        if (writes)
            vok_xml_document_write_buffer(d, into);
        else
            vok_xml_document_read_buffer(d, text.c_str());
    });
    state.counters["MB_per_s"] = double(text.size()) / 1e3 / state.counters["best_ms"].value;
    vok_object_free(d);
    vok_object_free(into);
}

[[maybe_unused]] const bool registered = [] {
    const struct {
        const char *name;
        std::string (*make)();
    } kinds[] = {{"attributes", attribute_file}, {"text", [] { return prose(false); }}, {"accented_text", [] {
                                                                                             return prose(true);
                                                                                         }}};
    for (const bool writes : {false, true})
        for (const auto &kind : kinds)
            benchmark::RegisterBenchmark((std::string(writes ? "xml_write/" : "xml_read/") + kind.name).c_str(),
                                         [=](benchmark::State &state) { document(state, kind.make, writes); })
                ->Unit(benchmark::kMillisecond);
    return true;
}();

} // namespace

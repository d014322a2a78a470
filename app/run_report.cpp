// The figures of a run, as text and as JSON.
#include "run_report.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <unistd.h>
#include <vector>

#include <nlohmann/json.hpp>
#include <vokra/vokra.h>
#include <zan/host.h>

namespace program {
namespace {

// The matrix of a name, or null.
void *matrix_of(symbol *name)
{
    void *x = name ? vok_object_findregistered(name) : nullptr;
    return x && object_classname(x) == gensym("vok_matrix") ? x : nullptr;
}

long bytes_of(void *matrix)
{
    vok_matrix_info info;
    return vok_matrix_getinfo(static_cast<vok_matrix *>(matrix), &info) ? 0 : info.size;
}

std::string text_of(symbol *s)
{
    return s ? s->name : "";
}

} // namespace

std::string as_json(const run_figures &f, const char *state)
{
    return nlohmann::ordered_json{
        {"state", state}, {"frames", f.frames}, {"time_ms", f.ms}, {"seconds", f.seconds}, {"errors", f.errors}}
        .dump();
}

std::string as_text(const run_figures &f)
{
    char text[200];
    std::snprintf(text, sizeof text,
                  "%ld frame%s in %.2f s (%.1f a second), %.3f s of the patch's time, %ld error%s", f.frames,
                  f.frames == 1 ? "" : "s", f.seconds, f.seconds > 0 ? double(f.frames) / f.seconds : 0,
                  f.ms * 1e-3, f.errors, f.errors == 1 ? "" : "s");
    return text;
}

run_stats run_stats::now()
{
    run_stats s;
    long count = 0;
    zan_class_count *rows = nullptr;
    if (!zan_class_counts(&count, &rows))
        for (long i = 0; i < count; i++)
            s.objects[text_of(rows[i].classname)] += rows[i].alive;
    sysmem_freeptr(rows);
    symbol **names = nullptr;
    if (!zan_registered_names(gensym("vokra"), &s.names, &names))
        for (long i = 0; i < s.names; i++)
            if (void *matrix = matrix_of(names[i])) {
                s.matrices++;
                s.bytes += bytes_of(matrix);
            }
    sysmem_freeptr(names);
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    s.resident = pages * (sysconf(_SC_PAGESIZE) / 1024);
    return s;
}

void print_stats(const run_stats &start, const run_stats &end)
{
    const auto row = [](const char *what, long before, long after) {
        std::fprintf(stderr, "  %-32s %12ld %12ld\n", what, before, after);
    };
    std::fprintf(stderr, "%-34s %12s %12s\n", "stats", "at start", "at end");
    std::set<std::string> classes;
    for (const run_stats *s : {&start, &end})
        for (const auto &[name, alive] : s->objects)
            classes.insert(name);
    const auto alive = [](const run_stats &s, const std::string &name) {
        const auto at = s.objects.find(name);
        return at == s.objects.end() ? 0 : at->second;
    };
    for (const std::string &name : classes)
        row(name.c_str(), alive(start, name), alive(end, name));
    std::fputs(" in all\n", stderr);
    row("matrices with a name", start.matrices, end.matrices);
    row("bytes of their cells", start.bytes, end.bytes);
    row("names of library objects", start.names, end.names);
    row("kilobytes resident", start.resident, end.resident);
    std::fprintf(stderr, "%-34s %12s %12s %12s %12s %12s\n", "queues", "waiting", "most", "passed", "dropped",
                 "limit");
    constexpr const char *queues[zan_queue_kinds] = {"deferred", "deferred low", "qelems", "clocks"};
    for (long q = 0; q < zan_queue_kinds; q++) {
        zan_queue_info i;
        if (!zan_queue_get(q, &i))
            std::fprintf(stderr, "  %-32s %12ld %12ld %12ld %12ld %12ld\n", queues[q], i.waiting, i.most, i.passed,
                         i.dropped, i.limit);
    }
}

long message_bytes(symbol *selector, long argc, atom *argv)
{
    static symbol *const vok_matrix = gensym("vok_matrix");
    if (selector != vok_matrix || argc < 1)
        return 0;
    void *matrix = matrix_of(atom_getsym(argv));
    return matrix ? bytes_of(matrix) : 0;
}

void print_profile()
{
    long count = 0;
    zan_profile_row *rows = nullptr;
    if (zan_profile_get(&count, &rows))
        return;
    const auto head = [](const char *what) {
        std::fprintf(stderr, "%-44s %10s %12s %12s %12s %14s\n", what, "messages", "own ms", "total ms",
                     "worst ms", "bytes");
    };
    const auto line = [](const std::string &what, const zan_profile_row &r, bool total) {
        char all[20] = "";
        if (total)
            std::snprintf(all, sizeof all, "%.3f", r.total_ms);
        std::fprintf(stderr, "  %-42s %10ld %12.3f %12s %12.3f %14ld\n", what.c_str(), r.messages, r.own_ms, all,
                     r.worst_ms, r.bytes);
    };
    head("profile by box");
    std::map<std::string, zan_profile_row> classes;
    for (long i = 0; i < count; i++) {
        const zan_profile_row &r = rows[i];
        char place[200];
        zan_place_text(r.place, place, sizeof place);
        line(r.place ? place : text_of(r.classname), r, true);
        zan_profile_row &sum = classes[text_of(r.classname)];
        sum.messages += r.messages;
        sum.own_ms += r.own_ms;
        sum.worst_ms = std::max(sum.worst_ms, r.worst_ms);
        sum.bytes += r.bytes;
    }
    sysmem_freeptr(rows);
    std::vector<std::pair<std::string, zan_profile_row>> sums(classes.begin(), classes.end());
    std::sort(sums.begin(), sums.end(),
              [](const auto &a, const auto &b) { return a.second.own_ms > b.second.own_ms; });
    head("profile by class");
    for (const auto &[name, sum] : sums)
        line(name, sum, false); // a class's boxes lie within each other: their totals add up to nothing
}

} // namespace program

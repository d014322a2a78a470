// Reports and hints, shared by all verbs.
#include "program.h"
#include "patches.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <numeric>
#include <optional>
#include <utility>

#include <zan/host.h>

namespace program {
namespace {

std::atomic<long> errors{0};
std::optional<std::vector<std::string>> held; // filled while reports are kept back

// What a box posts is what a run gives, and goes to standard output.
void report(void *, long kind, void *, const char *text)
{
    if (held) {
        if (kind == zan_report_error)
            held->emplace_back(text);
        return;
    }
    const zan_place *place = zan_report_place();
    if (kind == zan_report_post && place) {
        std::printf("%s\n", text);
        return;
    }
    if (kind == zan_report_error)
        ++errors;
    const char *word = kind == zan_report_error ? "error: " : kind == zan_report_warning ? "warning: " : "";
    std::fprintf(stderr, "vokra: %s%s\n", word, told(place, text).c_str());
}

// The edit distance of Levenshtein, where two letters that have changed places count once.
size_t distance(const std::string &a, const std::string &b)
{
    std::vector<size_t> before, above, row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        before = std::exchange(above, row);
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (a[i - 1] != b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
    }
    return row.back();
}

} // namespace

void hear_reports()
{
    zan_set_reporter(report, nullptr);
}

long error_count()
{
    return errors;
}

quiet_reports::quiet_reports()
{
    held.emplace();
}

quiet_reports::~quiet_reports()
{
    held.reset();
}

std::string quiet_reports::last(const std::string &otherwise) const
{
    return held->empty() ? otherwise : held->back();
}

std::vector<std::string> texts_of(long count, symbol **names)
{
    std::vector<std::string> texts;
    for (long i = 0; i < count; ++i)
        texts.emplace_back(names[i]->name);
    sysmem_freeptr(names);
    return texts;
}

std::string did_you_mean(const std::string &word, const std::vector<std::string> &known)
{
    const auto nearer = [&](const auto &a, const auto &b) { return distance(word, a) < distance(word, b); };
    const auto best = std::min_element(known.begin(), known.end(), nearer);
    const size_t most = std::max<size_t>(1, word.size() / 2);
    if (best == known.end() || distance(word, *best) > std::min(most, word.size() - 1))
        return "";
    return "; did you mean " + *best + "?";
}

} // namespace program

// Posts, warnings and errors: one at a time, from any thread, to the embedder's
// reporter or, by default, as lines on standard error. Equal ones can be merged.
#include "internal.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

namespace {

constexpr size_t text_size = 4096; // the text's limit and the NUL, see zan/objects.h

std::mutex lock; // held while a reporter runs; constant-initialised and never destroyed in effect
zan_reporter reporter = nullptr;
void *reporter_data = nullptr;
thread_local bool reporting; // this thread is inside the reporter
thread_local const zan_place *reported_place;
thread_local zan::caught_reports *catching;

// Warnings and errors that came while equal ones are merged, and how often again.
constexpr size_t most_merged = 1000;
using report_key = std::tuple<long, const zan_place *, const symbol *, std::string>; // kind, place, class, text
struct repeats {
    size_t serial; // in order of their first coming
    long more;
};
bool merging = false;
std::map<report_key, repeats> &merged()
{
    static auto &all = *new std::map<report_key, repeats>;
    return all;
}

// One call a line, so that lines of several threads and processes don't mix.
void write_line(const zan_place *place, const symbol *classname, const char *text)
{
    const size_t length = classname ? std::strlen(classname->name) : 0;
    // a text that begins with the class's name already keeps it as it is
    const bool named = classname && std::strncmp(text, classname->name, length) == 0 && text[length] == ':';
    std::string line(size_t(zan_place_text(place, nullptr, 0)), 0);
    zan_place_text(place, line.data(), long(line.size()) + 1);
    if (!line.empty())
        line += ": ";
    if (classname && !named && !(place && place->classname == classname))
        line += std::string(classname->name) + ": ";
    std::fprintf(stderr, "%s%s\n", line.c_str(), text);
}

// With the lock held.
void tell(long kind, void *x, const zan_place *place, const symbol *classname, const char *text)
{
    if (!reporter) {
        write_line(place, classname, text);
        return;
    }
    reporting = true;
    reported_place = place;
    reporter(reporter_data, kind, x, text);
    reported_place = nullptr;
    reporting = false;
}

void tell_merged()
{
    std::map<report_key, repeats> all;
    all.swap(merged());
    std::vector<const std::pair<const report_key, repeats> *> in_order(all.size());
    for (const auto &one : all)
        in_order[one.second.serial] = &one;
    for (const auto *one : in_order)
        if (one->second.more > 0) {
            const auto &[kind, place, classname, text] = one->first;
            const std::string more = " (... and " + std::to_string(one->second.more) + " more)";
            tell(kind, nullptr, place, classname, (text + more).c_str());
        }
}

// The length without a character that the limit has cut apart.
size_t whole_characters(const char *text, size_t length)
{
    size_t start = length;
    while (start > 0 && length - start < 4 && (text[start - 1] & 0xC0) == 0x80)
        start--;
    if (start == 0)
        return length;
    const unsigned char lead = static_cast<unsigned char>(text[start - 1]);
    const size_t needs = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
    return needs > 1 && length - (start - 1) < needs ? start - 1 : length;
}

void report(long kind, void *x, const char *format, va_list list)
{
    char text[text_size];
    const int wanted = std::vsnprintf(text, sizeof text, format ? format : "", list);
    if (wanted < 0)
        std::strcpy(text, "(a report whose format is wrong)");
    size_t length = std::strlen(text);
    if (wanted >= int(sizeof text))
        length = whole_characters(text, length);
    else if (length && text[length - 1] == '\n') // reports are lines already
        length--;
    text[length] = 0;
    void *source = zan::looks_live(x) ? x : nullptr;
    const symbol *classname = source ? object_classname(source) : nullptr;
    const zan_place *place = source ? zan_place_of(source) : nullptr;
    if (!place)
        place = zan::place_at_work();
    if (catching && (kind == zan_report_warning || kind == zan_report_error)) {
        catching->all.push_back({kind, text});
        return;
    }
    if (reporting) { // the reporter's own reports: never back into it
        write_line(place, classname, text);
        return;
    }
    const std::lock_guard held(lock);
    if (merging && (kind == zan_report_warning || kind == zan_report_error)) {
        if (merged().size() >= most_merged)
            tell_merged();
        const auto [at, fresh] = merged().try_emplace({kind, place, classname, text}, repeats{merged().size(), 0});
        if (!fresh) {
            at->second.more++;
            return;
        }
    }
    tell(kind, source, place, classname, text);
}

} // namespace

zan::caught_reports::caught_reports() : outer_(catching)
{
    catching = this;
}

zan::caught_reports::~caught_reports()
{
    catching = outer_;
}

extern "C" {

#define ZAN_REPORT(kind, object)                                                                                  \
    do {                                                                                                          \
        va_list list;                                                                                             \
        va_start(list, format);                                                                                   \
        report(kind, object, format, list);                                                                       \
        va_end(list);                                                                                             \
    } while (0)

void object_error(void *x, const char *format, ...)
{
    ZAN_REPORT(zan_report_error, x);
}

void object_warn(void *x, const char *format, ...)
{
    ZAN_REPORT(zan_report_warning, x);
}

void object_post(void *x, const char *format, ...)
{
    ZAN_REPORT(zan_report_post, x);
}

void cpost(const char *format, ...)
{
    ZAN_REPORT(zan_report_console, nullptr);
}

#undef ZAN_REPORT

void zan_set_reporter(zan_reporter fn, void *data)
{
    // waits for a call under way: the old reporter isn't used once this returns
    std::unique_lock held(lock, std::defer_lock);
    if (!reporting)
        held.lock();
    reporter = fn;
    reporter_data = fn ? data : nullptr;
}

const zan_place *zan_report_place(void)
{
    return reported_place;
}

void zan_merge_reports(long on)
{
    if (reporting)
        return;
    const std::lock_guard held(lock);
    tell_merged();
    merging = on != 0;
}

} // extern "C"

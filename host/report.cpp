// Posts, warnings and errors: one at a time, from any thread, to the embedder's
// reporter or, by default, as lines on standard error.
#include "internal.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace {

constexpr size_t text_size = 4096; // the text's limit and the NUL, see zan/objects.h

std::mutex lock; // held while a reporter runs; constant-initialised and never destroyed in effect
zan_reporter reporter = nullptr;
void *reporter_data = nullptr;
thread_local bool reporting; // this thread is inside the reporter

void write_line(void *x, const char *text)
{
    const symbol *name = x ? object_classname(x) : nullptr;
    // one call a line, so that lines of several threads and processes don't mix
    // a text that begins with the class's name already keeps it as it is
    const size_t length = name ? std::strlen(name->name) : 0;
    if (name && !(std::strncmp(text, name->name, length) == 0 && text[length] == ':'))
        std::fprintf(stderr, "%s: %s\n", name->name, text);
    else
        std::fprintf(stderr, "%s\n", text);
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
    if (reporting) { // the reporter's own reports: never back into it
        write_line(source, text);
        return;
    }
    const std::lock_guard held(lock);
    if (!reporter) {
        write_line(source, text);
        return;
    }
    reporting = true;
    reporter(reporter_data, kind, source, text);
    reporting = false;
}

} // namespace

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

} // extern "C"

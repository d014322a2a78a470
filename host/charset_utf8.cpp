// Counting and finding characters in UTF-8 text. Bytes that form no character count as
// one each, and no step leads past the end, so any text can be measured. Any thread.
#include <zan/symbols.h>

namespace {

// Bytes of the character at `c`, which is not the end.
long character_length(const unsigned char *c)
{
    const long expected = *c < 0xC0 ? 1 : *c < 0xE0 ? 2 : *c < 0xF0 ? 3 : *c < 0xF8 ? 4 : 1;
    for (long i = 1; i < expected; i++)
        if ((c[i] & 0xC0) != 0x80) // the NUL stops here too
            return 1;
    return expected;
}

} // namespace

extern "C" {

long charset_utf8_count(const char *text, long *bytes)
{
    long count = 0;
    const unsigned char *start = reinterpret_cast<const unsigned char *>(text ? text : "");
    const unsigned char *c = start;
    for (; *c; c += character_length(c))
        count++;
    if (bytes)
        *bytes = c - start;
    return count;
}

const char *charset_utf8_offset(const char *text, long offset, long *byteoffset)
{
    const unsigned char *c = reinterpret_cast<const unsigned char *>(text);
    for (; c && *c && offset > 0; offset--)
        c += character_length(c);
    const char *place = reinterpret_cast<const char *>(c);
    if (byteoffset)
        *byteoffset = place ? place - text : 0;
    return place;
}

} // extern "C"

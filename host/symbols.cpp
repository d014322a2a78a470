// The table of symbols. A known name is found without a lock: the table is an array
// of atomic pointers that is only ever added to, and replaced as a whole when it gets
// full. Symbols and outgrown tables are never given back, since anyone may hold them.
#include "symbols.h"
#include <algorithm>
#include <cstdio>

namespace zan {
namespace {

struct symbol_table {
    size_t mask;
    symbol_table *outgrown; // kept: a reader may be in it
    std::atomic<symbol_record *> *slots() { return reinterpret_cast<std::atomic<symbol_record *> *>(this + 1); }
};

constinit std::atomic<symbol_table *> table{nullptr};
constinit std::mutex writer;
size_t count;            // symbols; under `writer`
char *arena, *arena_end; // where the next symbol goes; under `writer`
constinit std::atomic<unsigned long> unique_number{0};

uint64_t word_at(const char *p)
{
    uint64_t w;
    std::memcpy(&w, p, 8);
    return w;
}

uint64_t mix(uint64_t a, uint64_t b)
{
    const unsigned __int128 product = static_cast<unsigned __int128>(a) * b;
    return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

// Names are short: eight bytes a step, the rest as one word.
uint64_t hash_of(const char *text, size_t length)
{
    constexpr uint64_t k0 = 0x9E3779B97F4A7C15ull, k1 = 0xD6E8FEB86659FD93ull;
    uint64_t h = length * k0;
    size_t left = length;
    for (; left >= 8; left -= 8, text += 8)
        h = mix(h ^ word_at(text), k1);
    uint64_t tail = 0;
    switch (left) { // the tail's bytes in any fixed order, without reading past the end
    case 7: tail |= static_cast<uint64_t>(static_cast<unsigned char>(text[6])) << 48; [[fallthrough]];
    case 6: tail |= static_cast<uint64_t>(static_cast<unsigned char>(text[5])) << 40; [[fallthrough]];
    case 5: tail |= static_cast<uint64_t>(static_cast<unsigned char>(text[4])) << 32; [[fallthrough]];
    case 4: tail |= static_cast<uint64_t>(static_cast<unsigned char>(text[3])) << 24; [[fallthrough]];
    case 3: tail |= static_cast<uint64_t>(static_cast<unsigned char>(text[2])) << 16; [[fallthrough]];
    case 2: tail |= static_cast<uint64_t>(static_cast<unsigned char>(text[1])) << 8; [[fallthrough]];
    case 1: tail |= static_cast<unsigned char>(text[0]); [[fallthrough]];
    default: break;
    }
    return mix(h ^ tail, k0);
}

symbol_record *find_in(symbol_table *t, const char *text, size_t length, uint64_t hash)
{
    if (!t)
        return nullptr;
    for (size_t i = hash;; ++i) {
        symbol_record *s = t->slots()[i & t->mask].load(std::memory_order_acquire);
        if (!s)
            return nullptr;
        if (s->hash == hash && s->length == length && !std::memcmp(s->text, text, length))
            return s;
    }
}

void put(symbol_table *t, symbol_record *s)
{
    size_t i = s->hash;
    while (t->slots()[i & t->mask].load(std::memory_order_relaxed))
        ++i;
    t->slots()[i & t->mask].store(s, std::memory_order_release);
}

// Without memory for a name nothing can go on; there is no symbol to answer with.
[[noreturn]] void out_of_memory()
{
    std::fputs("zan: out of memory for symbols\n", stderr);
    std::abort();
}

// The table with room for one more.
symbol_table *roomy()
{
    symbol_table *t = table.load(std::memory_order_relaxed);
    if (t && count * 2 <= t->mask)
        return t;
    const size_t slots = t ? (t->mask + 1) * 2 : 4096;
    symbol_table *grown = static_cast<symbol_table *>(
        std::calloc(1, sizeof(symbol_table) + slots * sizeof(std::atomic<symbol_record *>)));
    if (!grown)
        out_of_memory();
    grown->mask = slots - 1;
    grown->outgrown = t;
    if (t)
        for (size_t i = 0; i <= t->mask; ++i)
            if (symbol_record *s = t->slots()[i].load(std::memory_order_relaxed))
                put(grown, s);
    table.store(grown, std::memory_order_release);
    return grown;
}

// The symbol of a text that may be new; *made tells.
symbol *intern(const char *text, size_t length, uint64_t hash, bool *made)
{
    const std::lock_guard hold(writer);
    *made = false;
    if (symbol_record *s = find_in(table.load(std::memory_order_relaxed), text, length, hash))
        return &s->sym;
    symbol_table *t = roomy();
    const size_t size = (sizeof(symbol_record) + length + 1 + 15) & ~size_t(15);
    char *place;
    if (size > 4096) {
        place = static_cast<char *>(std::malloc(size));
    } else {
        if (static_cast<size_t>(arena_end - arena) < size) {
            constexpr size_t block = 64 * 1024;
            arena = static_cast<char *>(std::malloc(block));
            arena_end = arena ? arena + block : nullptr;
        }
        place = arena;
        if (arena)
            arena += size;
    }
    if (!place)
        out_of_memory();
    symbol_record *s = new (place) symbol_record;
    s->sym.thing = nullptr;
    s->hash = hash;
    s->length = length;
    std::memcpy(s->text, text, length);
    s->text[length] = 0;
    s->sym.name = s->text;
    ++count;
    put(t, s);
    *made = true;
    return &s->sym;
}

} // namespace
} // namespace zan

using namespace zan;

extern "C" {

symbol *gensym(const char *text)
{
    if (!text)
        text = "";
    const size_t length = std::strlen(text);
    const uint64_t hash = hash_of(text, length);
    if (symbol_record *s = find_in(table.load(std::memory_order_acquire), text, length, hash))
        return &s->sym;
    bool made;
    return intern(text, length, hash, &made);
}

symbol *symbol_unique(void)
{
    for (;;) {
        char text[32];
        const int length = std::snprintf(text, sizeof text, "u%09lu", ++unique_number);
        bool made;
        symbol *s = intern(text, static_cast<size_t>(length), hash_of(text, static_cast<size_t>(length)), &made);
        if (made) // else someone has used that very text: it is not ours to hand out
            return s;
    }
}

void symbolarray_sort(symbol **array, long n)
{
    if (array && n > 1)
        std::sort(array, array + n,
                  [](const symbol *a, const symbol *b) { return std::strcmp(a->name, b->name) < 0; });
}

} // extern "C"

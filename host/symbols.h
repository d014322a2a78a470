// What stands behind a symbol's two public words.
#pragma once
#include "kernel.h"

namespace zan {

struct symbol_record {
    symbol sym;
    uint64_t hash;
    size_t length;
    std::atomic<name_entry *> entries{nullptr}; // registry.cpp: one for each namespace that uses the name
    char text[];
};
static_assert(offsetof(symbol_record, sym) == 0);

inline symbol_record *record_of(symbol *s)
{
    return reinterpret_cast<symbol_record *>(s);
}

} // namespace zan

// Atoms for tests of text: comparison to the bit, and random lists that hold what is
// hard to write down (blanks, marks, numbers as symbols, every kind of double).
#pragma once
#include "kernel_fixture.h"

#include <cmath>
#include <cstring>
#include <random>

inline atom typed_atom(short type, long value = 0)
{
    atom a = A(value);
    a.type = type;
    return a;
}
inline atom dollsym_atom(const char *name)
{
    return typed_atom(argtype_dollsym, W(S(name)));
}
// The same tag and the same value; any NaN is like any other.
inline bool same_atom(const atom &a, const atom &b)
{
    const bool floats = a.type == argtype_float && b.type == argtype_float;
    return a.type == b.type && ((floats && std::isnan(a.value.as_float) && std::isnan(b.value.as_float)) ||
                                memcmp(&a.value, &b.value, sizeof a.value) == 0);
}

class atom_generator {
  public:
    explicit atom_generator(unsigned seed) : random(seed) {}

    std::vector<atom> list(unsigned most)
    {
        std::vector<atom> atoms(random() % (most + 1));
        for (atom &a : atoms)
            a = one();
        return atoms;
    }

    atom one()
    {
        switch (random() % 8) {
        case 0: return A(long(random() % 2001) - 1000);
        case 1: return A(long(random()));
        case 2: return A((double(random() % 20001) - 10000) / 100);
        case 3: { // any bits at all
            const uint64_t bits = random();
            double value;
            memcpy(&value, &bits, sizeof value);
            return A(value);
        }
        case 4: return typed_atom(random() % 2 ? argtype_semi : argtype_comma);
        case 5: return typed_atom(argtype_dollar, long(random() % 100));
        default: return A(word().c_str());
        }
    }

    std::string word()
    {
        static constexpr const char *pieces[] = {
            "a",   "zan", "1",        ".",    "5e3",  "-",          " ",  "\"",          "\\",
            "$",   "$2",  ";",        ",",    "#",    "\n",         "\t", "!",           "@dim",
            "inf", "nan", "\xC3\xA4", "\x80", "\x01", "vok.matrix", "'",  "\xEF\xBB\xBF"};
        std::string text;
        for (unsigned i = unsigned(random() % 5); i > 0; i--)
            text += pieces[random() % std::size(pieces)];
        return text;
    }

    std::mt19937_64 random;
};

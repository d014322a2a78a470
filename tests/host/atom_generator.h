// Atoms for tests: short makers, comparison to the bit, and random lists that hold what
// is hard to write down (blanks, marks, numbers as symbols, every kind of double).
#pragma once
#include <zan/zan.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

inline atom typed_atom(short type, long value = 0)
{
    atom a;
    a.type = type;
    a.value.as_long = value;
    return a;
}
inline atom long_atom(long value)
{
    return typed_atom(argtype_long, value);
}
inline atom float_atom(double value)
{
    atom a = typed_atom(argtype_float);
    a.value.as_float = value;
    return a;
}
inline atom sym_atom(const char *name)
{
    atom a = typed_atom(argtype_sym);
    a.value.as_sym = gensym(name);
    return a;
}
inline atom dollsym_atom(const char *name)
{
    atom a = sym_atom(name);
    a.type = argtype_dollsym;
    return a;
}
inline atom obj_atom(void *x)
{
    atom a = typed_atom(argtype_obj);
    a.value.as_obj = static_cast<object *>(x);
    return a;
}

// The same tag and the same value; any NaN is like any other.
inline bool same_atom(const atom &a, const atom &b)
{
    if (a.type != b.type)
        return false;
    if (a.type == argtype_float && std::isnan(a.value.as_float))
        return std::isnan(b.value.as_float);
    return memcmp(&a.value, &b.value, sizeof a.value) == 0;
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
        case 0: return long_atom(long(random() % 2001) - 1000);
        case 1: return long_atom(long(random()));
        case 2: return float_atom((double(random() % 20001) - 10000) / 100);
        case 3: { // any bits at all
            const uint64_t bits = random();
            double value;
            memcpy(&value, &bits, sizeof value);
            return float_atom(value);
        }
        case 4: return typed_atom(random() % 2 ? argtype_semi : argtype_comma);
        case 5: return typed_atom(argtype_dollar, long(random() % 100));
        default: return sym_atom(word().c_str());
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

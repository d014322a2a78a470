// Boxes that keep, count and calculate numbers. Two integers calculate as integers (5 / 2
// is 2), any float makes it floats; what can't be calculated is 0.
#include "box.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace boxes {
namespace {

atom as_atom(double value)
{
    atom a;
    atom_setfloat(&a, value);
    return a;
}
atom as_atom(long value)
{
    atom a;
    atom_setlong(&a, value);
    return a;
}

// int and float: a number that is kept.
template <class V> struct store : box {
    V value;

    explicit store(const birth &b) : box(b), value(0)
    {
        if (const atom *given = argument(b, 0))
            value = of(*given);
        shape(2, 1);
    }
    static V of(const atom &a)
    {
        if constexpr (std::is_same_v<V, long>)
            return atom_getlong(&a);
        else
            return atom_getfloat(&a);
    }
    void hear(long inlet, const message &m) override
    {
        const atom *given = m.selector == words().set && m.argc > 0 ? m.argv : number_of(m);
        if (given)
            value = of(*given);
        else if (inlet)
            return misfit(inlet, m, "a number");
        if (!inlet && m.selector != words().set)
            send_number(out[0], as_atom(value));
    }
};

struct counter : box {
    enum way : long { up, down, updown };
    long min, max, next, direction = up, step = 1;

    explicit counter(const birth &b)
        : box(b), min(b.args.size() > 1 ? whole(b, 0, 0) : 0),
          max(b.args.size() > 1 ? whole(b, 1, 0) : whole(b, 0, 1L << 53)), next(min)
    {
        shape(2, 2);
    }
    void hear(long inlet, const message &m) override
    {
        const atom *value = m.selector == words().set && m.argc > 0 ? m.argv : number_of(m);
        if (m.selector == words().reset)
            next = direction == down ? max : min;
        else if (value)
            next = atom_getlong(value);
        else if (!is_bang(m))
            return misfit(inlet, m, "a bang or a number");
        if (!inlet && m.selector != words().reset && m.selector != words().set)
            count();
    }
    void count()
    {
        const long now = std::clamp(next, std::min(min, max), std::max(min, max));
        if (direction != updown)
            step = direction == up ? 1 : -1;
        else if (now == min || now == max)
            step = now == min ? 1 : -1;
        const bool begins_again = direction != updown && now == (direction == up ? max : min);
        next = !begins_again ? now + step : direction == up ? min : max;
        if (now == (direction == down ? min : max))
            outlet_bang(out[1]);
        outlet_int(out[0], now);
    }
    static constexpr const char *ways[] = {"up", "down", "updown"};
    static void set_min(box &b, const atom &a) { static_cast<counter &>(b).min = atom_getlong(&a); }
    static void set_max(box &b, const atom &a) { static_cast<counter &>(b).max = atom_getlong(&a); }
    static void set_direction(box &b, const atom &a)
    {
        auto &x = static_cast<counter &>(b);
        const symbol *word = atom_getsym(&a);
        for (long i = 0; i < 3; i++)
            if (word && !std::strcmp(word->name, ways[i])) {
                x.direction = i;
                if (x.next == x.min && i == down)
                    x.next = x.max;
                return;
            }
        x.error("direction is up, down or updown, not \"" + text_of({&a, 1}) + "\"");
    }
    static atom get_direction(const box &b)
    {
        atom a;
        atom_setsym(&a, gensym(ways[static_cast<const counter &>(b).direction]));
        return a;
    }
};
constexpr attribute counter_attributes[] = {
    {"min", "long", get_long<&counter::min>, counter::set_min, "First number"},
    {"max", "long", get_long<&counter::max>, counter::set_max, "Last number"},
    {"direction", "symbol", counter::get_direction, counter::set_direction, "up, down or updown"},
};

// The same numbers on every run: the sequence depends on the seed alone.
struct random_box : box {
    long range, seed = 1;
    uint64_t state = 1;

    explicit random_box(const birth &b) : box(b), range(whole(b, 0, 128)) { shape(2, 1); }
    void hear(long inlet, const message &m) override
    {
        const atom *value = number_of(m);
        if (inlet && value)
            range = atom_getlong(value);
        else if (inlet)
            misfit(inlet, m, "a number");
        else
            outlet_int(out[0], range < 1 ? 0 : long(draw() % uint64_t(range)));
    }
    // splitmix64 (Steele, Lea and Flood, "Fast splittable pseudorandom number generators", 2014)
    uint64_t draw()
    {
        uint64_t z = state += 0x9E3779B97F4A7C15ull;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    static void set_seed(box &b, const atom &a)
    {
        auto &x = static_cast<random_box &>(b);
        x.seed = atom_getlong(&a);
        x.state = uint64_t(x.seed);
    }
};
constexpr attribute random_attributes[] = {
    {"seed", "long", get_long<&random_box::seed>, random_box::set_seed, "Where the sequence begins"},
};

struct repeat : box {
    long times;

    explicit repeat(const birth &b) : box(b), times(whole(b, 0, 1)) { shape(2, 2); }
    void hear(long inlet, const message &m) override
    {
        if (const atom *value = number_of(m))
            times = atom_getlong(value);
        else if (!is_bang(m))
            return misfit(inlet, m, "a bang or a number");
        if (inlet)
            return;
        for (long i = 0, n = times; i < n; i++)
            outlet_int(out[0], i);
        outlet_bang(out[1]);
    }
};

// ---- arithmetic: one row an operation ----

struct operation {
    const char *name;
    const char *digest;
    long (*on_longs)(long, long); // null: always floats
    double (*on_floats)(double, double);
};

// Integers wrap round as the machine's do.
template <class F> long wrapped(F f, long a, long b)
{
    return long(f(uint64_t(a), uint64_t(b)));
}

constexpr operation operations[] = {
    {"+", "Adds.", [](long a, long b) { return wrapped(std::plus(), a, b); },
     [](double a, double b) { return a + b; }},
    {"-", "Subtracts.", [](long a, long b) { return wrapped(std::minus(), a, b); },
     [](double a, double b) { return a - b; }},
    {"*", "Multiplies.", [](long a, long b) { return wrapped(std::multiplies(), a, b); },
     [](double a, double b) { return a * b; }},
    {"/", "Divides.", [](long a, long b) { return b == -1 ? wrapped(std::minus(), 0, a)
                                                  : b     ? a / b
                                                          : 0; },
     [](double a, double b) { return b != 0 ? a / b : 0; }},
    {"%", "Gives the remainder of a division.", [](long a, long b) { return b && b != -1 ? a % b : 0; },
     [](double a, double b) { return b != 0 ? std::fmod(a, b) : 0; }},
    {"min", "Gives the smaller one.", [](long a, long b) { return std::min(a, b); },
     [](double a, double b) { return std::fmin(a, b); }},
    {"max", "Gives the larger one.", [](long a, long b) { return std::max(a, b); },
     [](double a, double b) { return std::fmax(a, b); }},
    {"pow", "Raises to a power.", nullptr,
     [](double a, double b) {
         const double r = std::pow(a, b);
         return std::isfinite(r) ? r : 0;
     }},
    {"==", "Gives 1 when both are equal, else 0.", [](long a, long b) { return long(a == b); },
     [](double a, double b) { return double(a == b); }},
    {"!=", "Gives 1 when they differ, else 0.", [](long a, long b) { return long(a != b); },
     [](double a, double b) { return double(a != b); }},
    {"<", "Gives 1 when the left one is smaller, else 0.", [](long a, long b) { return long(a < b); },
     [](double a, double b) { return double(a < b); }},
    {">", "Gives 1 when the left one is larger, else 0.", [](long a, long b) { return long(a > b); },
     [](double a, double b) { return double(a > b); }},
    {"<=", "Gives 1 when the left one is not larger, else 0.", [](long a, long b) { return long(a <= b); },
     [](double a, double b) { return double(a <= b); }},
    {">=", "Gives 1 when the left one is not smaller, else 0.", [](long a, long b) { return long(a >= b); },
     [](double a, double b) { return double(a >= b); }},
};

struct arithmetic : box {
    const operation &op;
    atom left = as_atom(0L), right;

    explicit arithmetic(const birth &b) : box(b), op(*static_cast<const operation *>(b.what->rule))
    {
        const atom *given = argument(b, 0);
        right = given ? *given : as_atom(0L);
        shape(2, 1);
    }
    void hear(long inlet, const message &m) override
    {
        atom result;
        {
            const std::lock_guard hold(lock);
            const atom *value = number_of(m);
            if (value && inlet) {
                right = *value;
                return;
            }
            if (value) {
                left = *value;
                if (m.argc > 1 && is_number(m.argv[1])) // a list sets both
                    right = m.argv[1];
            } else if (inlet || !is_bang(m)) {
                return misfit(inlet, m, "numbers");
            }
            const bool whole = op.on_longs && left.type == argtype_long && right.type == argtype_long;
            result = whole ? as_atom(op.on_longs(atom_getlong(&left), atom_getlong(&right)))
                           : as_atom(op.on_floats(atom_getfloat(&left), atom_getfloat(&right)));
        }
        send_number(out[0], result);
    }
};

struct function {
    const char *name;
    const char *digest;
    double (*of)(double);
};
constexpr function functions[] = {
    {"sin", "Gives the sine of an angle in radians.", std::sin},
    {"cos", "Gives the cosine of an angle in radians.", std::cos},
    {"sqrt", "Gives the square root; 0 for a negative number.", [](double a) { return a > 0 ? std::sqrt(a) : 0; }},
    {"abs", "Gives the number without its sign.", std::fabs},
    {"floor", "Gives the whole number at or below.", std::floor},
    {"round", "Gives the nearest whole number.", std::round},
};

struct calculate : box {
    const function &f;

    explicit calculate(const birth &b) : box(b), f(*static_cast<const function *>(b.what->rule)) { shape(1, 1); }
    void hear(long inlet, const message &m) override
    {
        if (const atom *value = number_of(m))
            outlet_float(out[0], f.of(atom_getfloat(value)));
        else
            misfit(inlet, m, "a number");
    }
};

constexpr kind rows[] = {
    {"int", "Keeps a whole number.", "[number]", "bang int float set",
     "number: keeps and sends it; bang sends it; set keeps it|number to keep", "the number", make<store<long>>},
    {"float", "Keeps a number.", "[number]", "bang int float set",
     "number: keeps and sends it; bang sends it; set keeps it|number to keep", "the number", make<store<double>>},
    {"counter", "Counts bangs from a first to a last number, and begins again.", "[last] or [first] [last]",
     "bang int float set reset", "bang counts, a number counts from there, reset begins again|the next number",
     "the count|bang with the last number", make<counter>, counter_attributes},
    {"random", "Sends random whole numbers from 0 up to, but not including, its range.", "[range]",
     "bang int float", "bang sends a number|range", "a number", make<random_box>, random_attributes},
    {"repeat", "Sends so many numbers at once, counting from 0.", "[times]", "bang int float",
     "bang or a number of times|number of times", "0, 1, 2, ...|bang when all are sent", make<repeat>},
};

} // namespace

std::span<const kind> value_kinds()
{
    static const std::vector<kind> all = [] {
        std::vector<kind> made(std::begin(rows), std::end(rows));
        for (const operation &op : operations)
            made.push_back({op.name,
                            op.digest,
                            "[right number]",
                            "bang int float list",
                            "left number: calculates; bang calculates anew|right number",
                            "the result",
                            make<arithmetic>,
                            {},
                            &op});
        for (const function &f : functions)
            made.push_back({f.name, f.digest, "", "int float", "a number", "the result", make<calculate>, {}, &f});
        return made;
    }();
    return all;
}

} // namespace boxes

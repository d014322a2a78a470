// A hundred thousand random messages to one matrix after another, held against a model
// that keeps its own bytes by the rules alone. Under the sanitizers every byte that a
// message touches is watched.
#include "matrix/matrix_tools.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "scratch.h"

namespace {

std::mt19937 dice(20260117);

long roll(long low, long high)
{
    return std::uniform_int_distribution<long>(low, high)(dice);
}

template <typename T> T one_of(std::initializer_list<T> list)
{
    return *(list.begin() + roll(0, static_cast<long>(list.size()) - 1));
}

// The shape and the cells with their padding and 8 bytes more: what a value one plane
// past the last of all may touch.
struct model {
    const char *type = "char";
    long planes = 4, dimcount = 2, flags = 0;
    long dim[32], stride[32];
    std::vector<unsigned char> bytes;

    model() { std::fill_n(dim, 32, 1L); }
    long element() const { return std::strcmp(type, "char") == 0 ? 1 : std::strcmp(type, "float64") == 0 ? 8 : 4; }
    long size() const { return static_cast<long>(bytes.size()) - 8; }

    void lay_out()
    {
        long size = planes * element();
        for (long i = 0; i < 32; i++) {
            stride[i] = i < dimcount ? size : 0;
            dim[i] = i < dimcount ? dim[i] : 1;
            size *= dim[i];
            if (i == 0 && dimcount > 0 && !(flags & vok_matrix_flag_packed))
                size = (size + 15) / 16 * 16;
        }
        bytes.assign(static_cast<size_t>(size) + 8, 0);
    }

    void put(long at, const atom *a)
    {
        if (at < 0 || at + element() > static_cast<long>(bytes.size()))
            return;
        const auto l = static_cast<int32_t>(type[0] == 'l' && a ? atom_getlong(a) : 0);
        const auto c = static_cast<unsigned char>(type[0] == 'c' && a ? atom_getcharfix(a) : 0);
        const double d = a ? atom_getfloat(a) : 0;
        const auto f = static_cast<float>(d);
        const void *value = type[0] == 'c'   ? static_cast<const void *>(&c)
                            : type[0] == 'l' ? &l
                            : element() == 4 ? static_cast<const void *>(&f)
                                             : &d;
        std::memcpy(&bytes[static_cast<size_t>(at)], value, static_cast<size_t>(element()));
    }

    // Runs f(offset) on every cell.
    template <typename F> void each_cell(const F &f, long n = -1, long at = 0)
    {
        n = n < 0 ? dimcount : n;
        if (n == 0)
            return f(at);
        for (long i = 0; i < dim[n - 1]; i++)
            each_cell(f, n - 1, at + i * stride[n - 1]);
    }

    long setcell(const std::vector<atom> &list)
    {
        if (list.empty())
            return 0;
        size_t i = 0;
        long at = 0;
        const auto word = [&](size_t k) { return k < list.size() ? atom_getsym(&list[k]) : nullptr; };
        while (i < list.size() && word(i) != gensym("val") && word(i) != gensym("plane"))
            i++;
        if (i == list.size() || i > 32)
            return VOK_ERR_OBND;
        for (size_t k = 0; k < i && static_cast<long>(k) < dimcount; k++) {
            const long c = atom_getlong(&list[k]);
            if (c < 0 || c >= dim[k])
                return VOK_ERR_OBND;
            at += c * stride[k];
        }
        if (word(i) == gensym("val")) {
            for (long p = 0; p < planes; p++)
                put(at + p * element(), i + 1 + p < list.size() ? &list[i + 1 + p] : nullptr);
            return 0;
        }
        const long plane = i + 1 < list.size() ? atom_getlong(&list[i + 1]) : 0;
        if (plane >= planes || word(i + 2) != gensym("val"))
            return VOK_ERR_OBND;
        if (i + 3 < list.size() && plane > -1000000)
            put(at + plane * element(), &list[i + 3]);
        return 0;
    }

    void setall(const std::vector<atom> &list)
    {
        if (list.empty())
            return;
        each_cell([&](long at) {
            for (size_t p = 0; static_cast<long>(p) < planes; p++)
                put(at + static_cast<long>(p) * element(), list.size() == 1            ? &list[0]
                                                           : p < list.size() && p < 32 ? &list[p]
                                                                                       : nullptr);
        });
    }

    void fillplane(const std::vector<atom> &list)
    {
        if (list.empty())
            return;
        const long plane = std::clamp(long{atom_getlong(&list[0])}, 0L, planes);
        each_cell([&](long at) { put(at + plane * element(), list.size() > 1 ? &list[1] : nullptr); });
    }
};

atom random_atom(bool wild)
{
    atom a;
    switch (roll(0, wild ? 9 : 5)) {
    case 0:
    case 1:
    case 2: atom_setlong(&a, roll(0, 5)); break;
    case 3: atom_setlong(&a, roll(-3, 300)); break;
    case 4:
    case 5: atom_setfloat(&a, static_cast<double>(roll(-20, 300)) / 16); break;
    case 6:
        atom_setlong(&a, one_of({std::numeric_limits<long>::min(), std::numeric_limits<long>::max(), 1L << 40}));
        break;
    case 7: atom_setfloat(&a, one_of({1e300, -1e300, std::nan(""), HUGE_VAL})); break;
    case 8: atom_setsym(&a, gensym(one_of({"val", "plane", "quux", ""}))); break;
    default: a = {}; break;
    }
    return a;
}

std::vector<atom> random_list(long most)
{
    std::vector<atom> list(static_cast<size_t>(roll(0, most)));
    const bool wild = roll(0, 4) == 0;
    std::generate(list.begin(), list.end(), [&] { return random_atom(wild); });
    return list;
}

// Mostly a list that setcell understands.
std::vector<atom> random_cell_list(const model &m)
{
    if (roll(0, 5) == 0)
        return random_list(40);
    std::vector<atom> list;
    const auto add_long = [&](long v) { atom_setlong(&list.emplace_back(), v); };
    const auto add_word = [&](const char *w) { atom_setsym(&list.emplace_back(), gensym(w)); };
    for (long i = 0; i < roll(0, m.dimcount + 1); i++)
        add_long(roll(roll(0, 20) ? 0 : -1, i < m.dimcount && roll(0, 20) ? m.dim[i] - 1 : 40));
    if (roll(0, 1)) {
        add_word("plane");
        add_long(roll(-2, m.planes));
    }
    add_word("val");
    for (long i = roll(0, m.planes + 1); i > 0; i--)
        list.push_back(random_atom(roll(0, 9) == 0));
    return list;
}

void expect_equal(vok_matrix *x, const model &m, long step)
{
    ASSERT_EQ(x->info.size, m.size()) << "step " << step;
    const long save = send_words(x, "lock", 1);
    ASSERT_EQ(std::memcmp(x->data, m.bytes.data(), static_cast<size_t>(m.size())), 0)
        << "step " << step << ": " << m.type << " " << m.planes << " planes, " << m.dimcount << " dims";
    send_words(x, "lock", save);
}

TEST_F(Library, random_messages_do_as_the_model)
{
    report_catcher reports;
    for (long round = 0; round < 200; round++) {
        model m;
        m.flags = one_of({0L, 0L, long{vok_matrix_flag_packed}});
        const bool handle = roll(0, 3) == 0;
        const matrix x("char", 4, {1, 1}, m.flags | (handle ? vok_matrix_flag_handle | vok_matrix_flag_use : 0L));
        m.lay_out();
        for (long step = 0; step < 500; step++) {
            std::vector<atom> list;
            switch (roll(0, 9)) {
            case 0: { // a new shape, sometimes the same one
                vok_matrix_info info;
                send_words(x, "getinfo", as_word(&info));
                if (roll(0, 3)) {
                    info.type = gensym(m.type = one_of({"char", "long", "float32", "float64"}));
                    m.planes = info.planecount = roll(1, 5);
                    m.dimcount = info.dimcount = roll(0, 4);
                    for (long i = 0; i < m.dimcount; i++)
                        m.dim[i] = std::max(info.dim[i] = roll(-1, 5), 1L);
                    if (info.type != x->info.type || info.planecount != x->info.planecount ||
                        info.dimcount != x->info.dimcount ||
                        !std::equal(info.dim, info.dim + info.dimcount, x->info.dim))
                        m.lay_out();
                }
                ASSERT_EQ(send_words(x, "setinfo", as_word(&info)), 0);
                break;
            }
            case 1:
                list = random_list(6);
                ASSERT_EQ(vok_matrix_setall(x, nullptr, static_cast<long>(list.size()), list.data()), 0);
                m.setall(list);
                break;
            case 2:
                list = random_list(3);
                ASSERT_EQ(vok_matrix_fillplane(x, nullptr, static_cast<long>(list.size()), list.data()), 0);
                m.fillplane(list);
                break;
            case 3: { // getcell of anything answers or refuses
                list = random_list(5);
                long rac = 0;
                atom *rav = nullptr;
                const long err =
                    vok_matrix_getcell(x, nullptr, static_cast<long>(list.size()), list.data(), &rac, &rav);
                ASSERT_TRUE(err == 0 || err == VOK_ERR_OBND);
                if (rav) {
                    ASSERT_EQ(rac, m.dimcount + m.planes + 1);
                }
                sysmem_freeptr(rav);
                break;
            }
            default:
                list = random_cell_list(m);
                ASSERT_EQ(vok_matrix_setcell(x, nullptr, static_cast<long>(list.size()), list.data()),
                          m.setcell(list))
                    << "round " << round << " step " << step;
            }
            ASSERT_NO_FATAL_FAILURE(expect_equal(x, m, step));
        }
    }
}

TEST_F(Library, wild_infos_leave_a_usable_matrix)
{
    report_catcher reports;
    const matrix x("char", 4, {1, 1});
    symbol *const types[] = {_vok_sym_char,    _vok_sym_long,    _vok_sym_float32,
                             _vok_sym_float64, _vok_sym_symbol,  _vok_sym_object,
                             _vok_sym_pointer, _vok_sym_nothing, nullptr};
    for (int i = 0; i < 20000; i++) {
        vok_matrix_info info = {};
        info.type = types[roll(0, 8)];
        info.planecount = roll(-2, 40);
        info.dimcount = roll(0, 9) ? roll(0, 5) : one_of({-1L, 33L, 64L, std::numeric_limits<long>::max()});
        info.flags = one_of({0L, 0L, long{vok_matrix_flag_packed}, long{vok_matrix_flag_handle},
                             long{vok_matrix_flag_handle | vok_matrix_flag_packed}});
        for (long &dim : info.dim)
            dim = roll(0, 50) ? roll(-1, info.dimcount > 5 ? 1 : 3)
                              : one_of({1L << 31, 1L << 62, std::numeric_limits<long>::max(), -5L});
        const long err = send_words(x, roll(0, 1) ? "setinfo" : "setinfo_ex", as_word(&info));
        ASSERT_TRUE(err == 0 || err == VOK_ERR_OMEM);
        ASSERT_GE(x->info.dimcount, 0);
        ASSERT_LE(x->info.dimcount, 32);
        ASSERT_GE(x->info.planecount, 1);
        ASSERT_LE(x->info.planecount, 32);
        message(x, "setall", "1 2 3");
        message(x, "setcell", "0 plane 0 val 1");
        message(x, "fillplane", "32 1");
        send_words(x, "clear_custom", i);
        send_words(x, "clear");
        cell(x, "0 0");
    }
}

} // namespace

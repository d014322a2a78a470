// A hundred thousand random messages to one matrix after another, held against a model
// that keeps its own bytes by the rules alone. Under the sanitizers every byte that a
// message touches is watched.
#include "matrix/matrix_tools.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>

#include <vokra/memory.h>

#include "kernel/quick_class.h"
#include "matrix/copy_model.h"
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

struct model {
    vok_matrix_info info;
    // the cells with their padding and 8 bytes more: what a value one plane past the last
    // of all may touch
    std::vector<unsigned char> bytes;

    explicit model(long flags)
    {
        vok_matrix_info_default(&info);
        info.flags = flags;
        lay_out();
    }

    long element() const { return copy_model::bytes_of(copy_model::kind_of(info.type)); }

    void lay_out()
    {
        info.size = info.planecount * element();
        for (long k = 0; k < 32; k++) {
            info.dim[k] = k < info.dimcount ? std::max(info.dim[k], 1L) : 1;
            info.dimstride[k] = k < info.dimcount ? info.size : 0;
            info.size *= info.dim[k];
            if (k == 0 && info.dimcount > 0 && !(info.flags & vok_matrix_flag_packed))
                info.size = (info.size + 15) / 16 * 16;
        }
        bytes.assign(static_cast<size_t>(info.size) + 8, 0);
    }

    // The shape that is there keeps the cells. Compared as it comes: a value that has to be
    // brought into its range is always a new shape. True for a new one.
    bool take(const vok_matrix_info &wanted)
    {
        if (info.type == wanted.type && info.planecount == wanted.planecount && info.dimcount == wanted.dimcount &&
            std::equal(info.dim, info.dim + info.dimcount, wanted.dim))
            return false;
        const long flags = info.flags;
        info = wanted;
        info.flags = flags;
        info.planecount = std::clamp(info.planecount, 1L, 32L);
        lay_out();
        return true;
    }

    void put(long at, const atom *a)
    {
        const char kind = copy_model::kind_of(info.type);
        if (at >= 0 && at + element() <= static_cast<long>(bytes.size()))
            copy_model::store(kind, &bytes[static_cast<size_t>(at)],
                              !a            ? 0
                              : kind == 'c' ? static_cast<double>(atom_getcharfix(a))
                              : kind == 'l' ? static_cast<int32_t>(atom_getlong(a))
                                            : atom_getfloat(a));
    }

    // Runs f(offset) on every cell of n dimensions.
    template <typename F> void each_cell(long n, long at, const F &f)
    {
        if (n == 0)
            return f(at);
        for (long i = 0; i < info.dim[n - 1]; i++)
            each_cell(n - 1, at + i * info.dimstride[n - 1], f);
    }

    // The offset of the cell at the first `count` coordinates, -1 outside.
    long cell_at(const std::vector<atom> &list, long count) const
    {
        long at = 0;
        for (long k = 0; k < std::min(count, info.dimcount); k++) {
            const long c = atom_getlong(&list[static_cast<size_t>(k)]);
            if (c < 0 || c >= info.dim[k])
                return -1;
            at += c * info.dimstride[k];
        }
        return at;
    }

    // The values from list[first] on, into a cell or into one plane.
    long write(long at, const std::vector<atom> &list, long first, const long *plane)
    {
        const auto value = [&](long i) { return i < static_cast<long>(list.size()) ? &list[size_t(i)] : nullptr; };
        if (at < 0 || (plane && *plane >= info.planecount))
            return VOK_ERR_OBND;
        for (long p = 0; !plane && p < info.planecount; p++)
            put(at + p * element(), value(first + p));
        if (plane && value(first) && *plane > -1000000)
            put(at + *plane * element(), value(first));
        return 0;
    }

    long setcell(const std::vector<atom> &list)
    {
        if (list.empty())
            return 0;
        const auto is = [&](size_t i, const char *w) {
            return i < list.size() && atom_getsym(&list[i]) == gensym(w);
        };
        size_t i = 0;
        while (i < list.size() && !is(i, "val") && !is(i, "plane"))
            i++;
        const long at = i == list.size() || i > 32 ? -1 : cell_at(list, long(i));
        if (at < 0 || is(i, "val"))
            return write(at, list, long(i) + 1, nullptr);
        const long plane = i + 1 < list.size() ? atom_getlong(&list[i + 1]) : 0;
        return is(i + 2, "val") ? write(at, list, long(i) + 3, &plane) : long{VOK_ERR_OBND};
    }

    // The forms without words.
    void set_short(const std::vector<atom> &list, long coordinates, bool has_plane)
    {
        if (static_cast<long>(list.size()) < coordinates + has_plane)
            return;
        const long plane = has_plane ? atom_getlong(&list[size_t(coordinates)]) : 0;
        write(cell_at(list, coordinates), list, coordinates + has_plane, has_plane ? &plane : nullptr);
    }

    void setall(std::vector<atom> list)
    {
        if (list.size() == 1)
            list.assign(static_cast<size_t>(info.planecount), list[0]);
        if (!list.empty())
            each_cell(info.dimcount, 0, [&](long at) { write(at, list, 0, nullptr); });
    }

    void fillplane(const std::vector<atom> &list)
    {
        if (list.empty())
            return;
        const long plane = std::clamp(long{atom_getlong(&list[0])}, 0L, info.planecount);
        each_cell(info.dimcount, 0,
                  [&](long at) { put(at + plane * element(), list.size() > 1 ? &list[1] : nullptr); });
    }
};

atom random_atom(bool wild)
{
    atom a = {};
    switch (roll(0, wild ? 7 : 4)) {
    case 0:
    case 1: atom_setlong(&a, roll(0, 5)); break;
    case 2: atom_setlong(&a, roll(-3, 300)); break;
    case 3:
    case 4: atom_setfloat(&a, static_cast<double>(roll(-20, 300)) / 16); break;
    case 5: atom_setlong(&a, one_of({LONG_MIN, LONG_MAX, 1L << 40})); break;
    case 6: atom_setfloat(&a, one_of({1e300, -1e300, std::nan(""), HUGE_VAL})); break;
    default: atom_setsym(&a, gensym(one_of({"val", "plane", "quux", ""})));
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
std::vector<atom> random_cell_list(const vok_matrix_info &info)
{
    if (roll(0, 5) == 0)
        return random_list(40);
    std::vector<atom> list;
    const auto add_long = [&](long v) { atom_setlong(&list.emplace_back(), v); };
    const auto add_word = [&](const char *w) { atom_setsym(&list.emplace_back(), gensym(w)); };
    for (long i = 0; i < roll(0, info.dimcount + 1); i++)
        add_long(roll(roll(0, 20) ? 0 : -1, i < info.dimcount && roll(0, 20) ? info.dim[i] - 1 : 40));
    if (roll(0, 1)) {
        add_word("plane");
        add_long(roll(0, 20) ? roll(-2, info.planecount) : one_of({LONG_MIN, LONG_MIN / 2, -9L, LONG_MAX}));
    }
    add_word("val");
    for (long i = roll(0, info.planecount + 1); i > 0; i--)
        list.push_back(random_atom(roll(0, 9) == 0));
    return list;
}

// A client that hears of changes.
struct ear {
    object header;
    std::string *heard;
};

// Changes the shape by one of the roads there are, sometimes to the one that it has, and
// gives what clients are to hear of it.
std::string reshape(vok_matrix *x, model &m)
{
    vok_matrix_info wanted = m.info, got = m.info;
    if (roll(0, 3)) {
        wanted.type = one_of({_vok_sym_char, _vok_sym_long, _vok_sym_float32, _vok_sym_float64});
        wanted.planecount = roll(0, 20) ? roll(-1, 5) : roll(31, 40);
        wanted.dimcount = roll(0, 4);
        std::generate_n(wanted.dim, 4, [] { return roll(-1, 5); });
    }
    wanted.size = 99; // it means nothing, nor do strides and what stands beyond dimcount
    std::fill_n(wanted.dimstride, 32, 99);
    std::fill(wanted.dim + wanted.dimcount, wanted.dim + 32, 77L);
    wanted.flags = one_of({0L, long{vok_matrix_flag_packed}});
    std::vector<atom> list(2);
    atom_setlong(&list[0], wanted.planecount);
    atom_setsym(&list[1], wanted.type);
    for (long k = 0; k < wanted.dimcount; k++)
        atom_setlong(&list.emplace_back(), wanted.dim[k]);
    const unsigned char *before = x->data;
    const long road = roll(0, 6), count = roll(0, static_cast<long>(list.size()));
    std::string last = " setinfo";
    if (road == 0) {
        EXPECT_EQ(send_words(x, "setinfo", as_word(&wanted)), 0);
        got = wanted;
    } else if (road == 1) { // takes flags; what is a block becomes a handle with the next new shape
        wanted.flags |= roll(0, 3) ? m.info.flags & vok_matrix_flag_handle : long{vok_matrix_flag_handle};
        EXPECT_EQ(send_words(x, "setinfo_ex", as_word(&wanted)), 0);
        got = wanted;
        m.info.flags = wanted.flags;
    } else if (road == 2) { // as many atoms as are given
        vok_object_method_typed(x, _vok_sym_setinfo, count, list.data(), nullptr);
        got.planecount = count > 0 ? std::clamp(wanted.planecount, 1L, 32L) : got.planecount;
        got.type = count > 1 ? wanted.type : got.type;
        got.dimcount = count > 2 ? count - 2 : got.dimcount;
        std::copy_n(wanted.dim, std::max(count - 2, 0L), got.dim);
    } else if (road == 3) { // no info: the default, flags and all
        EXPECT_EQ(send_words(x, "setinfo", 0), 0);
        vok_matrix_info_default(&got);
        m.info.type = nullptr;
        m.info.flags = 0;
    } else { // the attributes bring values into their range first
        const char *name = road == 4 ? "planecount" : road == 5 ? "type" : "dim";
        object_attr_setvalueof(x, gensym(name), road < 6 ? 1 : wanted.dimcount, list.data() + road - 4);
        std::transform(wanted.dim, wanted.dim + 32, wanted.dim, [](long extent) { return std::max(extent, 1L); });
        got = road == 6 ? wanted : got;
        got.type = road == 5 ? wanted.type : m.info.type;
        got.planecount = road == 4 ? std::clamp(wanted.planecount, 1L, 32L) : m.info.planecount;
        last = "";
    }
    if (m.take(got))
        return " rebuilding modified" + last;
    EXPECT_EQ(x->data, before);
    return last;
}

// Asks for a cell and writes the answer into the model, where it is to change nothing.
void ask_cell(vok_matrix *x, model &m)
{
    std::vector<atom> list = random_list(5);
    const long given = static_cast<long>(list.size()), at = m.cell_at(list, given), values = m.info.dimcount + 1;
    long rac = 7;
    atom *rav = nullptr;
    ASSERT_EQ(vok_matrix_getcell(x, nullptr, given, list.data(), &rac, &rav), at < 0 ? long{VOK_ERR_OBND} : 0);
    ASSERT_EQ(rav == nullptr, list.empty() || at < 0);
    ASSERT_EQ(rac, rav ? values + m.info.planecount : 0);
    for (long i = 0; rav && i < m.info.dimcount; i++)
        ASSERT_EQ(atom_getlong(rav + i), i < given ? atom_getlong(&list[size_t(i)]) : 0);
    ASSERT_TRUE(!rav || atom_getsym(rav + values - 1) == gensym("val"));
    for (long p = 0; rav && p < m.info.planecount; p++)
        if (!std::isnan(atom_getfloat(rav + values + p))) // an atom makes NaN quiet
            m.put(at + p * m.element(), rav + values + p);
    if (rav)
        vok_freebytes(rav, rac * long{sizeof(atom)});
}

void expect_equal(vok_matrix *x, const model &m)
{
    ASSERT_EQ(std::memcmp(&x->info, &m.info, sizeof m.info), 0);
    ASSERT_EQ(send_words(x, "lock", 1), 0) << "every message gives its lock back";
    ASSERT_TRUE(!x->rawdata || reinterpret_cast<uintptr_t>(x->data) % 16 == 0);
    ASSERT_EQ(std::memcmp(x->data, m.bytes.data(), static_cast<size_t>(m.info.size)), 0);
    send_words(x, "lock", 0);
}

TEST_F(Library, random_messages_do_as_the_model)
{
    report_catcher reports;
    quick_class ears("test_ear", sizeof(ear));
    ears.message("notify", [](ear *x, symbol *, symbol *word, void *, void *) {
        *x->heard += std::string(" ") + word->name;
    });
    auto *client = static_cast<ear *>(vok_object_alloc(ears.c));
    std::string heard, expected;
    client->heard = &heard;
    std::vector<atom> list;
    _vok_memreg = 2; // whatever comes and goes out of turn is reported
    for (long round = 0; round < 200; round++) {
        model m(one_of({0L, 0L, long{vok_matrix_flag_packed}}) | (roll(0, 3) ? 0 : vok_matrix_flag_handle));
        const matrix x("char", 4, {1, 1}, m.info.flags | vok_matrix_flag_use);
        symbol *name = vok_symbol_unique();
        vok_object_register(x, name);
        vok_object_attach(name, client);
        heard = expected = "";
        const auto send_list = [&](const char *selector) {
            return send_words(x, selector, 0, static_cast<long>(list.size()), as_word(list.data()));
        };
        for (long step = 0; step < 500; step++) {
            SCOPED_TRACE("round " + std::to_string(round) + " step " + std::to_string(step));
            const long kind = roll(0, 12);
            if (kind == 0) {
                expected += reshape(x, m);
            } else if (kind == 1) {
                list = random_list(6);
                ASSERT_EQ(send_list("setall"), 0);
                m.setall(list);
            } else if (kind == 2) {
                list = random_list(3);
                ASSERT_EQ(send_list("fillplane"), 0);
                m.fillplane(list);
            } else if (kind == 3) { // zeros, or four bytes, highest first
                const long value = roll(0, 1) ? roll(0, 1L << 40) : 0, whole = m.info.size / 4 * 4;
                ASSERT_EQ(send_words(x, value ? "clear_custom" : "clear", value), 0);
                for (long i = 0; i < m.info.size; i++)
                    m.bytes[size_t(i)] = static_cast<unsigned char>(value >> (i < whole ? 24 - i % 4 * 8 : 24));
            } else if (kind < 6) {
                ASSERT_NO_FATAL_FAILURE(ask_cell(x, m));
            } else if (kind < 8) {
                const long coordinates = roll(1, 3), plane = roll(0, 1);
                list = random_list(roll(0, 20) ? 9 : 120);
                list.resize(std::min(list.size(), size_t{100})); // no more are taken
                const std::string form = (plane ? "setplane" : "setcell") + std::to_string(coordinates) + "d";
                ASSERT_EQ(send_list(form.c_str()), 0);
                m.set_short(list, coordinates, plane);
            } else {
                list = random_cell_list(m.info);
                ASSERT_EQ(send_list("setcell"), m.setcell(list));
            }
            ASSERT_NO_FATAL_FAILURE(expect_equal(x, m));
            ASSERT_EQ(heard, expected);
        }
        vok_object_detach(name, client);
    }
    _vok_memreg = 0;
    vok_object_free(client);
    for (const std::string &text : reports.take())
        EXPECT_EQ(text.find("vok_memory_"), std::string::npos) << text;
}

TEST_F(Library, wild_infos_leave_a_usable_matrix)
{
    report_catcher reports;
    const matrix x("char", 4, {1, 1});
    for (int i = 0; i < 20000; i++) {
        vok_matrix_info info = {};
        info.type = one_of({_vok_sym_char, _vok_sym_long, _vok_sym_float32, _vok_sym_float64, _vok_sym_symbol,
                            _vok_sym_object, _vok_sym_pointer, _vok_sym_nothing, static_cast<symbol *>(nullptr)});
        info.planecount = roll(-2, 40);
        info.dimcount = roll(0, 9) ? roll(0, 5) : one_of({-1L, 33L, 64L, LONG_MAX});
        info.flags = roll(0, 7) * vok_matrix_flag_handle;                // handle, reference and packed
        const auto extremes = {1L << 31, (1L << 62) + 1, LONG_MAX, -5L}; // one wraps round to a few bytes
        for (long &dim : info.dim)
            dim = roll(0, 50) ? roll(-1, info.dimcount > 5 ? 1 : 3) : one_of(extremes);
        const long err = send_words(x, roll(0, 1) ? "setinfo" : "setinfo_ex", as_word(&info));
        ASSERT_TRUE(x->info.dimcount >= 0 && x->info.dimcount <= 32);
        ASSERT_TRUE(x->info.planecount >= 1 && x->info.planecount <= 32);
        const bool cells = !err && !(x->info.flags & vok_matrix_flag_reference);
        if (err) { // the shape stays as asked
            ASSERT_EQ(err, VOK_ERR_OMEM);
            ASSERT_TRUE(x->info.size == 0 && !x->rawdata && x->info.dim[0] == std::max(info.dim[0], 1L));
            ASSERT_NE(reports.take(zan_report_error).at(0).find("could not allocate matrix"), std::string::npos);
        }
        message(x, "setall", "1 2 3");
        ASSERT_EQ(message(x, "setcell", "0 plane 0 val 1"), cells ? 0 : VOK_ERR_OBND);
        message(x, "fillplane", "32 1");
        ASSERT_EQ(send_words(x, "clear_custom", i), cells ? 0 : VOK_ERR_EROR);
        ASSERT_EQ(send_words(x, "clear"), cells ? 0 : VOK_ERR_EROR);
        ASSERT_EQ(cell(x, "0 0").empty(), !cells);
    }
}

} // namespace

// The table of operators as data, and the kernels in use, for the files of this room.
#pragma once
#include <array>
#include <string_view>

#include "calc/vok.op.table.h"

namespace vok::op {

struct row {
    const char *word;
    std::string_view sign;
    long inputs;
    const char *help;
};

#define VOKRA_OP_ROW(body, word, sign, inputs, domain, help) {word, sign, inputs, help},
inline constexpr row rows[] = {VOKRA_OPERATORS(VOKRA_OP_ROW)};
#undef VOKRA_OP_ROW

// The menu of the attribute "op", blank-separated: the sign of a row or, without one, its
// word. A lone "-" would read as the start of a number, so the word stands there, and
// "ln" and "log" are both in use.
inline constexpr auto menu = [] {
    std::array<char, 512> text{};
    size_t length = 0;
    const auto append = [&](std::string_view word) {
        if (length)
            text[length++] = ' ';
        for (const char c : word)
            text[length++] = c;
    };
    for (const row &r : rows) {
        const bool has_sign = !r.sign.empty() && r.sign != "-";
        if (!has_sign || r.sign == "log")
            append(r.word);
        if (has_sign)
            append(r.sign);
    }
    return text;
}();

// The kernels of the instruction set in use.
const kernel_table &kernels();

// What a vector function takes: nothing much, long, or not known since it comes from
// elsewhere. `type` is one of type_char and so on.
enum class cost { cheap, dear, unknown };
cost cost_of(vok_op_vector_fn fn, int type);
// Whether it is a function of the mathematics library, which takes longer than reading its result.
bool is_library(vok_op_vector_fn fn, int type);

} // namespace vok::op

// vokra op: one operator word over files and numbers.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>

#include "files.h"
#include "verbs.h"

namespace program {
namespace {

struct op_options {
    std::string word, out;
    std::vector<std::string> operands; // a file, then a file or numbers
    bool alpha = false;
};

std::vector<std::string> known_words()
{
    long count = 0;
    symbol **keys = nullptr;
    hashtab_getkeys(_vok_op_fn_hashtab, &count, &keys);
    return texts_of(count, keys);
}

// All of a text as a number.
bool read_number(const std::string &text, double &value)
{
    char *end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && !*end;
}

// A matrix like `like`, each plane filled with its number, or all with the only one.
matrix constant(const vok_matrix_info &like, const std::vector<double> &numbers)
{
    matrix m(like);
    std::vector<atom> values(static_cast<size_t>(like.planecount));
    // A char cell takes whole numbers from 0 to 255, as it holds them.
    const bool whole = like.type == gensym("char") || like.type == gensym("long");
    for (size_t p = 0; p < values.size(); ++p) {
        const double v = numbers[p % numbers.size()];
        if (whole)
            atom_setlong(&values[p], static_cast<zan_word>(std::clamp(v, -2147483648.0, 2147483647.0)));
        else
            atom_setfloat(&values[p], v);
    }
    vok_matrix_setall(static_cast<vok_matrix *>(m.get()), gensym("setall"), like.planecount, values.data());
    return m;
}

// The second operand, brought to the first one's format.
matrix second_operand(const op_options &o, const vok_matrix_info &like)
{
    std::vector<double> numbers;
    for (size_t i = 1; i < o.operands.size(); ++i) {
        double value = 0;
        if (read_number(o.operands[i], value))
            numbers.push_back(value);
    }
    if (numbers.size() + 1 == o.operands.size()) {
        if (numbers.size() != 1 && numbers.size() != static_cast<size_t>(like.planecount))
            throw failure(wrong_use, "op " + o.word + ": one number, or one for each of the " +
                                         std::to_string(like.planecount) + " planes, not " +
                                         std::to_string(numbers.size()));
        return constant(like, numbers);
    }
    if (o.operands.size() != 2)
        throw failure(wrong_use,
                      "op " + o.word + ": one file, or one number a plane, must stand behind the first file");
    const loaded other = load(o.operands[1]);
    matrix m(like);
    send(m.get(), "frommatrix", other.cells.get(), nullptr);
    return m;
}

void run_op(const op_options &o)
{
    format_to_write(o.out);
    symbol *word = gensym(o.word.c_str());
    const vok_op_fn *fn = vok_op_fn_lookup(word);
    if (!fn)
        throw failure(wrong_use, "op: there is no operator " + o.word + did_you_mean(o.word, known_words()));
    if (fn->inputcount == 2 && o.operands.size() < 2)
        throw failure(wrong_use, "op " + o.word + ": it takes two inputs: a second file or numbers are missing");
    if (fn->inputcount == 1 && o.operands.size() > 1)
        throw failure(wrong_use, "op " + o.word + ": it takes one input, " + o.operands[1] + " is one too many");

    loaded first = load(o.operands[0]);
    vok_matrix_info info = first.cells.info();
    info.flags = 0;
    matrix second = fn->inputcount == 2 ? second_operand(o, info) : matrix(info), out(info);

    // The alpha of a picture stays as it is unless it is asked for.
    std::vector<atom> words(first.is_picture() && !o.alpha ? 4 : 1);
    for (atom &a : words)
        atom_setsym(&a, word);
    if (words.size() > 1)
        atom_setsym(&words[0], gensym("pass"));

    const owned op(vok_object_new(gensym("vok_op")));
    object_attr_setvalueof(op.get(), gensym("op"), static_cast<long>(words.size()), words.data());
    const list inputs{first.cells.get(), second.get()};
    if (send(op.get(), "matrix_calc", inputs.get(), out.get()) != VOK_ERR_NONE)
        throw failure(failed_running, "op " + o.word + ": the calculation failed on " + matrix::shape_text(info));
    save(out, o.out, first.dpi);
}

} // namespace

void add_op(CLI::App &app)
{
    auto o = std::make_shared<op_options>();
    CLI::App *verb =
        app.add_subcommand("op", "Apply an operator to every cell of a file, with a second file or numbers. The "
                                 "alpha of a picture stays as "
                                 "it is; char cells hold 0 to 255. `vokra help vok_op` lists the operators.\n"
                                 "Example: vokra op absdiff photo.jpg other.png -o difference.png");
    verb->add_option("word", o->word, "the operator")->required();
    verb->add_option("operands", o->operands,
                     "a file, then a second file, a number, or one number a plane (of a picture alpha first)")
        ->required();
    verb->add_option("-o,--out", o->out, "the file to write")->required();
    verb->add_flag("--alpha", o->alpha, "calculate the alpha of a picture too");
    verb->callback([o] { run_op(*o); });
}

} // namespace program

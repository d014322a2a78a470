// vokra la: linear algebra on matrices that are written as text or stand in files.
#include <cctype>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include "files.h"
#include "verbs.h"

namespace program {
namespace {

using number = std::complex<double>;

struct la_options {
    std::string what, out, type = "float64";
    std::vector<std::string> operands;
    double thresh = 1e-9;
};

struct operation {
    const char *word;
    const char *class_name;
    size_t inputs;
    bool number; // the result is one, not a matrix
};
constexpr operation operations[] = {
    {"mult", "vok_la_mult", 2, false},
    {"inverse", "vok_la_inverse", 1, false},
    {"uppertri", "vok_la_uppertri", 1, false},
    {"determinant", "vok_la_determinant", 1, true},
    {"diagproduct", "vok_la_diagproduct", 1, true},
    {"trace", "vok_la_trace", 1, true},
};

std::vector<std::string> words()
{
    std::vector<std::string> all;
    for (const operation &o : operations)
        all.emplace_back(o.word);
    return all;
}

// ---- matrices as text: rows end with a line or a semicolon, numbers with a blank or a
// comma; a complex number is written 1+2i, without blanks ----

class reader {
  public:
    reader(const std::string &text, const std::string &name) : text_(text), name_(name) {}

    std::vector<std::vector<number>> rows()
    {
        std::vector<std::vector<number>> all(1);
        while (at_ < text_.size()) {
            const char c = text_[at_];
            if (c == '\n' || c == ';') {
                if (!all.back().empty())
                    all.emplace_back();
                line_ += c == '\n';
                at_++;
            } else if (c == ',' || std::isspace(static_cast<unsigned char>(c)))
                at_++;
            else
                all.back().push_back(one());
        }
        if (all.back().empty())
            all.pop_back();
        if (all.empty())
            fail("there is no number in it");
        for (size_t r = 1; r < all.size(); r++)
            if (all[r].size() != all[0].size())
                throw failure(file_trouble, name_ + ": row " + std::to_string(r + 1) + " has " +
                                                std::to_string(all[r].size()) + " numbers, row 1 has " +
                                                std::to_string(all[0].size()));
        return all;
    }

  private:
    [[noreturn]] void fail(const std::string &what) const
    {
        throw failure(file_trouble, name_ + ", line " + std::to_string(line_) + ": " + what);
    }
    number one()
    {
        const size_t start = at_;
        double first = real(start), second = 0;
        if (at_ < text_.size() && text_[at_] == 'i') {
            second = first;
            first = 0;
            at_++;
        } else if (at_ < text_.size() && (text_[at_] == '+' || text_[at_] == '-')) {
            second = real(start);
            if (at_ >= text_.size() || text_[at_++] != 'i')
                refuse(start);
        }
        if (at_ < text_.size() && !std::strchr(" \t\r\n,;", text_[at_]))
            refuse(start);
        return {first, second};
    }
    double real(size_t start)
    {
        at_ += at_ < text_.size() && text_[at_] == '+';
        double value = 0;
        const auto [end, error] = std::from_chars(text_.data() + at_, text_.data() + text_.size(), value);
        if (error != std::errc())
            refuse(start);
        at_ = static_cast<size_t>(end - text_.data());
        return value;
    }
    [[noreturn]] void refuse(size_t start) const
    {
        fail("a number was expected, not " + text_.substr(start, text_.find_first_of(" \t\r\n,;", start) - start));
    }
    const std::string &text_, name_;
    size_t at_ = 0;
    long line_ = 1;
};

void put(unsigned char *p, bool single, double value)
{
    const auto narrow = static_cast<float>(value);
    std::memcpy(p, single ? static_cast<const void *>(&narrow) : &value, single ? sizeof narrow : sizeof value);
}

double get(const unsigned char *p, bool single)
{
    float narrow = 0;
    double value = 0;
    std::memcpy(single ? static_cast<void *>(&narrow) : &value, p, single ? sizeof narrow : sizeof value);
    return single ? static_cast<double>(narrow) : value;
}

matrix from_text(const std::string &text, const std::string &name, const std::string &type)
{
    const auto rows = reader(text, name).rows();
    bool complex = false;
    for (const auto &row : rows)
        for (const number &n : row)
            complex |= n.imag() != 0;
    vok_matrix_info info = matrix::default_info();
    info.type = gensym(type.c_str());
    info.planecount = complex ? 2 : 1;
    info.dimcount = 2;
    info.dim[0] = static_cast<long>(rows[0].size());
    info.dim[1] = static_cast<long>(rows.size());
    matrix m(info);
    info = m.info();
    const bool single = type == "float32";
    for (size_t r = 0; r < rows.size(); r++)
        for (size_t c = 0; c < rows[r].size(); c++) {
            unsigned char *p =
                m.data() + static_cast<long>(r) * info.dimstride[1] + static_cast<long>(c) * info.dimstride[0];
            put(p, single, rows[r][c].real());
            if (complex)
                put(p + info.dimstride[0] / 2, single, rows[r][c].imag());
        }
    return m;
}

std::string whole_text(std::istream &in)
{
    return {std::istreambuf_iterator<char>(in), {}};
}

bool is_text(const std::string &bytes)
{
    return !bytes.empty() && bytes.find_first_not_of("0123456789+-.eEi,; \t\r\nnaf") == std::string::npos;
}

// A file of text or of cells, standard input, or the text itself.
matrix operand(const std::string &what, const std::string &type)
{
    if (what == "-")
        return from_text(whole_text(std::cin), "standard input", type);
    std::ifstream in(what, std::ios::binary);
    if (!in && (is_text(what) || what.find(';') != std::string::npos))
        return from_text(what, "\"" + what + "\"", type);
    if (in)
        if (const std::string text = whole_text(in); is_text(text))
            return from_text(text, what, type);
    const loaded file = load(what);
    vok_matrix_info info = file.cells.info();
    if (info.type != gensym("float32") && info.type != gensym("float64"))
        throw failure(wrong_use, what + ": it holds " + matrix::shape_text(info) +
                                     "; linear algebra takes float32 or float64 of 1 or 2 planes");
    info.type = gensym(type.c_str());
    info.flags = 0;
    matrix m(info);
    send(m.get(), "frommatrix", file.cells.get(), nullptr);
    return m;
}

std::string text_of(number n, bool complex, bool single)
{
    const auto part = [&](double v) {
        char buffer[64];
        const auto end = single ? std::to_chars(buffer, buffer + sizeof buffer, static_cast<float>(v)).ptr
                                : std::to_chars(buffer, buffer + sizeof buffer, v).ptr;
        return std::string(buffer, end);
    };
    std::string text = part(n.real());
    if (complex)
        text += (std::signbit(n.imag()) ? "" : "+") + part(n.imag()) + "i";
    return text;
}

void print(const matrix &m)
{
    const vok_matrix_info info = m.info();
    const bool single = info.type == gensym("float32"), complex = info.planecount == 2;
    for (long r = 0; r < info.dim[1]; r++)
        for (long c = 0; c < info.dim[0]; c++) {
            const unsigned char *p = m.data() + r * info.dimstride[1] + c * info.dimstride[0];
            const number n(get(p, single), complex ? get(p + info.dimstride[0] / 2, single) : 0);
            std::printf("%s%c", text_of(n, complex, single).c_str(), c + 1 < info.dim[0] ? ' ' : '\n');
        }
}

std::string why(zan_word error, const std::vector<matrix> &in)
{
    std::string shapes;
    for (const matrix &m : in)
        shapes += (shapes.empty() ? "" : " and ") + matrix::shape_text(m.info());
    switch (error) {
    case VOK_ERR_MSDM: return "the sizes don't fit: " + shapes;
    case VOK_ERR_MSPL: return "the planes don't fit: " + shapes + "; 1 is real, 2 complex, in both alike";
    case VOK_ERR_EROR: return "the matrix is singular: " + shapes;
    default: return "the calculation failed on " + shapes;
    }
}

void run_la(const la_options &o)
{
    const operation *op = nullptr;
    for (const operation &candidate : operations)
        if (o.what == candidate.word)
            op = &candidate;
    if (!op)
        throw failure(wrong_use, "la: there is no operation " + o.what + did_you_mean(o.what, words()));
    if (o.operands.size() != op->inputs)
        throw failure(wrong_use, "la " + o.what + ": it takes " +
                                     (op->inputs == 1 ? "one matrix" : "two matrices") + ", not " +
                                     std::to_string(o.operands.size()));
    if (op->number && !o.out.empty())
        throw failure(wrong_use, "la " + o.what + ": the result is a number, which is printed");
    if (const file_format f = o.out.empty() ? file_format::vkf : format_to_write(o.out);
        f != file_format::vkf && f != file_format::npy)
        throw failure(wrong_use, "la: " + o.out + ": a matrix is written as .vkf or .npy");
    std::vector<matrix> in;
    for (const std::string &operand_text : o.operands)
        in.push_back(operand(operand_text, o.type));
    vok_matrix_info info = in[0].info();
    info.flags = 0;
    matrix out(info);
    const owned x(vok_object_new(gensym(op->class_name)));
    object_attr_setfloat(x.get(), gensym("thresh"), o.thresh);
    const owned holder(
        vok_object_new(gensym("vok_mop"), static_cast<long>(op->inputs), static_cast<long>(!op->number)));
    auto *mop = static_cast<vok_mop *>(holder.get());
    for (size_t i = 0; i < in.size(); i++)
        vok_mop_io_matrix(static_cast<vok_mop_io *>(vok_mop_getinput(mop, static_cast<long>(i) + 1)), in[i].get());
    if (!op->number)
        vok_mop_io_matrix(static_cast<vok_mop_io *>(vok_mop_getoutput(mop, 1)), out.get());
    if (const zan_word error = vok_mop_matrix_calc(mop, x.get()))
        throw failure(failed_running, "la " + o.what + ": " + why(error, in));
    if (op->number) {
        long argc = 0;
        atom *argv = nullptr;
        send(x.get(), "getresult", &argc, &argv);
        const number n(argc > 0 ? atom_getfloat(argv) : 0, argc > 1 ? atom_getfloat(argv + 1) : 0);
        sysmem_freeptr(argv);
        std::printf("%s\n", text_of(n, argc > 1, false).c_str());
    } else if (o.out.empty())
        print(out);
    else
        save(out, o.out);
}

} // namespace

void add_la(CLI::App &app)
{
    auto o = std::make_shared<la_options>();
    CLI::App *verb = app.add_subcommand(
        "la", "Linear algebra: mult, inverse, uppertri, determinant, diagproduct, trace. A matrix is a vkf or npy "
              "file, a text with a row a line, - for such a text on standard input, or the text itself, its rows "
              "ended by semicolons; complex numbers are written 1+2i. The result is printed, or written with -o.\n"
              "Example: vokra la inverse \"0 2; 4 0\"");
    verb->add_option("operation", o->what, "what to calculate")->required();
    verb->add_option("matrices", o->operands, "one or two matrices")->required();
    verb->add_option("-o,--out", o->out, "the vkf or npy file to write");
    verb->add_option("--type", o->type, "the type to calculate in")->check(CLI::IsMember({"float32", "float64"}));
    verb->add_option("--thresh", o->thresh, "below it a magnitude counts as zero");
    verb->callback([o] { run_la(*o); });
}

} // namespace program

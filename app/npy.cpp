// Reading and writing of NumPy array files. The header is a line of Python: a
// dictionary of three entries, in any order and with any spacing.
#include "npy.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>

namespace npy {
namespace {

constexpr std::string_view magic{"\x93NUMPY", 6};
constexpr size_t longest_header = 65536; // ours are 128; NumPy itself reads at most 10000
constexpr size_t most_axes = 64;         // as in NumPy
constexpr long most_dimensions = 32, most_planes = 32;
constexpr bool little = std::endian::native == std::endian::little;

constexpr struct {
    element type;
    std::string_view code; // behind the mark of the byte order
    size_t size;
} elements[] = {
    {element::u1, "u1", 1},
    {element::i4, "i4", 4},
    {element::f4, "f4", 4},
    {element::f8, "f8", 8},
};

// The little of Python that a header is made of. A word that isn't there leaves the
// place as it was.
class words {
  public:
    explicit words(std::string_view text) : rest_(text) {}

    bool take(std::string_view token)
    {
        skip_blanks();
        if (!rest_.starts_with(token))
            return false;
        rest_.remove_prefix(token.size());
        return true;
    }
    bool quoted(std::string &out)
    {
        skip_blanks();
        if (rest_.empty() || (rest_[0] != '\'' && rest_[0] != '"'))
            return false;
        const size_t end = rest_.find(rest_[0], 1);
        if (end == std::string_view::npos || rest_.substr(0, end).find('\\') != std::string_view::npos)
            return false;
        out = rest_.substr(1, end - 1);
        rest_.remove_prefix(end + 1);
        return true;
    }
    // A whole number of 0 or more; the L that old Pythons put behind it is passed over.
    bool number(long &out)
    {
        skip_blanks();
        size_t length = 0;
        long value = 0;
        for (; length < rest_.size() && rest_[length] >= '0' && rest_[length] <= '9'; ++length)
            if (__builtin_mul_overflow(value, 10L, &value) ||
                __builtin_add_overflow(value, long(rest_[length] - '0'), &value))
                return false;
        if (!length)
            return false;
        rest_.remove_prefix(length);
        take("L");
        out = value;
        return true;
    }
    bool at_end()
    {
        skip_blanks();
        return rest_.empty();
    }

  private:
    void skip_blanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size())); }
    std::string_view rest_;
};

struct description {
    std::string descr;
    bool fortran_order = false;
    std::vector<long> shape;
};

bool parse_shape(words &in, std::vector<long> &shape)
{
    if (!in.take("("))
        return false;
    for (bool closed = in.take(")"); !closed;) {
        long extent = 0;
        if (!in.number(extent) || shape.size() == most_axes)
            return false;
        shape.push_back(extent);
        const bool comma = in.take(",");
        closed = in.take(")");
        if (!comma && (!closed || shape.size() == 1)) // "(3)" is a number in Python and no tuple
            return false;
    }
    return true;
}

// False and why, or everything is there exactly once.
bool parse_description(std::string_view text, description &out, std::string &why)
{
    why = "its header can't be understood";
    words in(text);
    bool has_descr = false, has_order = false, has_shape = false;
    if (!in.take("{"))
        return false;
    for (bool closed = in.take("}"); !closed;) {
        std::string key;
        if (!in.quoted(key) || !in.take(":"))
            return false;
        if (key == "descr" && !has_descr) {
            has_descr = true;
            if (!in.quoted(out.descr)) {
                if (in.take("["))
                    why = "its cells are records, not single numbers";
                return false;
            }
        } else if (key == "fortran_order" && !has_order) {
            has_order = true;
            out.fortran_order = in.take("True");
            if (!out.fortran_order && !in.take("False"))
                return false;
        } else if (key == "shape" && !has_shape) {
            has_shape = true;
            if (!parse_shape(in, out.shape))
                return false;
        } else {
            return false;
        }
        const bool comma = in.take(",");
        closed = in.take("}");
        if (!comma && !closed)
            return false;
    }
    if (!in.at_end() || !has_descr || !has_order || !has_shape)
        return false;
    why.clear();
    return true;
}

void swap_bytes(std::string &bytes, size_t size)
{
    for (size_t at = 0; size > 1 && at + size <= bytes.size(); at += size)
        std::reverse(bytes.begin() + static_cast<ptrdiff_t>(at),
                     bytes.begin() + static_cast<ptrdiff_t>(at + size));
}

std::string shape_text(const std::vector<long> &shape)
{
    std::string text = "(";
    for (size_t i = 0; i < shape.size(); ++i)
        text += (i ? ", " : "") + std::to_string(shape[i]);
    return text + (shape.size() == 1 ? ",)" : ")");
}

} // namespace

size_t size_of(element type)
{
    return elements[static_cast<size_t>(type)].size;
}

bool read(std::string_view file, array &out, std::string &why)
{
    const auto byte = [&](size_t at) { return static_cast<size_t>(static_cast<unsigned char>(file[at])); };
    if (!file.starts_with(magic)) {
        why = "this is no NumPy array";
        return false;
    }
    why = "it is cut short in its header";
    if (file.size() < 10)
        return false;
    const size_t version = byte(6);
    if (version < 1 || version > 3) {
        why = "it is of format version " + std::to_string(version) + ", and only 1 to 3 are known";
        return false;
    }
    const size_t start = version == 1 ? 10 : 12;
    if (file.size() < start)
        return false;
    size_t length = byte(8) | byte(9) << 8;
    if (version > 1)
        length |= byte(10) << 16 | byte(11) << 24;
    if (length > longest_header) {
        why = "its header is " + std::to_string(length) + " bytes long, and at most 65536 are read";
        return false;
    }
    if (file.size() - start < length)
        return false;

    description d;
    if (!parse_description(file.substr(start, length), d, why))
        return false;
    const std::string_view code = std::string_view(d.descr).substr(std::min<size_t>(1, d.descr.size()));
    const auto *kind =
        std::find_if(std::begin(elements), std::end(elements), [&](const auto &row) { return row.code == code; });
    const char order = d.descr.empty() ? 0 : d.descr[0];
    if (kind == std::end(elements) || !strchr(kind->size == 1 ? "|<>=" : "<>=", order) || !order) {
        why = "its cells are \"" + d.descr +
              "\", and only uint8, int32, float32 and float64 can be matrix cells (use astype before saving)";
        return false;
    }
    // with at most one axis longer than 1 both orders are the same
    const auto real_axes = std::count_if(d.shape.begin(), d.shape.end(), [](long n) { return n != 1; });
    if (d.fortran_order && real_axes > 1) {
        why = "its cells are in Fortran order (save numpy.ascontiguousarray of it)";
        return false;
    }
    size_t size = kind->size;
    bool overflow = false;
    for (const long n : d.shape)
        overflow = overflow || __builtin_mul_overflow(size, static_cast<size_t>(n), &size);
    const std::string_view cells = file.substr(start + length);
    if (std::find(d.shape.begin(), d.shape.end(), 0L) != d.shape.end())
        size = 0;
    else if (overflow || size > LONG_MAX || cells.size() < size) {
        why = "it is cut short: its header promises " + shape_text(d.shape) + " cells of \"" + d.descr +
              "\", and " + std::to_string(cells.size()) + " bytes follow";
        return false;
    }
    out.type = kind->type;
    out.shape = std::move(d.shape);
    out.bytes = cells.substr(0, size);
    if (order == (little ? '>' : '<'))
        swap_bytes(out.bytes, kind->size);
    why.clear();
    return true;
}

std::string header(element type, const std::vector<long> &shape)
{
    const auto &kind = elements[static_cast<size_t>(type)];
    std::string text = "{'descr': '" +
                       std::string(kind.size == 1 ? "|"
                                   : little       ? "<"
                                                  : ">") +
                       std::string(kind.code) + "', 'fortran_order': False, 'shape': " + shape_text(shape) + ", }";
    const size_t start = magic.size() + 4;
    text.append(63 - (start + text.size()) % 64, ' ');
    text += '\n';
    return std::string(magic) + '\1' + '\0' + static_cast<char>(text.size() & 255) +
           static_cast<char>(text.size() >> 8) + text;
}

bool to_matrix(const std::vector<long> &shape, matrix_shape &out, std::string &why)
{
    if (std::find_if(shape.begin(), shape.end(), [](long n) { return n < 1; }) != shape.end()) {
        why = "an array of shape " + shape_text(shape) + " has no cells";
        return false;
    }
    const bool has_planes = shape.size() > 2 && shape.back() <= most_planes;
    matrix_shape m;
    m.planecount = has_planes ? shape.back() : 1;
    m.dim.assign(shape.rbegin() + (has_planes ? 1 : 0), shape.rend());
    if (m.dim.empty())
        m.dim.push_back(1);
    if (static_cast<long>(m.dim.size()) > most_dimensions) {
        why = "it has " + std::to_string(shape.size()) + " axes, and a matrix has at most 32 dimensions";
        return false;
    }
    out = std::move(m);
    why.clear();
    return true;
}

std::vector<long> from_matrix(const matrix_shape &m)
{
    std::vector<long> shape(m.dim.rbegin(), m.dim.rend());
    if (shape.empty())
        shape.push_back(1);
    if (m.planecount > 1 || shape.size() > 2) {
        if (shape.size() == 1)
            shape.insert(shape.begin(), 1); // else the planes would be read as the first dimension
        shape.push_back(m.planecount);
    }
    return shape;
}

} // namespace npy

// The contact sheet of the functors: tiles in rows, a category after the other, each with its
// name below.
#include <algorithm>
#include <cmath>

#include "letters.h"
#include "noise.h"

namespace program {
namespace {

constexpr long tile = 156, gap = 12, label = 18, columns = 9;

bool descends(char c)
{
    return std::string("gjpqy").find(c) != std::string::npos;
}

// A picture in grey that is drawn into.
class canvas {
  public:
    canvas(long width, long height) : m_(shape(width, height)), stride_(m_.info().dimstride[1])
    {
        for (long y = 0; y < height; ++y)
            std::fill_n(m_.data() + y * stride_, width, static_cast<unsigned char>(24));
    }
    void set(long x, long y, double shade)
    {
        m_.data()[y * stride_ + x] = static_cast<unsigned char>(std::lround(std::clamp(shade, 0.0, 1.0) * 255));
    }
    void text(long x, long y, const std::string &words)
    {
        for (char c : words) {
            const auto *const l = std::find_if(std::begin(letters), std::end(letters),
                                               [c](const letter &each) { return each.sign == c; });
            for (long row = 0; l != std::end(letters) && row < letter_height; ++row)
                for (long column = 0; column < letter_width; ++column)
                    if (l->rows[row] >> (letter_width - 1 - column) & 1)
                        set(x + column, y + row + descends(c), 0.9);
            x += letter_width + 1;
        }
    }
    matrix take() { return std::move(m_); }

  private:
    static vok_matrix_info shape(long width, long height)
    {
        vok_matrix_info info = matrix::default_info();
        info.planecount = 1;
        info.dimcount = 2;
        info.dim[0] = width;
        info.dim[1] = height;
        return info;
    }
    matrix m_;
    long stride_;
};

// The values of a functor along the cells of one row or of a square, as floats.
std::vector<float> values(const std::string &name, std::vector<long> dim, double from, double across)
{
    filling f;
    f.functor = name;
    f.dim = dim;
    f.type = "float32";
    f.origin.assign(dim.size(), from);
    f.scale.assign(dim.size(), across);
    const matrix m = filled(f);
    const vok_matrix_info info = m.info();
    std::vector<float> result;
    for (long y = 0; y < (dim.size() > 1 ? dim[1] : 1); ++y) {
        const auto *row = reinterpret_cast<const float *>(m.data() + y * info.dimstride[1]);
        result.insert(result.end(), row, row + dim[0]);
    }
    return result;
}

void draw_field(canvas &c, long left, long top, const std::vector<float> &field)
{
    const auto [low, high] = std::minmax_element(field.begin(), field.end());
    for (long y = 0; y < tile; ++y)
        for (long x = 0; x < tile; ++x) {
            const float v = field[static_cast<size_t>(y * tile + x)];
            c.set(left + x, top + y, *high > *low ? (v - *low) / (*high - *low) : 0.5);
        }
}

// A curve, with lines at the values 0 and 1.
void draw_curve(canvas &c, long left, long top, const std::vector<float> &curve)
{
    const float low = std::min(0.0f, *std::min_element(curve.begin(), curve.end()));
    const float high = std::max(1.0f, *std::max_element(curve.begin(), curve.end()));
    const auto place = [&](float v) { return std::lround((high - v) / (high - low) * (tile - 1)); };
    for (long y = 0; y < tile; ++y)
        for (long x = 0; x < tile; ++x)
            c.set(left + x, top + y, y == place(0) || y == place(1) ? 0.3 : 0.02);
    long last = place(curve[0]);
    for (long x = 0; x < tile; last = place(curve[static_cast<size_t>(x++)])) {
        const long y = place(curve[static_cast<size_t>(x)]);
        for (long at = std::min(y, last); at <= std::max(y, last); ++at)
            c.set(left + x, top + at, 1);
    }
}

} // namespace

matrix contact_sheet()
{
    const struct {
        const char *name;
        double from, across; // coordinates along each side
    } categories[] = {
        {"noise", 0, 6}, {"fractal", 0, 6}, {"filter", -2, 4}, {"distance", -1, 2}, {"transfer", -0.5, 2}};
    long rows = 0;
    for (const auto &category : categories)
        rows += (static_cast<long>(functor_names(category.name).size()) + columns - 1) / columns;
    canvas c(gap + columns * (tile + gap), gap + rows * (tile + label + gap));
    long row = 0;
    for (const auto &category : categories) {
        long column = 0;
        for (const std::string &name : functor_names(category.name)) {
            if (column == columns) {
                column = 0;
                ++row;
            }
            const long left = gap + column++ * (tile + gap), top = gap + row * (tile + label + gap);
            if (std::string(category.name) == "transfer")
                draw_curve(c, left, top, values(name, {tile}, category.from, category.across));
            else
                draw_field(c, left, top, values(name, {tile, tile}, category.from, category.across));
            c.text(left, top + tile + (label - letter_height) / 2, name);
        }
        ++row;
    }
    return c.take();
}

} // namespace program

// Paints the example picture, an evening harbour, with cairo:
//   g++ -std=c++20 harbour.cpp -o harbour $(pkg-config --cflags --libs cairo) && ./harbour harbour.png
#include <cairo.h>

#include <cmath>
#include <cstdint>

namespace {

constexpr double width = 600, height = 400, horizon = 230;

struct colour {
    double r, g, b;
};

void set(cairo_t *c, colour k, double alpha = 1)
{
    cairo_set_source_rgba(c, k.r, k.g, k.b, alpha);
}

// A repeatable number from 0 to 1.
double chance()
{
    static uint32_t state = 12345;
    state = state * 1664525u + 1013904223u;
    return (state >> 8) / 16777216.0;
}

void sky(cairo_t *c)
{
    cairo_pattern_t *p = cairo_pattern_create_linear(0, 0, 0, horizon);
    cairo_pattern_add_color_stop_rgb(p, 0.0, 0.10, 0.13, 0.33);
    cairo_pattern_add_color_stop_rgb(p, 0.5, 0.48, 0.30, 0.50);
    cairo_pattern_add_color_stop_rgb(p, 0.8, 0.95, 0.52, 0.35);
    cairo_pattern_add_color_stop_rgb(p, 1.0, 1.00, 0.83, 0.50);
    cairo_set_source(c, p);
    cairo_rectangle(c, 0, 0, width, horizon);
    cairo_fill(c);
    cairo_pattern_destroy(p);

    p = cairo_pattern_create_radial(410, 195, 8, 410, 195, 150);
    cairo_pattern_add_color_stop_rgba(p, 0.0, 1, 0.97, 0.8, 1);
    cairo_pattern_add_color_stop_rgba(p, 0.16, 1, 0.9, 0.6, 1);
    cairo_pattern_add_color_stop_rgba(p, 0.2, 1, 0.8, 0.5, 0.5);
    cairo_pattern_add_color_stop_rgba(p, 1.0, 1, 0.7, 0.4, 0);
    cairo_set_source(c, p);
    cairo_rectangle(c, 0, 0, width, horizon);
    cairo_fill(c);
    cairo_pattern_destroy(p);

    for (int i = 0; i < 60; ++i) {
        set(c, {1, 1, 0.95}, 0.3 + 0.6 * chance());
        cairo_arc(c, width * chance(), 110 * chance(), 0.4 + 0.8 * chance(), 0, 6.3);
        cairo_fill(c);
    }
    for (int i = 0; i < 14; ++i) {
        const double x = width * chance(), y = 90 + 90 * chance(), w = 60 + 120 * chance();
        cairo_save(c);
        cairo_translate(c, x, y);
        cairo_scale(c, w, 3 + 4 * chance());
        set(c, {0.98, 0.62, 0.55}, 0.10 + 0.15 * chance());
        cairo_arc(c, 0, 0, 1, 0, 6.3);
        cairo_fill(c);
        cairo_restore(c);
    }
}

void hills(cairo_t *c, double base, double size, colour k)
{
    cairo_move_to(c, 0, horizon);
    for (double x = 0; x <= width; x += 2)
        cairo_line_to(c, x,
                      base - size * (0.5 + 0.5 * std::sin(x / 71 + base)) - 0.35 * size * std::sin(x / 23 + size));
    cairo_line_to(c, width, horizon);
    set(c, k);
    cairo_fill(c);
}

void houses(cairo_t *c)
{
    constexpr colour walls[] = {
        {0.55, 0.16, 0.13}, {0.80, 0.55, 0.16}, {0.18, 0.30, 0.42}, {0.72, 0.70, 0.62}, {0.24, 0.40, 0.28}};
    double x = 18;
    for (int i = 0; i < 9; ++i) {
        const double w = 26 + 10 * chance(), h = 34 + 30 * chance();
        set(c, walls[i % 5]);
        cairo_rectangle(c, x, horizon - h, w, h);
        cairo_fill(c);
        set(c, {0.16, 0.10, 0.12});
        cairo_move_to(c, x - 2, horizon - h);
        cairo_line_to(c, x + w / 2, horizon - h - 16);
        cairo_line_to(c, x + w + 2, horizon - h);
        cairo_fill(c);
        for (double wy = horizon - h + 8; wy < horizon - 12; wy += 14)
            for (double wx = x + 5; wx < x + w - 8; wx += 10) {
                set(c, chance() < 0.6 ? colour{1, 0.86, 0.45} : colour{0.12, 0.12, 0.18});
                cairo_rectangle(c, wx, wy, 5, 7);
                cairo_fill(c);
            }
        x += w + 1;
    }
}

void water(cairo_t *c, cairo_surface_t *s)
{
    cairo_surface_flush(s);
    unsigned char *pixels = cairo_image_surface_get_data(s);
    const int stride = cairo_image_surface_get_stride(s);
    for (int y = static_cast<int>(horizon); y < static_cast<int>(height); ++y) {
        const double depth = (y - horizon) / (height - horizon);
        const int up = static_cast<int>(horizon - 1 - (y - horizon) * 1.05);
        for (int x = 0; x < static_cast<int>(width); ++x) {
            const double wave =
                std::sin(y * (0.9 - 0.5 * depth) + 2.5 * std::sin(x / (9.0 + 30 * depth))) * (1 + 6 * depth);
            int sx = x + static_cast<int>(wave), sy = up + static_cast<int>(wave * 0.4);
            sx = sx < 0 ? 0 : sx >= width ? static_cast<int>(width) - 1 : sx;
            sy = sy < 0 ? 0 : sy;
            const unsigned char *from = pixels + sy * stride + 4 * sx;
            unsigned char *to = pixels + y * stride + 4 * x;
            constexpr double tint[3] = {62, 36, 20}; // blue, green, red
            for (int k = 0; k < 3; ++k)
                to[k] =
                    static_cast<unsigned char>(from[k] * (0.82 - 0.38 * depth) + tint[k] * (0.2 + 0.4 * depth));
            to[3] = 255;
        }
    }
    cairo_surface_mark_dirty(s);
}

void boat(cairo_t *c, double x, double y, double size, colour hull, colour sail)
{
    cairo_save(c);
    cairo_translate(c, x, y);
    cairo_scale(c, size, size);
    set(c, {0.05, 0.05, 0.12}, 0.35);
    cairo_rectangle(c, -20, 8, 42, 5);
    cairo_fill(c);
    set(c, hull);
    cairo_move_to(c, -24, 0);
    cairo_line_to(c, 26, 0);
    cairo_line_to(c, 18, 9);
    cairo_line_to(c, -18, 9);
    cairo_fill(c);
    set(c, {0.2, 0.14, 0.1});
    cairo_rectangle(c, -1, -52, 2, 52);
    cairo_fill(c);
    set(c, sail);
    cairo_move_to(c, 2, -50);
    cairo_line_to(c, 24, -6);
    cairo_line_to(c, 2, -4);
    cairo_fill(c);
    set(c, {sail.r * 0.85, sail.g * 0.85, sail.b * 0.85});
    cairo_move_to(c, -3, -44);
    cairo_line_to(c, -18, -6);
    cairo_line_to(c, -3, -4);
    cairo_fill(c);
    cairo_restore(c);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2)
        return 2;
    cairo_surface_t *s =
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(width), static_cast<int>(height));
    cairo_t *c = cairo_create(s);
    sky(c);
    hills(c, 205, 34, {0.42, 0.26, 0.42});
    hills(c, 222, 20, {0.26, 0.17, 0.30});
    houses(c);
    water(c, s);
    boat(c, 430, 292, 1.1, {0.75, 0.16, 0.12}, {0.98, 0.95, 0.88});
    boat(c, 250, 330, 1.6, {0.10, 0.30, 0.36}, {0.98, 0.70, 0.25});
    boat(c, 540, 260, 0.6, {0.9, 0.9, 0.9}, {0.85, 0.9, 0.95});
    const bool written = cairo_surface_write_to_png(s, argv[1]) == CAIRO_STATUS_SUCCESS;
    cairo_destroy(c);
    cairo_surface_destroy(s);
    return written ? 0 : 1;
}

// Paints the second example picture, balloons over morning fields, with cairo:
//   g++ -std=c++20 balloons.cpp -o balloons $(pkg-config --cflags --libs cairo) && ./balloons balloons.png
#include <cairo.h>

#include <cmath>

namespace {

constexpr double width = 450, height = 300;

void gradient(cairo_t *c, double top, double bottom, const double (&from)[3], const double (&to)[3])
{
    cairo_pattern_t *p = cairo_pattern_create_linear(0, top, 0, bottom);
    cairo_pattern_add_color_stop_rgb(p, 0, from[0], from[1], from[2]);
    cairo_pattern_add_color_stop_rgb(p, 1, to[0], to[1], to[2]);
    cairo_set_source(c, p);
    cairo_fill(c);
    cairo_pattern_destroy(p);
}

// A field's upper edge is a wave; nearer fields are larger and greener.
void fields(cairo_t *c)
{
    constexpr double greens[5][3] = {
        {0.62, 0.76, 0.72}, {0.66, 0.80, 0.52}, {0.88, 0.84, 0.42}, {0.46, 0.70, 0.30}, {0.24, 0.52, 0.22}};
    for (int i = 0; i < 5; ++i) {
        const double y = 168 + 9.0 * i * i / 1.6 + 10 * i;
        cairo_move_to(c, 0, height);
        for (double x = 0; x <= width; x += 3)
            cairo_line_to(c, x, y + (6 + 3 * i) * std::sin(x / (60 + 25 * i) + 1.9 * i));
        cairo_line_to(c, width, height);
        const double dark[3] = {greens[i][0] * 0.72, greens[i][1] * 0.72, greens[i][2] * 0.72};
        gradient(c, y - 10, y + 70, greens[i], dark);
    }
    for (int i = 0; i < 26; ++i) { // a hedge of round trees
        const double x = 18.0 * i + 5 * std::sin(i * 4.0), r = 5 + 2.5 * std::sin(i * 2.3);
        cairo_arc(c, x, 236 + 15 * std::sin(x / 110 + 5.7) - r, r, 0, 6.3);
        cairo_set_source_rgb(c, 0.13, 0.34 + 0.05 * std::sin(i * 1.7), 0.18);
        cairo_fill(c);
    }
}

void cloud(cairo_t *c, double x, double y, double size)
{
    for (int i = 0; i < 7; ++i) {
        cairo_arc(c, x + size * (i - 3) * 0.55, y - size * 0.5 * std::sin((i + 0.5) * 0.45), size * 0.55, 0, 6.3);
        cairo_set_source_rgb(c, 0.96, 0.98, 1);
        cairo_fill(c);
    }
}

void balloon(cairo_t *c, double x, double y, double r, const double (&a)[3], const double (&b)[3])
{
    cairo_set_source_rgb(c, 0.35, 0.22, 0.12);
    cairo_set_line_width(c, 0.04 * r);
    for (int side = -1; side <= 1; side += 2) {
        cairo_move_to(c, x + side * 0.45 * r, y + 0.9 * r);
        cairo_line_to(c, x + side * 0.16 * r, y + 1.55 * r);
    }
    cairo_stroke(c);
    cairo_rectangle(c, x - 0.2 * r, y + 1.5 * r, 0.4 * r, 0.28 * r);
    cairo_fill(c);
    for (int gore = 4; gore >= 0; --gore) { // from the outside in, as narrower and narrower shapes
        const double w = r * std::sin((gore + 1) * 0.314);
        cairo_move_to(c, x, y - r);
        cairo_curve_to(c, x + 1.33 * w, y - r, x + 1.33 * w, y + 0.4 * r, x + 0.3 * w, y + r);
        cairo_line_to(c, x - 0.3 * w, y + r);
        cairo_curve_to(c, x - 1.33 * w, y + 0.4 * r, x - 1.33 * w, y - r, x, y - r);
        const double(&k)[3] = gore % 2 ? b : a;
        cairo_set_source_rgb(c, k[0], k[1], k[2]);
        cairo_fill(c);
    }
    cairo_pattern_t *p = cairo_pattern_create_radial(x - 0.4 * r, y - 0.4 * r, 0.1 * r, x, y, 1.3 * r);
    cairo_pattern_add_color_stop_rgba(p, 0, 1, 1, 1, 0.35);
    cairo_pattern_add_color_stop_rgba(p, 0.5, 1, 1, 1, 0);
    cairo_set_source(c, p);
    cairo_arc(c, x, y, r, 0, 6.3);
    cairo_fill(c);
    cairo_pattern_destroy(p);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2)
        return 2;
    cairo_surface_t *s =
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(width), static_cast<int>(height));
    cairo_t *c = cairo_create(s);
    cairo_rectangle(c, 0, 0, width, height);
    gradient(c, 0, 200, {0.36, 0.64, 0.92}, {0.93, 0.96, 0.98});
    cloud(c, 70, 60, 26);
    cloud(c, 330, 112, 20);
    cloud(c, 215, 36, 14);
    fields(c);
    balloon(c, 135, 118, 52, {0.90, 0.20, 0.16}, {0.98, 0.93, 0.80});
    balloon(c, 292, 78, 34, {0.16, 0.32, 0.66}, {0.99, 0.80, 0.22});
    balloon(c, 392, 150, 20, {0.95, 0.55, 0.12}, {0.55, 0.18, 0.42});
    balloon(c, 236, 158, 11, {0.20, 0.55, 0.45}, {0.95, 0.95, 0.95});
    const cairo_status_t result = cairo_surface_write_to_png(s, argv[1]);
    cairo_destroy(c);
    cairo_surface_destroy(s);
    return result == CAIRO_STATUS_SUCCESS ? 0 : 1;
}

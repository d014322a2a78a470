// vokra convert and vokra info: one file to another, and what a file holds.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>

#include <nlohmann/json.hpp>

#include "files.h"
#include "verbs.h"

namespace program {
namespace {

struct convert_options {
    std::string in, out, type, from; // from: the layout of raw frames
    std::vector<long> dim;
    long frame = 0;
    long planes = 0;
    bool interp = false;
};

// Which plane of the source feeds each plane of the result: from a picture to three
// planes the alpha is left out, everything else keeps its place.
vok_matrix_conv_info conversion(bool drop_alpha, bool interp)
{
    vok_matrix_conv_info conv = {};
    conv.flags = interp ? vok_matrix_conv_interp : 0;
    for (long p = 0; p < VOK_MATRIX_MAX_PLANECOUNT; ++p)
        conv.planemap[p] = drop_alpha ? p + 1 : p;
    return conv;
}

// Luminance of a picture of 4 planes by the weights of ITU-R BT.601, in 16 bits.
matrix grey_of(const matrix &m)
{
    vok_matrix_info info = m.info();
    const vok_matrix_info from = info;
    info.planecount = 1;
    matrix grey(info);
    const vok_matrix_info to = grey.info();
    for (long y = 0; y < from.dim[1]; ++y) {
        const unsigned char *in = m.data() + y * from.dimstride[1];
        unsigned char *out = grey.data() + y * to.dimstride[1];
        for (long x = 0; x < from.dim[0]; ++x, in += 4)
            out[x] = static_cast<unsigned char>((19595 * in[1] + 38470 * in[2] + 7471 * in[3] + 32768) >> 16);
    }
    return grey;
}

void make_opaque(matrix &m)
{
    atom plane_and_value[2];
    atom_setlong(&plane_and_value[0], 0);
    atom_setlong(&plane_and_value[1], 255);
    vok_matrix_fillplane(static_cast<vok_matrix *>(m.get()), gensym("fillplane"), 2, plane_and_value);
}

struct plane_range {
    double low = std::numeric_limits<double>::infinity(), high = -low;
    double sum = 0;
    long count = 0, nans = 0;
};

template <typename T> void measure(const unsigned char *row, long cells, std::vector<plane_range> &planes)
{
    const T *p = reinterpret_cast<const T *>(row);
    for (long i = 0; i < cells; ++i)
        for (plane_range &r : planes) {
            const double v = static_cast<double>(*p++);
            if (std::isnan(v)) {
                ++r.nans;
                continue;
            }
            r.low = std::min(r.low, v);
            r.high = std::max(r.high, v);
            r.sum += v;
            ++r.count;
        }
}

std::vector<plane_range> ranges_of(const matrix &m)
{
    const vok_matrix_info info = m.info();
    std::vector<plane_range> planes(static_cast<size_t>(info.planecount));
    const long width = info.dimcount > 0 ? info.dim[0] : 1, rows = info.dimcount > 1 ? info.dim[1] : 1;
    for (long slice = 0; slice < matrix::slice_count(info); ++slice)
        for (long row = 0; row < rows; ++row) {
            const unsigned char *p = m.data() + matrix::offset_of_row(info, slice, row);
            if (info.type == gensym("char"))
                measure<unsigned char>(p, width, planes);
            else if (info.type == gensym("long"))
                measure<int32_t>(p, width, planes);
            else if (info.type == gensym("float32"))
                measure<float>(p, width, planes);
            else
                measure<double>(p, width, planes);
        }
    return planes;
}

// One frame of a file that holds nothing but packed 4:2:2 pixels, as a picture.
loaded load_raw(const convert_options &o)
{
    const std::string place = o.in == "-" ? "standard input" : o.in;
    if (o.dim.size() != 2 || o.dim[0] % 2)
        throw failure(wrong_use,
                      "convert --from " + o.from + ": --dim must tell the width, an even number, and the height");
    std::ifstream file;
    if (o.in != "-") {
        file.open(o.in, std::ios::binary);
        if (!file)
            throw failure(file_trouble, place + ": " + std::strerror(errno));
    }
    std::istream &in = o.in == "-" ? std::cin : file;
    vok_matrix_info info = matrix::default_info();
    info.planecount = 4;
    info.dimcount = 2;
    info.dim[0] = o.dim[0] / 2;
    info.dim[1] = o.dim[1];
    matrix packed(info);
    info = packed.info();
    in.ignore(o.frame * o.dim[0] * 2 * o.dim[1]);
    long row = 0;
    for (; row < info.dim[1]; ++row) {
        unsigned char *p = packed.data() + row * info.dimstride[1];
        if (!in.read(reinterpret_cast<char *>(p), o.dim[0] * 2))
            throw failure(file_trouble, place + ": it ends before row " + std::to_string(row) + " of frame " +
                                            std::to_string(o.frame) + " of " + std::to_string(o.dim[0]) + "x" +
                                            std::to_string(o.dim[1]) + " pixels");
        if (o.from == "yuy2")
            vok_yuy22yuvy_vector_char(info.dim[0], p, p);
    }
    loaded picture;
    picture.format = file_format::png;
    const owned x(vok_object_new(gensym("vok_uyvy2argb"))), holder(vok_object_new(gensym("vok_mop"), 1L, 1L));
    auto *mop = static_cast<vok_mop *>(holder.get());
    vok_mop_io_matrix(static_cast<vok_mop_io *>(vok_mop_getinput(mop, 1)), packed.get());
    vok_mop_io_matrix(static_cast<vok_mop_io *>(vok_mop_getoutput(mop, 1)), picture.cells.get());
    if (vok_mop_matrix_calc(mop, x.get()) != VOK_ERR_NONE)
        throw failure(failed_running, place + ": the frame can't be converted");
    return picture;
}

void convert(const convert_options &o)
{
    format_to_write(o.out);
    loaded from = o.from.empty() ? load(o.in) : load_raw(o);
    const bool picture = from.is_picture();
    if (picture && o.planes == 1)
        from.cells = grey_of(from.cells);
    vok_matrix_info wanted = from.cells.info();
    wanted.flags = 0;
    if (!o.type.empty())
        wanted.type = gensym(o.type.c_str());
    if (o.planes)
        wanted.planecount = o.planes;
    if (!o.dim.empty()) {
        wanted.dimcount = static_cast<long>(o.dim.size());
        std::fill_n(wanted.dim, VOK_MATRIX_MAX_DIMCOUNT, 1L);
        std::copy(o.dim.begin(), o.dim.end(), wanted.dim);
    }
    matrix to(wanted);
    vok_matrix_conv_info conv = conversion(picture && wanted.planecount == 3, o.interp);
    send(to.get(), "frommatrix", from.cells.get(), &conv);
    // Interpolation weighs in steps of 1/256, which takes a little of full alpha: what
    // is opaque stays opaque.
    if (o.interp && wanted.planecount == 4 && wanted.type == gensym("char") && ranges_of(from.cells)[0].low == 255)
        make_opaque(to);
    save(to, o.out, from.dpi);
}

void tell_info(const std::string &name, bool as_json)
{
    const loaded file = load(name);
    const vok_matrix_info info = file.cells.info();
    const std::vector<plane_range> planes = ranges_of(file.cells);
    if (as_json) {
        nlohmann::ordered_json j;
        j["file"] = name;
        j["format"] = format_name(file.format);
        j["type"] = info.type->name;
        j["planecount"] = info.planecount;
        j["dim"] = std::vector<long>(info.dim, info.dim + info.dimcount);
        j["bytes"] = info.size;
        for (const plane_range &r : planes)
            j["planes"].push_back(r.count ? nlohmann::ordered_json{{"min", r.low},
                                                                   {"max", r.high},
                                                                   {"mean", r.sum / static_cast<double>(r.count)}}
                                          : nlohmann::ordered_json{{"nan", r.nans}});
        std::printf("%s\n", j.dump(2).c_str());
        return;
    }
    std::printf("%s: %s, %s, %ld bytes in memory\n", name.c_str(), format_name(file.format),
                matrix::shape_text(info).c_str(), info.size);
    constexpr const char *colours[] = {"alpha", "red", "green", "blue"};
    for (size_t p = 0; p < planes.size(); ++p) {
        const plane_range &r = planes[p];
        const std::string label =
            "plane " + std::to_string(p) + (file.is_picture() ? std::string(" (") + colours[p] + ")" : "");
        if (r.count)
            std::printf("  %-16s %g to %g, mean %g\n", label.c_str(), r.low, r.high,
                        r.sum / static_cast<double>(r.count));
        else
            std::printf("  %-16s no number\n", label.c_str());
    }
}

} // namespace

void add_convert(CLI::App &app)
{
    auto o = std::make_shared<convert_options>();
    CLI::App *verb =
        app.add_subcommand("convert", "Convert between PNG, JPEG, vkf and npy, and change the size, type or "
                                      "planes on the way. A JPEG is turned upright as its camera tells.\nExample: "
                                      "vokra convert photo.jpg half.png --dim 320 240 --interp");
    verb->add_option("in", o->in, "the file to read")->required();
    verb->add_option("out", o->out, "the file to write")->required();
    verb->add_option("--dim", o->dim, "cells per dimension: width, height, ...")
        ->expected(1, 32)
        ->check(CLI::Range(1L, 0x7FFFFFFEL));
    verb->add_option("--type", o->type, "cell type")->check(CLI::IsMember({"char", "long", "float32", "float64"}));
    verb->add_option("--planes", o->planes,
                     "planes per cell; of a picture 1 is grey, 3 red, green and blue, 4 alpha and these")
        ->check(CLI::Range(1L, 32L));
    verb->add_option("--from", o->from,
                     "the file is raw packed 4:2:2 video of this layout, --dim its width and height")
        ->check(CLI::IsMember({"uyvy", "yuy2"}));
    verb->add_option("--frame", o->frame, "which frame of it, from 0")->check(CLI::Range(0L, 1000000L));
    verb->add_flag("--interp", o->interp, "interpolate between cells instead of taking the nearest");
    verb->callback([o] { convert(*o); });
}

void add_info(CLI::App &app)
{
    auto name = std::make_shared<std::string>();
    auto as_json = std::make_shared<bool>(false);
    CLI::App *verb = app.add_subcommand("info", "Tell what a file holds.\nExample: vokra info photo.jpg");
    verb->add_option("file", *name, "the file to read")->required();
    verb->add_flag("--json", *as_json, "as JSON");
    verb->callback([=] { tell_info(*name, *as_json); });
}

} // namespace program

// The box `frames`: writes each matrix that arrives as a file of its own. Files appear
// under their names when they are whole. Writes on the thread that brings the matrix, so
// that no frame is lost or doubled however long the disk takes.
#include "box.h"
#include "matrices.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace boxes {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t vkf_type = 0x566F4B21; // "VoK!"

enum class format { none, png, jpeg, vkf };

constexpr struct {
    const char *ending;
    format what;
} endings[] = {{".png", format::png}, {".jpg", format::jpeg}, {".jpeg", format::jpeg}, {".vkf", format::vkf}};

// A file's name with a place for the number: "%d", or "%04d" for four digits; without
// one, four digits go ahead of the ending.
struct pattern {
    std::string front, back;
    size_t digits = 0;
    format what = format::none;

    explicit pattern(const std::string &text)
    {
        std::string ending = fs::path(text).extension().string();
        for (char &c : ending)
            c = char(std::tolower(static_cast<unsigned char>(c)));
        for (const auto &row : endings)
            if (ending == row.ending)
                what = row.what;
        for (size_t at = text.find('%'); at != text.npos; at = text.find('%', at + 1)) {
            size_t end = at + 1;
            while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end])))
                end++;
            if (end < text.size() && text[end] == 'd' && end - at <= 3) {
                digits = end > at + 1 ? std::stoul(text.substr(at + 1, end - at - 1)) : 1;
                front = text.substr(0, at);
                back = text.substr(end + 1);
                return;
            }
        }
        digits = 4;
        front = text.substr(0, text.size() - ending.size()) + "-";
        back = text.substr(text.size() - ending.size());
    }
    std::string name(long number) const
    {
        std::string n = std::to_string(std::max(number, 0L));
        return front + (n.size() < digits ? std::string(digits - n.size(), '0') : "") + n + back;
    }
};

struct frames : box {
    pattern to;
    long number = 0;
    long alpha = 0;

    explicit frames(const birth &b) : box(b), to(b.args.empty() ? "" : text_of(b.args.first(1)))
    {
        shape(1, 1);
        if (to.what == format::none)
            error("the name of the files is missing, or doesn't end in .png, .jpg or .vkf (frames PATTERN)");
    }
    void hear(long, const message &m) override
    {
        symbol *name = m.argc > 0 ? atom_getsym(m.argv) : nullptr;
        void *matrix = name ? vok_object_findregistered(name) : nullptr;
        if (!is_matrix(matrix))
            return error("there is no matrix \"" + std::string(name ? name->name : "") + "\"");
        if (to.what == format::none || zan_frames_left() == 0)
            return;
        const std::string file = fs::absolute(to.name(number)).string();
        std::error_code trouble;
        fs::create_directories(fs::path(file).parent_path(), trouble); // if it can't, writing says why
        if (!(to.what == format::vkf ? write_vkf(matrix, file) : write_picture(matrix, file)))
            return;
        const long written = number++;
        zan_frame_done(x, zan_frame_picture);
        outlet_int(out[0], written);
    }

    bool write_picture(void *matrix, const std::string &file) const
    {
        vok_matrix_info info = info_of(matrix);
        if (info.dimcount > 2 || info.planecount == 2 || info.planecount > 4) {
            error("a picture has 1, 3 or 4 planes and 2 dimensions; this matrix has " +
                  std::to_string(info.planecount) + " and " + std::to_string(info.dimcount));
            return false;
        }
        info.type = _vok_sym_char;
        info.flags = 0;
        void *cells = vok_object_new(_vok_sym_vok_matrix, &info); // others may go on with the matrix meanwhile
        vok_object_method(cells, gensym("frommatrix"), matrix, nullptr);
        const bool done = write_cells(cells, file);
        vok_object_free(cells);
        return done;
    }
    bool write_cells(void *cells, const std::string &file) const
    {
        const vok_matrix_info info = info_of(cells);
        unsigned char *data = nullptr;
        vok_object_method(cells, _vok_sym_getdata, &data);
        zan_surface *surface =
            zan_surface_of_cells(data, info.planecount, info.dim[0], info.dimcount > 1 ? info.dim[1] : 1,
                                 info.dimstride[0], info.dimstride[1], alpha);
        if (!surface) {
            error("there is no memory for a picture of this size");
            return false;
        }
        const long failed = to.what == format::png ? zgraphics_image_surface_writepng(surface, file.c_str(), 0, 0)
                                                   : zgraphics_image_surface_writejpeg(surface, file.c_str(), 0);
        zgraphics_surface_destroy(surface);
        return !failed; // else the host has said why
    }

    bool write_vkf(void *matrix, const std::string &file) const
    {
        const std::string part = file + ".part";
        zan_file_handle f = nullptr;
        std::error_code trouble;
        long size = 0;
        bool whole = !path_createsysfile(part.c_str(), 0, vkf_type, &f) && !vok_bin_write_header(f, 0) &&
                     !vok_bin_write_matrix(f, matrix) && !sysfile_getpos(f, &size) && !sysfile_seteof(f, size) &&
                     !vok_bin_write_header(f, size);
        whole = f && !sysfile_close(f) && whole;
        if (whole)
            fs::rename(part, file, trouble);
        if (whole && !trouble)
            return true;
        fs::remove(part, trouble);
        error("could not write file " + file);
        return false;
    }

    static void set_number(box &b, const atom &a) { static_cast<frames &>(b).number = atom_getlong(&a); }
    static void set_alpha(box &b, const atom &a) { static_cast<frames &>(b).alpha = atom_getlong(&a) != 0; }
};
constexpr attribute attributes[] = {
    {"number", "long", get_long<&frames::number>, frames::set_number, "Number of the next file"},
    {"alpha", "long", get_long<&frames::alpha>, frames::set_alpha, "1: pictures keep alpha; 0: they are opaque"},
};

constexpr kind rows[] = {
    {"frames", "Writes each matrix that arrives as a numbered picture or vkf file.",
     "pattern, such as out/frame-%04d.png", "vok_matrix", "vok_matrix and the name of a matrix",
     "the number of the file that is written", make<frames>, attributes},
};

} // namespace

std::span<const kind> frame_kinds()
{
    return rows;
}

} // namespace boxes

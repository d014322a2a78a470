// Reading and writing of matrix files, over the library's own readers and writers.
#include "files.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include <zan/host.h>

#include "npy.h"

namespace program {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void trouble(const std::string &name, const std::string &what)
{
    throw failure(file_trouble, (name == "-" ? "standard input" : name) + ": " + what);
}

// A file of its own beside `name` that is renamed to it when the work went well, and
// removed otherwise.
class whole_file {
  public:
    explicit whole_file(const std::string &name) : name_(name)
    {
        const fs::path path(name);
        // The ending stays: writers look at it.
        part_ = (path.parent_path() /
                 ("." + path.stem().string() + "-" + std::to_string(getpid()) + path.extension().string()))
                    .string();
    }
    ~whole_file()
    {
        std::error_code ignored;
        fs::remove(part_, ignored);
    }
    const std::string &part() const { return part_; }
    void finish()
    {
        std::error_code error;
        fs::rename(part_, name_, error);
        if (error)
            trouble(name_, "can't be written: " + error.message());
    }

  private:
    std::string name_, part_;
};

// Copies standard input into a file that can be read again and again.
class input_file {
  public:
    explicit input_file(const std::string &name) : name_(name)
    {
        if (name != "-")
            return;
        std::string pattern = (fs::temp_directory_path() / "vokra-input-XXXXXX").string();
        const int file = mkstemp(pattern.data());
        if (file < 0)
            trouble(name, std::strerror(errno));
        name_ = copy_ = pattern;
        std::array<char, 1 << 16> buffer;
        ssize_t n;
        while ((n = read(STDIN_FILENO, buffer.data(), buffer.size())) > 0)
            if (write(file, buffer.data(), static_cast<size_t>(n)) != n)
                n = -1;
        close(file);
        if (n < 0)
            trouble(name, std::strerror(errno));
    }
    ~input_file()
    {
        if (!copy_.empty())
            unlink(copy_.c_str());
    }
    input_file(const input_file &) = delete;
    input_file &operator=(const input_file &) = delete;
    const std::string &name() const { return name_; }

  private:
    std::string name_, copy_;
};

struct magic {
    const char *bytes;
    size_t size;
    const char *what; // in a sentence: "this is ..."
    bool readable;
    file_format format;
};

constexpr magic magics[] = {
    {"\x89PNG\r\n\x1a\n", 8, "a PNG", true, file_format::png},
    {"\xff\xd8\xff", 3, "a JPEG", true, file_format::jpeg},
    {"FORM", 4, "a vkf file", true, file_format::vkf},
    {"\x93NUMPY", 6, "a NumPy array", true, file_format::npy},
    {"GIF8", 4, "a GIF", false, {}},
    {"BM", 2, "a BMP", false, {}},
    {"II*\0", 4, "a TIFF", false, {}},
    {"MM\0*", 4, "a TIFF", false, {}},
    {"RIFF", 4, "a WebP or another RIFF file", false, {}},
    {"%PDF", 4, "a PDF", false, {}},
    {"PK\x03\x04", 4, "a ZIP archive", false, {}},
};

constexpr char readable_formats[] = "PNG, JPEG, vkf or npy";

file_format judge(const std::string &shown, const std::string &name)
{
    if (name.empty())
        throw failure(wrong_use, "the name of a file is empty");
    if (std::error_code none; fs::is_directory(name, none))
        trouble(shown, "is a folder");
    std::ifstream in(name, std::ios::binary);
    if (!in)
        trouble(shown, std::strerror(errno));
    std::array<char, 8> head{};
    in.read(head.data(), head.size());
    const auto got = static_cast<size_t>(in.gcount());
    if (got == 0)
        trouble(shown, "is empty");
    for (const magic &m : magics) {
        if (got < m.size || std::memcmp(head.data(), m.bytes, m.size) != 0)
            continue;
        if (!m.readable)
            trouble(shown, std::string("this is ") + m.what + ", not " + readable_formats);
        return m.format;
    }
    trouble(shown, std::string("this is not ") + readable_formats);
}

// What the host says of a file, without the full name that it puts ahead.
std::string without_name(const std::string &text, const std::string &full)
{
    return text.starts_with(full + ": ") ? text.substr(full.size() + 2) : text;
}

void load_picture(const std::string &shown, const std::string &name, loaded &to)
{
    const quiet_reports quiet;
    const std::string full = fs::absolute(name).string();
    std::unique_ptr<zan_surface, void (*)(zan_surface *)> surface(
        zgraphics_image_surface_create_from_file(full.c_str(), 0), zgraphics_surface_destroy);
    if (!surface) {
        trouble(shown, without_name(quiet.last("can't be read as a picture"), full));
    }
    if (send(to.cells.get(), "from_image_surface", surface.get()) != VOK_ERR_NONE)
        trouble(shown, "the picture is too large");
    to.dpi = zgraphics_image_surface_get_dpi(surface.get());
}

class host_file {
  public:
    host_file(const std::string &name, bool create)
    {
        char text[ZAN_NAME_SIZE];
        short path = 0;
        const std::string full = fs::absolute(name).string();
        if (full.size() >= sizeof text || path_frompotentialpathname(full.c_str(), &path, text))
            return;
        if (create ? path_createsysfile(text, path, 0x566F4B21, &file_) : path_opensysfile(text, path, &file_, 1))
            file_ = nullptr;
    }
    ~host_file()
    {
        if (file_)
            sysfile_close(file_);
    }
    host_file(const host_file &) = delete;
    host_file &operator=(const host_file &) = delete;
    zan_file_handle get() const { return file_; }

  private:
    zan_file_handle file_ = nullptr;
};

void load_vkf(const std::string &shown, const std::string &name, matrix &m)
{
    host_file file(name, false);
    if (!file.get())
        trouble(shown, std::strerror(errno));
    long version = 0, told = 0;
    const quiet_reports quiet;
    if (vok_bin_read_header(file.get(), &version, &told) != VOK_ERR_NONE ||
        vok_bin_read_matrix(file.get(), static_cast<vok_matrix *>(m.get())) != VOK_ERR_NONE)
        trouble(shown, quiet.last("its vkf header is damaged"));
    const vok_matrix_info info = m.info();
    const long wanted = vok_bin_matrix_filesize(&info), size = static_cast<long>(fs::file_size(name));
    if (size < wanted)
        std::fprintf(stderr,
                     "vokra: warning: %s: the file ends after %ld of %ld bytes; the rest is as it was made: 0\n",
                     shown.c_str(), size, wanted);
}

void save_vkf(const std::string &shown, const std::string &part, const matrix &m)
{
    host_file file(part, true);
    auto *x = static_cast<vok_matrix *>(m.get());
    long size = 0;
    if (!file.get() || vok_bin_write_header(file.get(), 0) || vok_bin_write_matrix(file.get(), x) ||
        sysfile_getpos(file.get(), &size) || sysfile_seteof(file.get(), size) ||
        vok_bin_write_header(file.get(), size))
        trouble(shown, "can't be written");
}

constexpr const char *npy_types[] = {"char", "long", "float32", "float64"}; // by npy::element

// One row of cells after the other, as an array without padding has them.
template <typename F> void each_row(const matrix &m, F row)
{
    const vok_matrix_info info = m.info();
    const long bytes = (info.dimcount > 0 ? info.dim[0] : 1) * info.planecount * vok_matrix_info_typesize(&info);
    const long rows = info.dimcount > 1 ? info.dim[1] : 1;
    for (long slice = 0, at = 0; slice < matrix::slice_count(info); ++slice)
        for (long y = 0; y < rows; ++y, at += bytes)
            row(m.data() + matrix::offset_of_row(info, slice, y), at, bytes);
}

void load_npy(const std::string &shown, const std::string &name, matrix &m)
{
    std::ifstream in(name, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    npy::array array;
    npy::matrix_shape shape;
    std::string why;
    if (!npy::read(text, array, why) || !npy::to_matrix(array.shape, shape, why))
        trouble(shown, why);
    vok_matrix_info info = matrix::default_info();
    info.type = gensym(npy_types[static_cast<int>(array.type)]);
    info.planecount = shape.planecount;
    info.dimcount = static_cast<long>(shape.dim.size());
    std::copy(shape.dim.begin(), shape.dim.end(), info.dim);
    m.reshape(info);
    each_row(m, [&](unsigned char *row, long at, long bytes) {
        std::memcpy(row, array.bytes.data() + at, static_cast<size_t>(bytes));
    });
}

void save_npy(const std::string &shown, const std::string &part, const matrix &m)
{
    const vok_matrix_info info = m.info();
    const auto type = std::find(std::begin(npy_types), std::end(npy_types), std::string(info.type->name));
    const std::vector<long> dim(info.dim, info.dim + info.dimcount);
    std::ofstream out(part, std::ios::binary);
    out << npy::header(static_cast<npy::element>(type - std::begin(npy_types)),
                       npy::from_matrix({info.planecount, dim}));
    each_row(m, [&](const unsigned char *row, long, long bytes) {
        out.write(reinterpret_cast<const char *>(row), bytes);
    });
    out.close();
    if (!out)
        trouble(shown, std::string("can't be written: ") + std::strerror(errno));
}

void save_picture(const std::string &shown, const std::string &part, const matrix &given, file_format format,
                  double dpi)
{
    const vok_matrix_info info = given.info();
    matrix as_char;
    const matrix *m = &given;
    if (info.type != gensym("char")) {
        vok_matrix_info wanted = info;
        wanted.type = gensym("char");
        as_char = matrix(wanted);
        send(as_char.get(), "frommatrix", given.get(), nullptr);
        m = &as_char;
    }
    if (info.planecount == 2 || info.planecount > 4 || info.dimcount > 2)
        throw failure(failed_running, shown +
                                          ": a picture has 1, 3 or 4 planes and 2 dimensions, this matrix is " +
                                          matrix::shape_text(info));
    const quiet_reports quiet;
    const vok_matrix_info cells = m->info();
    std::unique_ptr<zan_surface, void (*)(zan_surface *)> surface(
        zan_surface_of_cells(m->data(), cells.planecount, cells.dim[0], cells.dimcount > 1 ? cells.dim[1] : 1,
                             cells.dimstride[0], cells.dimstride[1], 1),
        zgraphics_surface_destroy);
    if (!surface)
        throw failure(failed_running, "there is no memory for a picture of " + matrix::shape_text(info));
    const std::string full = fs::absolute(part).string();
    zgraphics_image_surface_set_dpi(surface.get(), dpi);
    const long result = format == file_format::png
                            ? zgraphics_image_surface_writepng(surface.get(), full.c_str(), 0, 0)
                            : zgraphics_image_surface_writejpeg(surface.get(), full.c_str(), 0);
    if (result != zan_err_none)
        trouble(shown, without_name(quiet.last("can't be written"), full));
}

void copy_to_output(const std::string &part)
{
    std::ifstream in(part, std::ios::binary);
    std::array<char, 1 << 16> buffer;
    while (in.read(buffer.data(), buffer.size()) || in.gcount() > 0)
        if (std::fwrite(buffer.data(), 1, static_cast<size_t>(in.gcount()), stdout) !=
            static_cast<size_t>(in.gcount()))
            throw failure(file_trouble, std::string("standard output: ") + std::strerror(errno));
    std::fflush(stdout);
}

} // namespace

bool loaded::is_picture() const
{
    return format == file_format::png || format == file_format::jpeg;
}

const char *format_name(file_format format)
{
    constexpr const char *names[] = {"png", "jpeg", "vkf", "npy"};
    return names[static_cast<int>(format)];
}

loaded load(const std::string &shown)
{
    const input_file input(shown);
    loaded result;
    result.format = judge(shown, input.name());
    switch (result.format) {
    case file_format::png:
    case file_format::jpeg: load_picture(shown, input.name(), result); break;
    case file_format::vkf: load_vkf(shown, input.name(), result.cells); break;
    case file_format::npy: load_npy(shown, input.name(), result.cells); break;
    }
    return result;
}

file_format format_to_write(const std::string &name)
{
    if (name == "-")
        return file_format::vkf;
    std::string ending = fs::path(name).extension().string();
    for (char &c : ending)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    constexpr struct {
        const char *ending;
        file_format format;
    } table[] = {{".png", file_format::png},
                 {".jpg", file_format::jpeg},
                 {".jpeg", file_format::jpeg},
                 {".vkf", file_format::vkf},
                 {".npy", file_format::npy}};
    for (const auto &row : table)
        if (ending == row.ending)
            return row.format;
    throw failure(wrong_use, name + ": what to write is told by the ending: .png, .jpg, .vkf or .npy");
}

void save(const matrix &m, const std::string &name, double dpi)
{
    const file_format format = format_to_write(name);
    const bool to_output = name == "-";
    whole_file file(to_output ? (fs::temp_directory_path() / "vokra-output.vkf").string() : name);
    switch (format) {
    case file_format::png:
    case file_format::jpeg: save_picture(name, file.part(), m, format, dpi); break;
    case file_format::vkf: save_vkf(name, file.part(), m); break;
    case file_format::npy: save_npy(name, file.part(), m); break;
    }
    if (to_output)
        copy_to_output(file.part());
    else
        file.finish();
}

} // namespace program

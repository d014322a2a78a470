// Open files, whole files and text files, and what a file is by its first bytes.
#include "internal.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

// A stream of the standard library with the direction of its last move: between a
// read and a write it must be told a position.
struct zan_file {
    FILE *stream;
    int last; // 0 nothing, 1 read, 2 written
};

namespace zan {
namespace {

// What files begin with. `what` completes "this is ..."; a type makes the kind one
// that can be asked for by its code. A '?' in the mark stands for any byte.
constexpr struct {
    std::string_view mark;
    const char *what;
    uint32_t type;
} kinds[] = {
    {{"\x89PNG\r\n\x1a\n", 8}, "a PNG", file_code("PNG ")},
    {{"\xff\xd8\xff", 3}, "a JPEG", file_code("JPEG")},
    {{"FORM????VOK!", 12}, "a matrix file", file_code("VoK!")},
    {{"GIF8", 4}, "a GIF", file_code("GIFf")},
    {{"II*\0", 4}, "a TIFF", file_code("TIFF")},
    {{"MM\0*", 4}, "a TIFF", file_code("TIFF")},
    {{"RIFF????WEBP", 12}, "a WebP", 0},
    {{"RIFF????AVI ", 12}, "an AVI film", 0},
    {{"RIFF????WAVE", 12}, "a WAVE sound", 0},
    {{"????ftypavif", 12}, "an AVIF", 0},
    {{"????ftyphei", 11}, "a HEIF", 0},
    {{"????ftypmif1", 12}, "a HEIF", 0},
    {{"????ftypqt  ", 12}, "a QuickTime film", 0},
    {{"????ftyp", 8}, "an MP4 film", 0},
    {{"\0\0\0\x0cJXL ", 8}, "a JPEG XL", 0},
    {{"\xff\x0a", 2}, "a JPEG XL", 0},
    {{"\0\0\0\x0cjP  ", 8}, "a JPEG 2000", 0},
    {{"BM????\0\0\0\0", 10}, "a BMP", 0},
    {{"8BPS", 4}, "a PSD", 0},
    {{"\0\0\1\0", 4}, "an icon", 0},
    {{"qoif", 4}, "a QOI", 0},
    {{"\x76\x2f\x31\x01", 4}, "an OpenEXR", 0},
    {{"#?RADIANCE", 10}, "a Radiance picture", 0},
    {{"P1", 2}, "a PNM", 0},
    {{"P2", 2}, "a PNM", 0},
    {{"P3", 2}, "a PNM", 0},
    {{"P4", 2}, "a PNM", 0},
    {{"P5", 2}, "a PNM", 0},
    {{"P6", 2}, "a PNM", 0},
    {{"\x93NUMPY", 6}, "a NumPy array", 0},
    {{"%PDF", 4}, "a PDF", 0},
    {{"PK\3\4", 4}, "a ZIP archive", 0},
    {{"\x1f\x8b", 2}, "a gzip file", 0},
    {{"\177ELF", 4}, "a program or library", 0},
    {{"<svg", 4}, "an SVG", 0},
    {{"<!DOCTYPE html", 14}, "an HTML page", 0},
    {{"<!doctype html", 14}, "an HTML page", 0},
    {{"<html", 5}, "an HTML page", 0},
    {{"<?xml", 5}, "an XML document", 0},
};

bool begins_with(std::string_view bytes, std::string_view mark)
{
    if (bytes.size() < mark.size())
        return false;
    for (size_t i = 0; i < mark.size(); ++i)
        if (mark[i] != '?' && mark[i] != bytes[i])
            return false;
    return true;
}

constexpr struct {
    const char *extension;
    uint32_t type;
} extension_types[] = {
    {".png", file_code("PNG ")},  {".jpg", file_code("JPEG")}, {".jpeg", file_code("JPEG")},
    {".vkf", file_code("VoK!")},  {".gif", file_code("GIFf")}, {".tif", file_code("TIFF")},
    {".tiff", file_code("TIFF")}, {".txt", file_code("TEXT")}, {".xml", file_code("TEXT")},
    {".lua", file_code("TEXT")},  {".vks", file_code("TEXT")},
};

// Line ends \r\n and \r become \n, in place; the new length.
size_t unify_line_ends(char *text, size_t size)
{
    size_t to = 0;
    for (size_t from = 0; from < size; ++from) {
        if (text[from] == '\r' && from + 1 < size && text[from + 1] == '\n')
            continue;
        text[to++] = text[from] == '\r' ? '\n' : text[from];
    }
    return to;
}

// Makes a stream ready to move bytes in a direction; 0 or an errno.
int turn(zan_file *file, int direction)
{
    if (file->last && file->last != direction && fseeko(file->stream, 0, SEEK_CUR) != 0)
        return errno;
    file->last = direction;
    return 0;
}

long open_stream(const std::string &full, const char *mode, zan_file_handle *file)
{
    // 'e': a program started by someone else must not inherit it
    std::unique_ptr<FILE, int (*)(FILE *)> stream(fopen(full.c_str(), mode), fclose);
    if (!stream)
        return errno;
    struct stat info;
    if (fstat(fileno(stream.get()), &info) == 0 && S_ISDIR(info.st_mode))
        return EISDIR;
    *file = new (std::nothrow) zan_file{stream.get(), 0};
    if (!*file)
        return zan_err_out_of_mem;
    (void)stream.release(); // the handle owns it now
    return 0;
}

// Appends what is left of a file, `step` bytes at first, until there are `most`; 0 or an errno.
int append_rest(zan_file *file, size_t most, size_t step, std::string &bytes)
try {
    while (bytes.size() < most) {
        const size_t had = bytes.size();
        bytes.resize(had + std::min(step, most - had));
        const size_t asked = bytes.size() - had;
        long count = static_cast<long>(asked);
        const long failed = sysfile_read(file, &count, bytes.data() + had);
        bytes.resize(had + static_cast<size_t>(count));
        if (failed)
            return failed > 0 ? static_cast<int>(failed) : EIO;
        if (static_cast<size_t>(count) < asked)
            break;
        step = std::max<size_t>(65536, bytes.size());
    }
    return 0;
} catch (const std::bad_alloc &) { // a file larger than memory is the file's fault
    return ENOMEM;
}

enum text_flags : long { text_keep_line_ends = 1, text_nul = 4, text_every_byte = 8 };

} // namespace

const char *kind_of_bytes(std::string_view bytes)
{
    for (const auto &kind : kinds)
        if (begins_with(bytes, kind.mark))
            return kind.what;
    return nullptr;
}

uint32_t file_type(const std::string &fullname)
{
    struct stat info;
    if (stat(fullname.c_str(), &info) != 0)
        return 0;
    if (S_ISDIR(info.st_mode))
        return file_code("fold");
    if (S_ISREG(info.st_mode)) { // the first bytes of a pipe belong to its reader
        const int fd = open(fullname.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            char bytes[16];
            const ssize_t got = read(fd, bytes, sizeof bytes);
            close(fd);
            for (const auto &kind : kinds)
                if (kind.type && got > 0 && begins_with({bytes, static_cast<size_t>(got)}, kind.mark))
                    return kind.type;
        }
    }
    const size_t dot = fullname.rfind('.');
    if (dot != std::string::npos)
        for (const auto &row : extension_types)
            if (!strcasecmp(fullname.c_str() + dot, row.extension))
                return row.type;
    return 0;
}

int read_whole_file(const std::string &fullname, size_t limit, std::string &bytes)
{
    bytes.clear();
    zan_file_handle file = nullptr;
    if (const long failed = open_stream(fullname, "rbe", &file))
        return failed > 0 ? static_cast<int>(failed) : ENOMEM;
    struct stat info;
    size_t room = 65536;
    if (fstat(fileno(file->stream), &info) == 0 && S_ISREG(info.st_mode))
        room = static_cast<size_t>(info.st_size) + 1; // one more tells the end
    const int failed = append_rest(file, limit + 1, room, bytes);
    sysfile_close(file);
    return failed ? failed : bytes.size() > limit ? EFBIG : 0;
}

whole_file::whole_file(const std::string &fullname) : name_(fullname)
{
    struct stat old;
    const bool there = stat(name_.c_str(), &old) == 0;
    if (there && !S_ISREG(old.st_mode)) {
        if (S_ISDIR(old.st_mode)) {
            error_ = EISDIR;
            return;
        }
        stream_ = fopen(name_.c_str(), "wbe");
        error_ = stream_ ? 0 : errno;
        return;
    }
    if (there) { // a link stays a link: what it points to is replaced
        std::unique_ptr<char, void (*)(void *)> real(realpath(name_.c_str(), nullptr), free);
        if (real)
            name_ = real.get();
        if (access(name_.c_str(), W_OK) != 0) { // renaming would replace a file that was protected
            error_ = errno;
            return;
        }
    }
    // A short name of its own: the file's own name may be as long as names can be.
    static std::atomic<unsigned> number{0};
    const size_t slash = name_.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : name_.substr(0, slash + 1);
    for (int tries = 0; tries < 100 && !stream_; ++tries) {
        temporary_ = folder + ".vokra-" + std::to_string(getpid()) + "-" + std::to_string(++number) + ".tmp";
        const int fd = open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0) {
            error_ = errno;
            if (error_ == EEXIST)
                continue;
            break;
        }
        if (there)
            (void)!fchmod(fd, old.st_mode & 07777);
        stream_ = fdopen(fd, "wb");
        error_ = stream_ ? 0 : errno;
        if (!stream_) {
            close(fd);
            unlink(temporary_.c_str());
            break;
        }
    }
}

whole_file::~whole_file()
{
    if (!stream_)
        return;
    fclose(stream_);
    if (!temporary_.empty())
        unlink(temporary_.c_str());
}

int whole_file::commit()
{
    if (!stream_)
        return error_ ? error_ : EIO;
    int failed = 0;
    errno = 0;
    if (fflush(stream_) != 0 || ferror(stream_)) // a disk still full says so once more
        failed = errno ? errno : EIO;
    if (fclose(stream_) != 0 && !failed)
        failed = errno;
    stream_ = nullptr;
    if (!temporary_.empty()) {
        if (!failed && rename(temporary_.c_str(), name_.c_str()) != 0)
            failed = errno;
        if (failed)
            unlink(temporary_.c_str());
    }
    error_ = failed ? failed : EIO; // a second commit has nothing to commit
    return failed;
}

} // namespace zan

using namespace zan;

long path_opensysfile(const char *name, short path, zan_file_handle *file, short permission)
{
    if (!file)
        return zan_err_invalid_ptr;
    *file = nullptr;
    const std::string full = full_name(path, name);
    if (full.empty())
        return ENOENT;
    if (permission < 1 || permission > 3)
        return EINVAL;
    return open_stream(full, permission == 1 ? "rbe" : "r+be", file);
}

long path_createsysfile(const char *name, short path, uint32_t type, zan_file_handle *file)
{
    if (!file)
        return zan_err_invalid_ptr;
    *file = nullptr;
    const std::string full = full_name(path, name);
    return full.empty() ? ENOENT : open_stream(full, "w+be", file);
}

long sysfile_read(zan_file_handle file, long *count, void *buffer)
{
    const long wanted = count ? *count : 0;
    if (count)
        *count = 0;
    if (!file || !count || wanted < 0 || (!buffer && wanted))
        return zan_err_invalid_ptr;
    if (const int failed = turn(file, 1))
        return failed;
    clearerr(file->stream);
    errno = 0;
    *count = static_cast<long>(fread(buffer, 1, static_cast<size_t>(wanted), file->stream));
    return ferror(file->stream) ? (errno ? errno : EIO) : 0;
}

long sysfile_write(zan_file_handle file, long *count, const void *buffer)
{
    const long wanted = count ? *count : 0;
    if (count)
        *count = 0;
    if (!file || !count || wanted < 0 || (!buffer && wanted))
        return zan_err_invalid_ptr;
    if (const int failed = turn(file, 2))
        return failed;
    clearerr(file->stream);
    errno = 0;
    *count = static_cast<long>(fwrite(buffer, 1, static_cast<size_t>(wanted), file->stream));
    return ferror(file->stream) ? (errno ? errno : EIO) : 0;
}

long sysfile_getpos(zan_file_handle file, long *position)
{
    if (!file || !position)
        return zan_err_invalid_ptr;
    const off_t at = ftello(file->stream);
    *position = at < 0 ? 0 : at;
    return at < 0 ? errno : 0;
}

long sysfile_setpos(zan_file_handle file, long mode, long offset)
{
    if (!file)
        return zan_err_invalid_ptr;
    if (mode < 1 || mode > 3)
        return EINVAL;
    if (fseeko(file->stream, offset, mode == 1 ? SEEK_SET : mode == 2 ? SEEK_END : SEEK_CUR) != 0)
        return errno;
    file->last = 0;
    return 0;
}

long sysfile_geteof(zan_file_handle file, long *size)
{
    if (!file || !size)
        return zan_err_invalid_ptr;
    *size = 0;
    struct stat info;
    if ((file->last == 2 && fflush(file->stream) != 0) || fstat(fileno(file->stream), &info) != 0)
        return errno;
    *size = info.st_size;
    return 0;
}

long sysfile_seteof(zan_file_handle file, long size)
{
    if (!file)
        return zan_err_invalid_ptr;
    if (fflush(file->stream) != 0 || ftruncate(fileno(file->stream), size) != 0)
        return errno;
    return 0;
}

long sysfile_close(zan_file_handle file)
{
    if (!file)
        return zan_err_invalid_ptr;
    const int failed = fclose(file->stream) != 0 ? errno : 0;
    delete file;
    return failed;
}

long sysfile_spoolcopy(zan_file_handle src, zan_file_handle dst, uint32_t type)
{
    if (!src || !dst || src == dst)
        return zan_err_invalid_ptr;
    long failed = sysfile_setpos(src, 1, 0);
    if (!failed)
        failed = sysfile_setpos(dst, 1, 0);
    char buffer[1 << 16];
    long total = 0;
    while (!failed) {
        long count = sizeof buffer;
        failed = sysfile_read(src, &count, buffer);
        if (failed || !count)
            break;
        total += count;
        failed = sysfile_write(dst, &count, buffer);
    }
    return failed ? failed : sysfile_seteof(dst, total);
}

long sysfile_readtextfile(zan_file_handle file, zan_handle text, long maxsize, long flags)
{
    if (!file || !text || maxsize < 0)
        return zan_err_invalid_ptr;
    std::string bytes;
    if (const int failed = append_rest(file, maxsize ? static_cast<size_t>(maxsize) : SIZE_MAX, 65536, bytes))
        return failed;
    if (!(flags & text_every_byte)) {
        if (bytes.compare(0, 3, "\xef\xbb\xbf") == 0)
            bytes.erase(0, 3);
        if (!(flags & text_keep_line_ends))
            bytes.resize(unify_line_ends(bytes.data(), bytes.size()));
    }
    if (flags & text_nul)
        bytes.push_back(0);
    if (sysmem_resizehandle(text, static_cast<long>(bytes.size())))
        return zan_err_out_of_mem;
    if (!bytes.empty())
        memcpy(*text, bytes.data(), bytes.size());
    return 0;
}

long sysfile_writetextfile(zan_file_handle file, zan_handle text, long flags)
try {
    if (!file || !text)
        return zan_err_invalid_ptr;
    std::string bytes(*text ? *text : "", static_cast<size_t>(*text ? sysmem_handlesize(text) : 0));
    if ((flags & text_nul) && !bytes.empty() && bytes.back() == 0)
        bytes.pop_back();
    if (!(flags & (text_every_byte | text_keep_line_ends)))
        bytes.resize(unify_line_ends(bytes.data(), bytes.size()));
    long count = static_cast<long>(bytes.size()), at = 0;
    long failed = sysfile_write(file, &count, bytes.data());
    if (!failed)
        failed = sysfile_getpos(file, &at);
    return failed ? failed : sysfile_seteof(file, at);
} catch (const std::bad_alloc &) {
    return zan_err_out_of_mem;
}

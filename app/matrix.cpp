// Making, shaping and describing the program's matrices.
#include "matrix.h"

namespace program {

matrix::matrix(vok_matrix_info info)
{
    const quiet_reports quiet; // the failure below says it with the size
    x_ = owned(vok_object_new(gensym("vok_matrix"), &info));
    if (!x_ || !data())
        throw failure(failed_running, "a matrix of " + shape_text(info) + " is too large");
}

vok_matrix_info matrix::info() const
{
    vok_matrix_info info;
    send(get(), "getinfo", &info);
    return info;
}

void matrix::reshape(vok_matrix_info info)
{
    quiet_reports quiet;
    if (send(get(), "setinfo", &info) != VOK_ERR_NONE)
        throw failure(failed_running, "a matrix of " + shape_text(info) + " is too large");
}

unsigned char *matrix::data() const
{
    unsigned char *p = nullptr;
    send(get(), "getdata", &p);
    return p;
}

long matrix::slice_count(const vok_matrix_info &info)
{
    long count = 1;
    for (long i = 2; i < info.dimcount; ++i)
        count *= info.dim[i];
    return count;
}

long matrix::offset_of_row(const vok_matrix_info &info, long slice, long row)
{
    long offset = info.dimcount > 1 ? row * info.dimstride[1] : 0;
    for (long i = 2; i < info.dimcount; ++i) {
        offset += slice % info.dim[i] * info.dimstride[i];
        slice /= info.dim[i];
    }
    return offset;
}

std::string matrix::shape_text(const vok_matrix_info &info)
{
    std::string text = std::string(info.type ? info.type->name : "?") + " " + std::to_string(info.planecount) +
                       (info.planecount == 1 ? " plane " : " planes ");
    for (long i = 0; i < info.dimcount; ++i)
        text += (i ? "x" : "") + std::to_string(info.dim[i]);
    return text;
}

vok_matrix_info matrix::default_info()
{
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    return info;
}

} // namespace program

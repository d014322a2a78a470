// The wrapper's files: vkf files found by name or by dialog, pictures through the matrix's
// own export, and movies through the video engines, which are reached by class name.
// Each message hands back the file's name and how it went.
#include <algorithm>
#include <utility>

#include <vokra/attributes.h>
#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/matrix_file.h>
#include <vokra/matrix_wrapper.h>
#include <zan/zan.h>

#include "kernel/atoms.h"
#include "matrix/matrix_lock.h"

using namespace vok;

namespace {

constexpr uint32_t file_type = VOK_BIN_FORMTYPE;

enum outcome : long { failed = -1, nothing_done = 0, done = 1 };

void hand_back(atom *result, symbol *name, long how)
{
    if (!result)
        return;
    atom list[2];
    atom_setsym(list, name && name != _vok_sym_nothing ? name : _vok_sym__none_);
    atom_setlong(list + 1, how);
    atom_setobj(result, make(_vok_sym_nobox, _vok_sym_atomarray, 2L, list));
}

symbol *name_among(long argc, const atom *argv)
{
    symbol *name = argc > 0 && argv ? atom_getsym(argv) : nullptr;
    return name ? name : _vok_sym_nothing;
}

struct place {
    char name[ZAN_NAME_SIZE] = "";
    short path = 0;
    explicit place(const char *text) { strncpy_zero(name, text, sizeof name); }
};

class open_file {
  public:
    open_file() = default;
    ~open_file() { close(); }
    open_file(const open_file &) = delete;
    open_file &operator=(const open_file &) = delete;
    operator zan_file_handle() const { return handle; }
    // A full disk may show only now.
    long close() { return sysfile_close(std::exchange(handle, nullptr)); }

    zan_file_handle handle = nullptr;
};

bool is_there(const place &p)
{
    zan_fileinfo info;
    return path_fileinfo(p.name, p.path, &info) == 0;
}

// A name with a folder stands for itself, any other is looked for in the wrapper's folder
// and then along the search path.
bool find(const vok_matrix_wrapper *x, const symbol *name, place *p)
{
    if (path_frompotentialpathname(name->name, &p->path, p->name)) {
        strncpy_zero(p->name, name->name, sizeof p->name);
        p->path = x->path;
    }
    uint32_t type = 0;
    return is_there(*p) || locatefile_extended(p->name, &p->path, &type, &file_type, 1) == 0;
}

outcome read_from(vok_matrix_wrapper *x, const place &p)
{
    open_file file;
    long version = 0, size = 0;
    if (path_opensysfile(p.name, p.path, &file.handle, 1))
        vok_object_error(x, "vok.matrix: can't open file %s", p.name);
    else if (!x->matrix)
        vok_object_error(x, "vok.matrix: error reading file");
    else if (vok_bin_read_header(file, &version, &size) || vok_bin_read_matrix(file, x->matrix))
        vok_object_error(x, "vok.matrix: improper file format %s", p.name);
    else
        return done;
    return failed;
}

outcome write_to(vok_matrix_wrapper *x, const place &p)
{
    open_file file;
    if (path_createsysfile(p.name, p.path, file_type, &file.handle)) {
        vok_object_error(x, "vok.matrix: could not create file %s", p.name);
        return failed;
    }
    if (!x->matrix) {
        vok_object_error(x, "vok.matrix: error writing file");
        return failed;
    }
    long end = 0;
    bool header = !vok_bin_write_header(file, 0);
    const bool matrix = header && !vok_bin_write_matrix(file, x->matrix) && !sysfile_getpos(file, &end) &&
                        !sysfile_seteof(file, end);
    if (matrix)
        header = !vok_bin_write_header(file, end) && !file.close();
    if (header && matrix)
        return done;
    vok_object_error(x, "vok.matrix: could not write %s %s", header ? "matrix" : "header", p.name);
    return failed;
}

// What a movie answered: the file's name, and whether there is one.
struct movie_reply {
    symbol *name = nullptr;
    long result = 0;

    explicit movie_reply(const atom &reply)
    {
        const owned_object list(atom_getobj(&reply));
        long argc = 0;
        atom *argv = nullptr;
        if (!list || atomarray_getatoms(list.get(), &argc, &argv))
            return;
        name = argc > 0 ? atom_getsym(argv) : nullptr;
        result = argc > 1 ? atom_getlong(argv + 1) : 0;
    }
};

void *new_movie(const char *classname, void *matrix)
{
    vok_matrix_info info;
    send(matrix, _vok_sym_getinfo, &info);
    return make(ps_vokra, gensym(classname), info.dim[0], info.dim[1]);
}

// The matrix takes the size of the movie, as cells of video.
void take_movie_size(void *movie, void *matrix)
{
    zan_word extents[2] = {1, 1};
    vok_attr_getlong_array(movie, gensym("movie_dim"), 2, extents);
    atom dim[2];
    for (int i = 0; i < 2; i++)
        atom_setlong(dim + i, extents[i]);
    send(movie, _vok_sym_dim, 2L, dim);
    vok_matrix_info info;
    send(matrix, _vok_sym_getinfo, &info);
    info.type = _vok_sym_char;
    info.planecount = 4;
    info.dimcount = 2;
    std::copy_n(extents, 2, info.dim);
    send(matrix, _vok_sym_setinfo, &info);
}

} // namespace

vok_err vok_matrix_wrapper_read(vok_matrix_wrapper *x, symbol *, long argc, atom *argv, atom *result)
{
    if (!x)
        return VOK_ERR_INVP;
    symbol *name = name_among(argc, argv);
    place p("");
    uint32_t type = file_type;
    outcome how = failed;
    if (name != _vok_sym_nothing) {
        if (find(x, name, &p))
            how = read_from(x, p);
        else
            vok_object_error(x, "vok.matrix: can't find file %s", name->name);
    } else if (open_dialog(p.name, &p.path, &type, &file_type, 1)) {
        how = nothing_done;
    } else {
        name = gensym(p.name);
        how = read_from(x, p);
    }
    hand_back(result, name, how);
    return VOK_ERR_NONE;
}

vok_err vok_matrix_wrapper_write(vok_matrix_wrapper *x, symbol *, long argc, atom *argv, atom *result)
{
    if (!x)
        return VOK_ERR_INVP;
    symbol *name = name_among(argc, argv);
    const bool asks = name == _vok_sym_nothing;
    place p(asks ? "matrix.vkf" : name->name);
    p.path = x->path;
    uint32_t type = file_type;
    outcome how = nothing_done;
    if (!asks || !saveasdialog_extended(p.name, &p.path, &type, &file_type, 1)) {
        if (asks)
            name = gensym(p.name);
        how = write_to(x, p);
    }
    hand_back(result, name, how);
    return VOK_ERR_NONE;
}

vok_err vok_matrix_wrapper_exportimage(vok_matrix_wrapper *x, symbol *, long argc, atom *argv, atom *result)
{
    if (!x)
        return VOK_ERR_INVP;
    // the export puts the final name into the first atom
    atom_array list;
    list.argc = argv && argc > 0 ? argc : 1;
    list.argv = static_cast<atom *>(sysmem_newptrclear(list.argc * static_cast<long>(sizeof(atom))));
    if (!list.argv)
        return VOK_ERR_OMEM;
    if (argv && argc > 0)
        std::copy_n(argv, argc, list.argv);
    const bool exported = x->matrix && !send(x->matrix, gensym("export_image_surface"), list.argc, list.argv);
    hand_back(result, exported ? atom_getsym(list.argv) : nullptr, exported ? done : nothing_done);
    return VOK_ERR_NONE;
}

vok_err vok_matrix_wrapper_import_movie(vok_matrix_wrapper *x, symbol *, long argc, atom *argv, atom *result)
{
    if (!x)
        return VOK_ERR_INVP;
    vok_err err = VOK_ERR_NONE;
    symbol *name = nullptr;
    outcome how = nothing_done;
    if (!argv)
        argc = 0;
    if (const owned_object movie(x->matrix ? new_movie("vok_qt_movie", x->matrix) : nullptr); movie) {
        vok_attr_setfloat(movie.get(), gensym("rate"), 0.0); // it isn't to play
        atom answer{};
        object_method_typed(movie.get(), gensym("read"), std::min(argc, 1L), argv, &answer);
        const movie_reply reply(answer);
        name = reply.name;
        if (reply.result) {
            atom time;
            atom_setlong(&time, 0);
            object_attr_setvalueof(movie.get(), gensym("time"), 1, argc > 1 ? argv + 1 : &time);
            if (x->adapt)
                take_movie_size(movie.get(), x->matrix);
            err = send(movie.get(), _vok_sym_matrix_calc, nullptr, x->matrix);
            how = err ? nothing_done : done;
        }
    }
    hand_back(result, name, how);
    return err;
}

vok_err vok_matrix_wrapper_export_movie(vok_matrix_wrapper *x, symbol *, long argc, atom *argv, atom *result)
{
    if (!x)
        return VOK_ERR_INVP;
    symbol *name = nullptr;
    long how = nothing_done;
    if (const owned_object recorder(x->matrix ? new_movie("vok_qt_record", x->matrix) : nullptr); recorder) {
        atom answer{}, unused{};
        object_method_typed(recorder.get(), gensym("write"), argv ? argc : 0, argv, &answer);
        send(recorder.get(), _vok_sym_matrix_calc, x->matrix);
        object_method_typed(recorder.get(), gensym("stop"), 0, nullptr, &unused);
        const owned_object stopped(atom_getobj(&unused));
        const movie_reply reply(answer);
        name = reply.name;
        how = reply.result;
    }
    hand_back(result, name, how);
    return VOK_ERR_NONE;
}

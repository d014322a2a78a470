/* The library's common symbols: one global `_vok_sym_<name>` each, filled at the start
 * of initialize and never changed. They are compared by pointer, so a type, selector
 * or attribute name is a global and not a call of gensym. One list makes the
 * declarations, the globals and their filling. */
#ifndef VOKRA_COMMONSYMS_H
#define VOKRA_COMMONSYMS_H

#include <vokra/base.h>

VOKRA_BEGIN_C

/* clang-format off */
/* X(name): the text is the name. */
#define VOK_COMMON_SYMBOLS(X) \
    X(new) X(free) X(classname) X(getname) X(getmethod) X(get) X(set) X(register) X(char) X(long) X(float32) \
    X(float64) X(symbol) X(pointer) X(object) X(atom) X(list) X(type) X(dim) X(planecount) X(val) X(plane) \
    X(cell) X(vok_matrix) X(class_vok_matrix) X(togworld) X(fromgworld) X(frommatrix) X(class_vok_attribute) \
    X(vok_attribute) X(vok_attr_offset) X(vok_attr_offset_array) X(rebuilding) X(modified) X(lock) \
    X(setinfo) X(setinfo_ex) X(getinfo) X(data) X(getdata) X(outputmatrix) X(clear) X(clear_custom) \
    X(zan_vok_classex) X(setall) X(chuck) X(getsize) X(getindex) X(objptr2index) X(append) X(chuckindex) \
    X(makearray) X(reverse) X(rotate) X(shuffle) X(swap) X(findfirst) X(findall) X(methodall) X(methodindex) \
    X(sort) X(matrix_calc) X(genframe) X(filter) X(vok_mop) X(newcopy) X(vok_linklist) X(inputcount) \
    X(outputcount) X(getinput) X(getoutput) X(getinputlist) X(getoutputlist) X(ioname) X(matrixname) \
    X(outputmode) X(matrix) X(getmatrix) X(typelink) X(dimlink) X(planelink) X(restrict_type) \
    X(restrict_planecount) X(restrict_dim) X(special) X(getspecial) X(adapt) X(decorator) \
    X(frommatrix_trunc) X(ioproc) X(getioproc) X(name) X(types) X(minplanecount) X(maxplanecount) \
    X(mindimcount) X(maxdimcount) X(mindim) X(maxdim) X(class_vok_namespace) X(vok_namespace) X(findsize) \
    X(attach) X(detach) X(add) X(replace) X(gettype) X(ob_sym) X(resolve_name) X(resolve_raw) X(notifyall) \
    X(block) X(unblock) X(position) X(rotatexyz) X(scale) X(quat) X(direction) X(lookat) X(anim) X(bounds) \
    X(boundcalc) X(calcbounds) X(draw) X(get_state) X(matrixoutput) X(get_geometry) X(setdata) X(setup) \
    X(drawto) X(ob3d_draw) X(get_ob3d) X(ob3d_ui) X(vok_gl_render) X(render_ptr) X(get_render_ptr) \
    X(draw_chunk) X(get_chunk) X(ignore_textures) X(ignore_normals) X(ignore_colors) X(ignore_edges) \
    X(getoffset) X(getoffsetcount) X(dest_closing) X(vok_gl_shader) X(vok_gl_material) X(vok_glchunk) \
    X(rebuild_geometry) X(vok_gl_texture_sketch) X(vok_gl_cubemap) X(bind_texture) X(bind) X(unbind) \
    X(begin_capture) X(end_capture) X(capture) X(capturing) X(shared_context) X(shader_bound) X(update) \
    X(worldpos) X(worldrot) X(worldscale) X(multiply) X(screen) X(exclusion) X(colorblend) X(alphablend) \
    X(coloradd) X(alphaadd) X(set_modelview) X(set_projection) X(nobox) X(atomarray) X(typedmess) X(flip) \
    X(fsaa) X(set_transform) X(texture) X(ob3d_get_offset) X(target) X(worldtransform) X(default) \
    X(rotate_order) X(camera) X(mouseout) X(mouse) X(mouseidleout) X(mouseidle) X(color) X(init) X(linear) \
    X(nearest) X(mode) X(repeat) X(layer) X(reshape) X(close) X(clearcolor) X(modelview) X(projection) \
    X(depth) X(auto) X(half) X(float) X(float16) X(alpha) X(luminance) X(intensity) X(lumalpha) X(rgb) \
    X(argb) X(uyvy) X(line) X(point) X(vok_gl_texture) X(spot) X(directional) X(hemisphere) X(get_params) \
    X(set_params) X(set_param) X(worlddir) X(colormode) X(drawraw) X(circle) X(up) X(dest_dim) X(none) \
    X(static) X(rectangle) X(front) X(back) X(front_and_back) X(slices) X(outline) X(lighting_enable) \
    X(tex_map) X(dynamic) X(grab_uifocus) X(release_uifocus) X(enable) X(screen_to_world) X(world_to_screen) \
    X(inherit_transform) X(inherit_all) X(drawspecial) X(out_name) X(texturecount) X(vsm_params)

/* X(name, text): those whose text is another. */
#define VOK_COMMON_SYMBOLS_RENAMED(X) \
    X(VOK_CLASS3D_FINDER, "this_is_the_vok_class3d") \
    X(_none_, "<none>") \
    X(nothing, "") \
    X(err_calculate, "could not calculate") \
    X(err_lockout_stack, "lockout stack underflow or overflow") \
    X(insertindex, "insert") \
    X(deleteindex, "delete") \
    X(gl_points, "points") X(gl_point_sprite, "point_sprite") X(gl_lines, "lines") \
    X(gl_line_strip, "line_strip") X(gl_line_loop, "line_loop") X(gl_triangles, "triangles") \
    X(gl_tri_strip, "tri_strip") X(gl_tri_fan, "tri_fan") X(gl_quads, "quads") \
    X(gl_quad_strip, "quad_strip") X(gl_polygon, "polygon") X(gl_tri_grid, "tri_grid") \
    X(gl_quad_grid, "quad_grid")
/* clang-format on */

#define VOK_DECLARE_SYMBOL(name) VOKRA_EXPORT extern symbol *_vok_sym_##name;
#define VOK_DECLARE_RENAMED(name, text) VOK_DECLARE_SYMBOL(name)
VOK_COMMON_SYMBOLS(VOK_DECLARE_SYMBOL)
VOK_COMMON_SYMBOLS_RENAMED(VOK_DECLARE_RENAMED)
#undef VOK_DECLARE_SYMBOL
#undef VOK_DECLARE_RENAMED

/* The namespaces of the library's classes and registered objects. */
VOKRA_EXPORT extern symbol *ps_vokra;
VOKRA_EXPORT extern symbol *ps_vokraCFM;
/* The host's table of common symbols. */
VOKRA_EXPORT extern symbol **_common_symbols;

/* Called by initialize, in this order (with zpatcher_syms_init in between). */
VOKRA_EXPORT void common_symbols_init(void);
VOKRA_EXPORT void vok_symbols_init(void);

VOKRA_END_C
#endif

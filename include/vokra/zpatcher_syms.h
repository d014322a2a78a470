/* The host's vocabulary for patchers, boxes, lines and views: one global `ps_<name>`
 * each, its text the name, filled at the start of initialize. Apart from commonsyms.h,
 * since files keep short ps_ names of their own too. */
#ifndef VOKRA_ZPATCHER_SYMS_H
#define VOKRA_ZPATCHER_SYMS_H

#include <vokra/base.h>

VOKRA_BEGIN_C

/* clang-format off */
#define VOK_ZPATCHER_SYMBOLS(X) \
    X(anything) X(assist) X(preset) X(bang) X(list) X(int) X(float) X(symbol) X(set) X(clear) X(notify) \
    X(free) X(loadbang) X(closebang) X(dblclick) X(inletinfo) X(dumpout) X(quickref) X(attr_getnames) \
    X(attr_get) X(attr_gettarget) X(attrindex) X(attr_modified) X(attr_added) X(attr_deleted) X(attributes) \
    X(methods) X(getmesslist) X(getvalueof) X(setvalueof) X(object_clone) X(usercanget) X(usercanset) \
    X(canget) X(canset) X(getattributes) X(getstate) X(summary) X(importattrs) X(exportattrs) \
    X(exportsummary) X(zan_vok_attrlist) X(zan_vok_classex) X(zanwrapper) X(objectname) X(matrixinputcount) \
    X(matrixinput) X(matrixoutputcount) X(matrixoutput) X(message) X(array) X(inmode) \
    X(vok_matrix_startprobe) X(vok_matrix_probevalue) X(vok_matrix_endprobe) X(vok_gl_texture_startprobe) \
    X(vok_gl_texture_probevalue) X(vok_gl_texture_endprobe) X(getoutputmess) X(texture_name) \
    X(output_texture) X(openfilefront) X(matrixprobe_show) X(showmenubar) X(hidemenubar) X(showcursor) \
    X(hidecursor) X(launchbrowser) X(html_ref) X(setpollthrottle) X(setqueuethrottle) X(basic) X(category) \
    X(enum) X(enumindex) X(enumvals) X(label) X(style) X(onoff) X(invisible) X(save) X(paint) \
    X(undocumented) X(groupreference) X(zan) X(zbox) X(zpatcher) X(zpatchline) X(zpatcherview) X(zbox_new) \
    X(box) X(boxes) X(line) X(patcher) X(patchers) X(patcherview) X(view) X(subpatcher) X(parentpatcher) \
    X(toppatcher) X(parent) X(child) X(getfirstobject) X(getlastobject) X(getnextobject) X(getprevobject) \
    X(nextobject) X(prevobject) X(firstobject) X(lastobject) X(firstline) X(nextline) X(source) \
    X(destination) X(startpoint) X(endpoint) X(outletnum) X(inletnum) X(sourceoutlet) X(destinationinlet) \
    X(numinlets) X(numoutlets) X(inlettype) X(outlettype) X(maxclass) X(varname) X(args) X(id) X(hint) \
    X(annotation) X(ignoreclick) X(background) X(hidden) X(locked) X(presentation) X(presentation_rect) \
    X(patching_rect) X(rect) X(position_rect) X(size) X(fontname) X(fontsize) X(fontface) X(textcolor) \
    X(bgcolor) X(bordercolor) X(fgcolor) X(gridsize) X(gridonopen) X(toolbarvisible) X(openrect) \
    X(enablehscroll) X(enablevscroll) X(description) X(tags) X(title) X(filename) X(filepath) X(dirty) \
    X(bglocked) X(zoomfactor) X(visible) X(newobject) X(newdefault) X(newex) X(connect) X(disconnect) \
    X(connected) X(delete) X(script) X(read) X(write) X(front) X(open_window) X(close_window) X(window) \
    X(getwindow) X(topmost) X(drawfirst) X(invalidate) X(redraw) X(mousedown) X(mouseup) X(mousedrag) \
    X(mousemove) X(mousewheel) X(mouseenter) X(mouseleave) X(key) X(keyup) X(focusgained) X(focuslost) \
    X(select) X(unselect) X(selected) X(patchlineupdate) X(inletsupdate) X(outletsupdate) \
    X(boxscreenrectchanged) X(attrname) X(attr)
/* clang-format on */

#define VOK_DECLARE_SYMBOL(name) VOKRA_EXPORT extern symbol *ps_##name;
VOK_ZPATCHER_SYMBOLS(VOK_DECLARE_SYMBOL)
#undef VOK_DECLARE_SYMBOL

VOKRA_EXPORT void zpatcher_syms_init(void);

VOKRA_END_C
#endif

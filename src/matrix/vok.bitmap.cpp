// vok_bitmap: a plain record that describes pixels in up to three planes, its own or
// the caller's. The lock is a count that nobody waits for.
#include <vokra/matrix_image.h>

#include <vokra/memory.h>

namespace {

void drop_pixels(vok_bitmap *b)
{
    if (b->owned && b->base)
        sysmem_freeptr(b->base);
    b->owned = 0;
    b->base = nullptr;
    b->data = nullptr;
    for (unsigned char *&plane : b->plane)
        plane = nullptr;
}

void take_single_plane(vok_bitmap *b, unsigned char *data)
{
    b->data = data;
    b->plane[0] = data;
    b->planestride[0] = b->pitch;
    b->planecount = 1;
}

void count_lock(vok_bitmap *b)
{
    if (b->lockcount < 255)
        b->lockcount++;
}

} // namespace

vok_bitmap *vok_bitmap_new(long width, long height, long pitch, long align)
{
    auto *b = static_cast<vok_bitmap *>(sysmem_newptrclear(sizeof(vok_bitmap)));
    if (!b)
        return nullptr;
    constexpr unsigned long row_alignment = 32;
    b->width = width;
    b->height = height;
    b->pitch = pitch;
    if (align)
        b->pitch =
            static_cast<long>((static_cast<unsigned long>(pitch) + row_alignment - 1) & ~(row_alignment - 1));
    b->planecount = 4;
    return b;
}

void vok_bitmap_free(vok_bitmap *b)
{
    if (!b)
        return;
    drop_pixels(b);
    sysmem_freeptr(b);
}

vok_err vok_bitmap_allocate(vok_bitmap *b)
{
    if (!b)
        return VOK_ERR_INVP;
    drop_pixels(b);
    long bytes = 0;
    if (b->height < 0 || b->pitch < 0 || __builtin_mul_overflow(b->height, b->pitch, &bytes))
        return VOK_ERR_OMEM;
    b->base = static_cast<unsigned char *>(sysmem_newptr(bytes));
    if (!b->base)
        return VOK_ERR_OMEM;
    b->owned = 1;
    take_single_plane(b, b->base);
    return VOK_ERR_NONE;
}

vok_err vok_bitmap_setdata(vok_bitmap *b, void *data)
{
    if (!b)
        return VOK_ERR_INVP;
    drop_pixels(b);
    take_single_plane(b, static_cast<unsigned char *>(data));
    return VOK_ERR_NONE;
}

vok_err vok_bitmap_setplanes(vok_bitmap *b, void *plane0, void *plane1, void *plane2)
{
    if (!b)
        return VOK_ERR_INVP;
    drop_pixels(b);
    void *const planes[3] = {plane0, plane1, plane2};
    b->planecount = 0;
    for (void *plane : planes) {
        if (!plane)
            break;
        b->plane[b->planecount++] = static_cast<unsigned char *>(plane);
    }
    b->data = b->plane[0];
    return VOK_ERR_NONE;
}

vok_err vok_bitmap_setplanestrides(vok_bitmap *b, long stride0, long stride1, long stride2)
{
    if (!b)
        return VOK_ERR_INVP;
    b->planestride[0] = stride0;
    b->planestride[1] = stride1;
    b->planestride[2] = stride2;
    return VOK_ERR_NONE;
}

vok_err vok_bitmap_lockplanes(vok_bitmap *b, unsigned char **p0, unsigned char **p1, unsigned char **p2)
{
    if (!b)
        return VOK_ERR_INVP;
    unsigned char **const out[3] = {p0, p1, p2};
    for (int i = 0; i < 3; i++) {
        if (out[i])
            *out[i] = b->plane[i];
    }
    count_lock(b);
    return VOK_ERR_NONE;
}

unsigned char *vok_bitmap_lock(vok_bitmap *b)
{
    if (!b)
        return nullptr;
    count_lock(b);
    return b->data;
}

vok_err vok_bitmap_release(vok_bitmap *b)
{
    if (!b)
        return VOK_ERR_INVP;
    if (b->lockcount > 0)
        b->lockcount--;
    return VOK_ERR_NONE;
}

long vok_bitmap_pitch(vok_bitmap *b)
{
    return b ? b->pitch : 0;
}

/* A complete program around the host and the library: a patch from memory, driven by messages
 * and by virtual time, whose result is read out of a matrix by its name.
 *
 *   cc embed.c $(pkg-config --cflags --libs vokra) -Wl,-rpath,PREFIX/lib
 */
#include <stdio.h>

#include <vokra/vokra.h>
#include <zan/host.h>
#include <zan/patch.h>

static const char text[] = "patch 1;\n"
                           "box beat metro 40;\n"
                           "box count counter;\n"
                           "box fill prepend setall;\n"
                           "box here vok.matrix numbers 1 long 3 2;\n"
                           "cord beat 0 count 0;\n"
                           "cord count 0 fill 0;\n"
                           "cord fill 0 here 0;\n";

/* Every report with the box that it is about, instead of lines on standard error. */
static void hear(void *data, long kind, void *object, const char *report)
{
    char place[256];
    zan_place_text(zan_report_place(), place, sizeof place);
    fprintf(stderr, "%s%s: %s\n", kind == zan_report_error ? "error at " : "", place, report);
    (void)data;
    (void)object;
}

/* A message to the left inlet of a box. */
static void tell(zan_patch *patch, const char *box, const char *message)
{
    zan_send(zan_patch_find(patch, gensym(box)), 0, gensym(message), 0, 0);
}

int main(void)
{
    zan_start();  /* this thread becomes the main thread */
    initialize(); /* the library */
    zan_set_reporter(hear, 0);
    zan_set_clock(zan_clock_virtual); /* leave it out for real time */

    zan_patch *patch = zan_patch_parse("embedded", text, -1);
    if (!patch || zan_patch_open(patch, 0, 0) != 0) /* the errors have been reported */
        return 1;
    zan_patch_start(patch);

    tell(patch, "beat", "bang");
    zan_run_until(1000); /* beats at 0, 40, ... 1000 milliseconds */
    tell(patch, "beat", "stop");

    /* Whoever reads cells locks, takes info and data, reads, and restores. */
    void *numbers = vok_object_findregistered(gensym("numbers"));
    vok_matrix_info info;
    unsigned char *data = 0;
    const zan_word lock = vok_object_method(numbers, _vok_sym_lock, 1L);
    vok_object_method(numbers, _vok_sym_getinfo, &info);
    vok_object_method(numbers, _vok_sym_getdata, &data);
    for (long row = 0; data && row < info.dim[1]; ++row) {
        const int32_t *cells = (const int32_t *)(data + row * info.dimstride[1]);
        for (long i = 0; i < info.dim[0] * info.planecount; ++i)
            printf("%d ", cells[i]);
        printf("\n");
    }
    vok_object_method(numbers, _vok_sym_lock, lock);

    zan_patch_free(patch); /* its boxes and their matrices go */
    zan_stop();
    return 0;
}

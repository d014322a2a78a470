// What the host's own files share and no one outside sees: the hooks between the
// object kernel, the queues and the cords, and the order in which the host's own
// classes come up.
#pragma once
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>
#include <zan/host.h>

namespace zan {

// Bits of object::state, set when a subsystem holds something for an object and
// read when the object is freed, so that a plain object costs nothing there.
enum state_bits : intptr_t {
    state_has_queued = 1, // queue.cpp: defers, qelems or clocks name this object
    state_has_cords = 2,  // outlets.cpp: outlets, proxies or cords name this object, or it is one of them
};

// Brings up the host's own classes once; any entry that needs a class calls it.
void boot();

// Called by boot, in this order; each registers its classes in namespace "nobox".
void init_hashtab_class();      // hashtab.cpp
void init_linklist_class();     // linklist.cpp
void init_atomarray_class();    // atomarray.cpp
void init_dictionary_class();   // dictionary.cpp
void init_attribute_classes();  // attributes.cpp
void init_binbuf_class();       // binbuf.cpp
void init_sketch_image_class(); // sketch_image.cpp
void init_queue_classes();      // queue.cpp: clock, qelem
zan_class *make_clock_class();  // scheduler.cpp, for the one above
void init_outlet_classes();     // outlets.cpp: outlet, proxy
void init_receiver();           // receiver.cpp: the object behind the name "zan"
void init_patch_classes();      // patcher/ports.cpp: patch, inlet, outlet and what stands for a box

// How long one who frees an object waits for a function that another thread runs for
// it. Bounded, since that function may wait for a lock that the freeing thread holds.
constexpr auto patience = std::chrono::seconds(1);
// Drop what is queued for an object that is being freed, and wait for a piece of it
// that another thread is running now (queue.cpp). Called while state_has_queued is
// set: ahead of the free function, and once more behind it, in case that queued.
void queue_forget(object *x);
// Delete the outlets, proxies and cords of an object that is being freed (outlets.cpp).
// Called while state_has_cords is set, behind the free function: that one may have
// freed proxies and outlets itself.
void cords_forget(object *x);
// While one lives on the main thread no clock's function begins, and what ran on the
// scheduler's thread has ended: messages that came from there are nowhere among the boxes,
// which so can be made, connected and freed. Waits as long as that takes, or, when a lock may
// be held that is waited for there, no longer than a second; one inside of another doesn't
// wait again (scheduler.cpp).
class scheduler_at_rest {
  public:
    explicit scheduler_at_rest(bool as_long_as_it_takes);
    ~scheduler_at_rest();
    scheduler_at_rest(const scheduler_at_rest &) = delete;
    scheduler_at_rest &operator=(const scheduler_at_rest &) = delete;

  private:
    bool rests_;
};
const zan_place *keep_place(const zan_place &place); // the one copy that stays (places.cpp)
// The place of the innermost box that handles a message on this thread, or that was at
// work when the function which runs now was queued; or null (outlets.cpp).
const zan_place *place_at_work();
// While one lives, a function runs that was queued from `place` (outlets.cpp).
class queued_work {
  public:
    explicit queued_work(const zan_place *place);
    ~queued_work();
    queued_work(const queued_work &) = delete;
    queued_work &operator=(const queued_work &) = delete;

  private:
    void *top_;
    const zan_place *from_;
};
// While one lives, the warnings and errors of this thread are kept in it and not told (report.cpp).
class caught_reports {
  public:
    struct report {
        long kind; // zan_report_...
        std::string text;
    };
    caught_reports();
    ~caught_reports();
    caught_reports(const caught_reports &) = delete;
    caught_reports &operator=(const caught_reports &) = delete;
    std::vector<report> all;

  private:
    caught_reports *outer_;
};
// The registered main thread is calling, or none has been named yet; not while it plays
// the scheduler's part (scheduler.cpp).
bool on_main_thread();
bool is_named_main(); // the same, but named, and whatever it plays
double virtual_ms();  // virtual time, or -1 while time is real (scheduler.cpp)
void end_the_run();   // no clock begins any more, and the main loop ends (scheduler.cpp)

zan_class *class_in_making(); // what addmess adds to, or null (classes.cpp)

// Whether a cord can end at this inlet (outlets.cpp).
bool has_inlet(object *box, long inlet);

// Whether x is a live object. Any pointer or number may be asked about: objects lie on
// 16-byte boundaries, so the magic word of what does is on the same page as x itself,
// and the first pages are nobody's.
__attribute__((no_sanitize("address", "thread"), noinline)) inline bool looks_live(const void *x)
{
    const auto address = reinterpret_cast<uintptr_t>(x);
    return address >= 65536 && !(address & 15) &&
           static_cast<const volatile object *>(x)->magic == ZAN_OBJECT_MAGIC;
}
// Marks x for queue_forget or cords_forget; any thread.
inline void mark_state(object *x, intptr_t bit)
{
    __atomic_fetch_or(&x->state, bit, __ATOMIC_RELAXED);
}
// Inside a catch of everything: "threw an exception", and what it says if it says anything (modules.cpp).
std::string told_of_throw();
// Loads NAME.so along the search path (modules.cpp); true when a module was loaded.
bool load_module_for(symbol *classname);
// Loads the modules in the folders "packs" of the search path that weren't tried yet (modules.cpp).
void load_packs();

symbol *nobox(); // the namespace "nobox"

// A four-character code as a word.
constexpr uint32_t file_code(const char (&text)[5])
{
    uint32_t code = 0;
    for (int i = 0; i < 4; ++i)
        code = code << 8 | static_cast<unsigned char>(text[i]);
    return code;
}
// The absolute name of a file in a folder; empty for an unknown path (paths.cpp).
std::string full_name(short path, const char *name);
// The full name of the first file of this name where box classes are looked for, or empty (paths.cpp).
std::string class_file(const std::string &name);
// While one lives, files are looked for in the folder of this patch too. One in the making
// goes ahead of all others, and ends before one that was made earlier (paths.cpp).
class open_folder {
  public:
    open_folder(std::string folder, bool in_the_making);
    ~open_folder();
    open_folder(const open_folder &) = delete;
    open_folder &operator=(const open_folder &) = delete;

  private:
    std::string folder_;
    bool in_the_making_;
};
// The identifier of a folder by its absolute name; 0 when no more can be given out (paths.cpp).
short path_of_folder(const std::string &folder);
bool is_folder(const std::string &name); // there, and a folder (paths.cpp)
// The four-character type of a file, 'fold' for a folder, 0 when it isn't known or there (files.cpp).
uint32_t file_type(const std::string &fullname);
// What its first bytes say a file is ("a GIF"); null when they say nothing (files.cpp).
const char *kind_of_bytes(std::string_view bytes);
// The whole of a file, at most `limit` bytes; 0 or a positive errno, EFBIG when there is more (files.cpp).
int read_whole_file(const std::string &fullname, size_t limit, std::string &bytes);

// A file that appears under its name only when it is whole: written under a temporary
// name beside it, renamed by commit, removed without (files.cpp).
class whole_file {
  public:
    explicit whole_file(const std::string &fullname);
    ~whole_file();
    whole_file(const whole_file &) = delete;
    whole_file &operator=(const whole_file &) = delete;
    FILE *stream() const { return stream_; } // null when it couldn't be made
    int commit();                            // 0 or a positive errno, of any earlier failure too

  private:
    std::string name_, temporary_; // no temporary name: a device or pipe, written straight
    FILE *stream_ = nullptr;
    int error_ = 0;
};

// Pictures. A decoder gives a surface of format 0 with one reference, or null and in
// `why` what is wrong, as the end of "this PNG is ...". Neither longjmp nor an
// exception leaves them.
constexpr long max_picture_pixels = 1L << 28;
zan_surface *surface_create(long width, long height); // null when memory is out (surfaces.cpp)
zan_surface *surface_retain(zan_surface *s);
zan_surface *decode_png(std::string_view bytes, std::string &why);  // picture_png.cpp
zan_surface *decode_jpeg(std::string_view bytes, std::string &why); // picture_jpeg.cpp
// What a JPEG's APP1 marker tells, 1 to 8; 0 or anything else when it tells nothing, or nothing
// that makes sense (picture_orientation.cpp).
int exif_orientation(std::string_view marker);
// The surface turned and mirrored accordingly, in its place; null when memory is out.
zan_surface *upright(zan_surface *stored, int orientation);
// Encoders write to a stream; false and what went wrong, but for the stream's own errors.
bool encode_png(const zan_surface &s, double dpi, FILE *stream, std::string &why);
bool encode_jpeg(const zan_surface &s, FILE *stream, std::string &why);
// A resolution to a hundredth, which is finer than any file keeps; 72 for nonsense.
double tidy_dpi(double dpi);

// A function as the untyped pointer that class_new and class_addmethod take.
template <class F> inline zan_method erase(F *fn)
{
    return reinterpret_cast<zan_method>(fn);
}

} // namespace zan

typedef struct _cairo_surface cairo_surface_t;

struct zan_surface {
    cairo_surface_t *cairo; // null for three bytes a pixel and for what cairo can't hold
    unsigned char *pixels;  // cairo's, the caller's, or from sysmem
    long format, width, height, stride;
    double dpi;
    std::atomic<long> references;
    void (*destroy)(void *); // what becomes of the pixels, with `data`; may be null
    void *data;
};

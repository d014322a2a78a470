// What the host's own files share and no one outside sees: the hooks between the
// object kernel, the queues and the cords, and the order in which the host's own
// classes come up.
#pragma once
#include <zan/host.h>

namespace zan {

// Bits of object::state, set when a subsystem holds something for an object and
// read when the object is freed, so that a plain object costs nothing there.
enum state_bits : intptr_t {
    state_has_queued = 1, // queue.cpp: defers, qelems or clocks name this object
    state_has_cords = 2,  // outlets.cpp: outlets, proxies or cords name this object
};

// Brings up the host's own classes once; any entry that needs a class calls it.
void boot();

// Called by boot, in this order; each registers its classes in namespace "nobox".
void init_hashtab_class();    // hashtab.cpp
void init_linklist_class();   // linklist.cpp
void init_atomarray_class();  // atomarray.cpp
void init_dictionary_class(); // dictionary.cpp
void init_attribute_classes(); // attributes.cpp
void init_binbuf_class();     // binbuf.cpp
void init_sketch_image_class(); // sketch_image.cpp
void init_queue_classes();    // queue.cpp: clock, qelem
void init_outlet_classes();   // outlets.cpp: outlet, proxy
void init_receiver();         // receiver.cpp: the object behind the name "zan"

// Drop what is queued for an object that is being freed, and wait for a piece of it
// that another thread is running now (queue.cpp). Called while state_has_queued is
// set: ahead of the free function, and once more behind it, in case that queued.
void queue_forget(object *x);
// Delete the outlets, proxies and cords of an object that is being freed (outlets.cpp).
// Called while state_has_cords is set, behind the free function: that one may have
// freed proxies and outlets itself.
void cords_forget(object *x);
// The registered main thread is calling, or none has been named yet (queue.cpp).
bool on_main_thread();

zan_class *class_in_making();     // the class that this thread made last, or null (classes.cpp)
long object_count(symbol *name);  // objects alive, of one class name or of all (objects.cpp)

// Whether x is a live object. Any pointer may be asked about: objects lie on 16-byte
// boundaries, so the magic word of what does is on the same page as x itself.
__attribute__((no_sanitize("address", "thread"), noinline)) inline bool looks_live(const void *x)
{
    return x && !(reinterpret_cast<uintptr_t>(x) & 15) &&
           static_cast<const volatile object *>(x)->magic == ZAN_OBJECT_MAGIC;
}
// Marks x for queue_forget or cords_forget; any thread.
inline void mark_state(object *x, intptr_t bit)
{
    __atomic_fetch_or(&x->state, bit, __ATOMIC_RELAXED);
}
// Loads NAME.so along the search path (modules.cpp); true when a module was loaded.
bool load_module_for(symbol *classname);

symbol *nobox(); // the namespace "nobox"

} // namespace zan

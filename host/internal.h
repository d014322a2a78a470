// What the host's own files share and no one outside sees: the hooks between the
// object kernel, the queues and the cords, and the order in which the host's own
// classes come up.
#pragma once
#include <zan/zan.h>

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
void init_receiver();         // receiver.cpp: the object behind the name "zan"

// Drop what is queued for an object that is being freed (queue.cpp).
void queue_forget(object *x);
// Delete the outlets, proxies and cords of an object that is being freed (outlets.cpp).
void cords_forget(object *x);
// The registered main thread is calling, or none has been named yet (queue.cpp).
bool on_main_thread();

symbol *nobox(); // the namespace "nobox"

} // namespace zan

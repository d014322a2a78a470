// What a person may have meant: the nearest of the words that would have been right, and
// whether an object would take a message that text sends to it.
#pragma once
#include "kernel.h"

namespace zan {

// Holds against a wrong word whatever would have been right, and keeps the nearest. All these
// words must stay as long as it does.
class near_word {
  public:
    explicit near_word(std::string_view wrong);
    void consider(std::string_view right);
    std::string_view best() const { return best_; } // empty when none is near
    std::string hint() const;                       // "; did you mean ...?", or empty

  private:
    std::string_view wrong_, best_;
    long best_distance_; // what the next one must be below
};

// The selector that a message in text has, given its words: its first when that is a
// symbol, which *from then leaves out; else bang, int, float or list.
symbol *selector_of(long argc, const atom *argv, long *from);
// Whether typedmess will find a way to deliver a message to x.
bool understands(void *x, symbol *selector);
// The same for a cord or zan_send, which also make one form of a number or a list of another.
bool takes(void *x, symbol *selector);
// Considers the names of all public messages and attributes of x.
void consider_messages(near_word &near, void *x);
// Considers the attributes of x: its own, and messages that come in pairs with a "get".
void consider_attributes(near_word &near, void *x);
bool has_attribute(zan_class *c, symbol *name); // of either kind

} // namespace zan

// Names that messages are sent to without a cord.
#pragma once
#include <zan/host.h>

namespace boxes {

struct receivers;

// While it lives, what is sent to the name leaves the outlet too. A name that stands for
// something else is an error of box x, and nothing comes.
class receiving {
  public:
    receiving(void *x, symbol *name, void *outlet);
    ~receiving();
    receiving(const receiving &) = delete;
    receiving &operator=(const receiving &) = delete;

  private:
    receivers *hub_ = nullptr;
    void *outlet_;
};

// The object behind a name, or null.
void *object_behind(const symbol *name);

} // namespace boxes

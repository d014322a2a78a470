// Boxes that begin, repeat, delay and end: what drives a patch. Times are milliseconds of
// the host's clocks; every bang of theirs comes on the scheduler's thread.
#include "box.h"

#include <cmath>

namespace boxes {
namespace {

constexpr double shortest = 0.1; // milliseconds: a metro that never waited would never let go

// Calls T::due on the scheduler. Stopped by the host when the box is freed.
class timer {
  public:
    template <class T> static timer of(shell *x)
    {
        return timer(clock_new(x, [](void *owner) {
            if (box *self = static_cast<shell *>(owner)->self)
                static_cast<T *>(self)->due();
        }));
    }
    ~timer() { object_free(clock_); }
    timer(const timer &) = delete;
    timer &operator=(const timer &) = delete;
    void start(double ms) const { clock_fdelay(clock_, ms); }
    void stop() const { clock_unset(clock_); }

  private:
    explicit timer(void *clock) : clock_(clock) {}
    void *clock_;
};

double duration(double ms, double least)
{
    return ms > least ? ms : least; // NaN too
}

struct loadbang : box {
    explicit loadbang(const birth &b) : box(b) { shape(1, 1); }
    void hear(long, const message &) override { outlet_bang(out[0]); }
};

struct metro : box {
    double interval;
    double next = 0; // when the bang to come is due: a late one doesn't put off those behind it
    timer clock;

    explicit metro(const birth &b)
        : box(b), interval(duration(number(b, 0, 500), shortest)), clock(timer::of<metro>(b.x))
    {
        shape(2, 1);
    }
    void hear(long inlet, const message &m) override
    {
        const atom *value = number_of(m);
        if (inlet && value)
            interval = duration(atom_getfloat(value), shortest);
        else if (inlet)
            misfit(inlet, m, "a number of milliseconds");
        else if (m.selector == words().stop || (value && atom_getfloat(value) == 0))
            clock.stop();
        else
            start();
    }
    void start()
    {
        next = systimer_gettime();
        clock.start(0); // the first bang too comes from the scheduler
    }
    void due()
    {
        const double now = systimer_gettime();
        next = std::fmax(next + interval, now); // what couldn't be done in time is left out
        clock.start(next - now);                // first, so that what the bang leads to may stop it
        shell *const me = x;                    // or free the box
        outlet_bang(out[0]);
        zan_frame_done(me, zan_frame_beat);
    }
    static void set(box &b, const atom &a)
    {
        static_cast<metro &>(b).interval = duration(atom_getfloat(&a), shortest);
    }
};
constexpr attribute metro_attributes[] = {
    {"interval", "float64", get_number<&metro::interval>, metro::set, "Milliseconds from bang to bang"},
};

struct delay : box {
    double time;
    timer clock;

    explicit delay(const birth &b) : box(b), time(duration(number(b, 0, 0), 0)), clock(timer::of<delay>(b.x))
    {
        shape(2, 1);
    }
    void hear(long inlet, const message &m) override
    {
        const atom *value = number_of(m);
        if (value)
            time = duration(atom_getfloat(value), 0);
        else if (inlet)
            return misfit(inlet, m, "a number of milliseconds");
        if (m.selector == words().stop)
            clock.stop();
        else if (!inlet)
            clock.start(time);
    }
    void due() { outlet_bang(out[0]); }
    static void set(box &b, const atom &a) { static_cast<delay &>(b).time = duration(atom_getfloat(&a), 0); }
};
constexpr attribute delay_attributes[] = {
    {"time", "float64", get_number<&delay::time>, delay::set, "Milliseconds of delay"},
};

struct quit : box {
    explicit quit(const birth &b) : box(b) {}
    void hear(long, const message &) override { zan_quit(); }
};

constexpr kind rows[] = {
    {"loadbang", "Sends a bang when its patch has been loaded.", "", "bang loadbang", "bang sends it once more",
     "bang", make<loadbang>},
    {"metro", "Sends bangs at regular intervals.", "[milliseconds]", "bang int float stop",
     "bang or a number starts, 0 or stop stops|milliseconds from bang to bang", "bang", make<metro>,
     metro_attributes},
    {"delay", "Sends a bang some time after it got one; another bang begins anew.", "[milliseconds]",
     "bang int float stop", "bang starts, a number sets the time and starts, stop stops|milliseconds of delay",
     "bang", make<delay>, delay_attributes},
    {"quit", "Ends the run when what is under way is done.", "", "bang int float", "bang ends the run", "",
     make<quit>},
};

} // namespace

std::span<const kind> timing_kinds()
{
    return rows;
}

} // namespace boxes

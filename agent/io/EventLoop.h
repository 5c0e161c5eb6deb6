#pragma once

#include "agent/trees/Time.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace Agent {

/// The one thread's loop: poll(2) over file descriptors, and timers. Handlers must not block; they
/// may watch and unwatch anything, themselves too.
class EventLoop {
  public:
    using Handler = std::function<void()>;

    using Clock = std::function<Time()>;

    EventLoop();
    /// @param clock  tells the time in place of the system's, from the same beginning on
    explicit EventLoop(Clock clock);
    EventLoop(EventLoop const&) = delete;
    EventLoop& operator=(EventLoop const&) = delete;

    /// Since the loop was made, by a clock that is never set.
    Time now() const { return clock_(); }

    /// Calls the handler whenever the descriptor is ready for one of the events (as for poll(2)),
    /// or has failed. Replaces the former handler of the descriptor.
    void watch(int descriptor, short events, Handler handler);
    void unwatch(int descriptor);

    /// A timer, which is off; it rings once each time that it is set.
    using Timer = std::size_t;
    Timer timer(Handler handler);
    void timerIs(Timer timer, std::optional<Time> when);

    /// Handles what comes until stop().
    /// Throws std::system_error when poll(2) fails.
    void run();
    /// Handles what is there, waiting for it until the time given at most.
    void turn(Time until);
    void stop() { stopped_ = true; }

  private:
    struct Watch {
        short events;
        std::shared_ptr<Handler> handler;
    };
    struct TimerState {
        Handler handler;
        std::optional<Time> when;
    };

    Clock clock_;
    std::map<int, Watch> watches_;
    std::vector<TimerState> timers_;
    bool stopped_ = false;
};

} // namespace Agent

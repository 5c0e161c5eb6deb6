#include "agent/io/EventLoop.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Agent {
namespace {

Time monotonic() {
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch());
}

} // namespace

EventLoop::EventLoop()
    : clock_([begin = monotonic()] { return monotonic() - begin; }) {}

EventLoop::EventLoop(Clock clock)
    : clock_(std::move(clock)) {}

void EventLoop::watch(int descriptor, short events, Handler handler) {
    watches_[descriptor] = {events, std::make_shared<Handler>(std::move(handler))};
}

void EventLoop::unwatch(int descriptor) { watches_.erase(descriptor); }

EventLoop::Timer EventLoop::timer(Handler handler) {
    timers_.push_back({std::move(handler), std::nullopt});
    return timers_.size() - 1;
}

void EventLoop::timerIs(Timer timer, std::optional<Time> when) { timers_.at(timer).when = when; }

void EventLoop::run() {
    stopped_ = false;
    while (!stopped_)
        turn(Time::max());
}

void EventLoop::turn(Time until) {
    for (TimerState const& timer : timers_)
        if (timer.when)
            until = std::min(until, *timer.when);
    int timeout = -1;
    if (until != Time::max()) {
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - now()).count();
        timeout = static_cast<int>(std::clamp<decltype(wait)>(wait, 0, 60'000));
    }

    std::vector<pollfd> descriptors;
    std::vector<std::shared_ptr<Handler>> handlers;
    for (auto const& [descriptor, watch] : watches_) {
        descriptors.push_back({descriptor, watch.events, 0});
        handlers.push_back(watch.handler);
    }
    if (poll(descriptors.data(), descriptors.size(), timeout) < 0 && errno != EINTR)
        throw std::system_error(errno, std::generic_category(), "poll");

    for (std::size_t i = 0; i < descriptors.size(); ++i) {
        const auto at = watches_.find(descriptors[i].fd);
        // A handler before may have unwatched it, and its number may be another file's by now.
        if (descriptors[i].revents != 0 && at != watches_.end() &&
            at->second.handler == handlers[i])
            (*handlers[i])();
    }
    const Time now = this->now();
    for (std::size_t i = 0; i < timers_.size(); ++i)
        if (timers_[i].when && *timers_[i].when <= now) {
            timers_[i].when.reset();
            const Handler handler = timers_[i].handler;
            handler();
        }
}

} // namespace Agent

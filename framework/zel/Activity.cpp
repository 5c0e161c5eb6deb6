#include "framework/zel/Activity.h"

namespace Zel {

constinit std::atomic<ActivityObserver*> detail::activityObserver{nullptr};

void activityObserverIs(ActivityObserver* observer) noexcept {
    detail::activityObserver.store(observer, std::memory_order_release);
}

} // namespace Zel

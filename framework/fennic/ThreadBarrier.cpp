#include "framework/fennic/ThreadBarrier.h"

#ifdef __linux__
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace Fennic {

#ifdef __linux__

bool canHaveThreadsSynchronized() noexcept {
    return ::syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0;
}

void haveThreadsSynchronized() noexcept {
    ::syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0);
}

Zel::U64 threadNumber() noexcept { return static_cast<Zel::U64>(::gettid()); }

#else

bool canHaveThreadsSynchronized() noexcept { return false; }
void haveThreadsSynchronized() noexcept {}
Zel::U64 threadNumber() noexcept { return 1; }

#endif

} // namespace Fennic

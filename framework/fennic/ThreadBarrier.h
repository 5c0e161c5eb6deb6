#pragma once

#include "framework/zel/Int.h"

/// What only the operating system can do for the threads of a process. Where it is not Linux, and
/// where it refuses, there is less of it.
namespace Fennic {

/// Whether haveThreadsSynchronized() can be called from now on.
bool canHaveThreadsSynchronized() noexcept;

/// Every thread of the process executes a memory barrier before this returns: what it stored
/// earlier is seen by all, and what it loads later is loaded later.
void haveThreadsSynchronized() noexcept;

/// How the system numbers this thread; 1 where it does not.
Zel::U64 threadNumber() noexcept;

} // namespace Fennic

#pragma once

#include <atomic>

namespace tovlark {

/// The flags that every task shares. Long loops poll `cancel` between units of work.
struct Flags {
    std::atomic<bool> cancel = false;  // the user wants to stop: the process ends with -2
    std::atomic<bool> error = false;   // a task reported an error: the process ends with -1
};

}  // namespace tovlark

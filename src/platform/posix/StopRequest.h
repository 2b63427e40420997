#pragma once

namespace tovlark {

/// A descriptor that becomes readable, and stays so, once a signal has asked this process to stop; -1 before
/// `WatchForCancel`. Waiting on it beside another descriptor leaves no moment in which the signal could be missed.
int StopDescriptor();

}  // namespace tovlark

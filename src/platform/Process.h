#pragma once

#include <atomic>
#include <cstdint>

#include "base/Text.h"
#include "platform/SystemError.h"

namespace tovlark {

std::uint32_t ProcessId();

/// True with administrative rights (root; an elevated token).
bool IsAdministrator();

/// True when the error means that this user may not do that.
bool IsAccessDenied(SystemError error);

/// Opens the named event (POSIX: the named semaphore "/name") with the right to change its state, sets it
/// (posts it once) and closes it. Nothing is created.
SystemError SignalNamedEvent(const Text& name);

/// Starts the program in this folder again with administrative rights (verb "runas"). Windows only; elsewhere fails.
SystemError RestartElevated(const Text& arguments);

/// Registers or unregisters the shell extension by running `regsvr32.exe` with verb "open" and parameters
/// "/s \"path\"" or "/s /u \"path\"". Windows only; elsewhere succeeds without doing anything.
enum class ShellExtension : std::uint8_t { Unregister, Register };
SystemError SetShellExtension(ShellExtension action, const Text& libraryPath);

/// Raises `cancel` when the user or the system asks this process to stop: SIGINT, SIGTERM, SIGHUP; a console front end
/// that dies or forwards Ctrl-C. A second Ctrl-C ends the process at once. Call once, before threads start.
void WatchForCancel(std::atomic<bool>& cancel);

}  // namespace tovlark

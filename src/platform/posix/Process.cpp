#include "platform/Process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <semaphore.h>
#include <unistd.h>

#include "base/Status.h"
#include "platform/posix/StopRequest.h"
#include "platform/posix/UnfinishedFiles.h"

namespace tovlark {

namespace {

constexpr std::array kStopSignals = {SIGINT, SIGTERM, SIGHUP};

std::atomic<bool>* watched = nullptr;
volatile std::sig_atomic_t stopRequested = 0;
int stopPipe[2] = {-1, -1};

static_assert(std::atomic<bool>::is_always_lock_free);

void OnStopSignal(int number) {
    if (number == SIGINT && stopRequested != 0) {
        RemoveUnfinishedFiles();
        ::_exit(kExitCancelled);
    }
    const int savedError = errno;
    stopRequested = 1;
    watched->store(true);
    [[maybe_unused]] const ssize_t written = ::write(stopPipe[1], "s", 1);
    errno = savedError;
}

}  // namespace

int StopDescriptor() { return stopPipe[0]; }

std::uint32_t ProcessId() { return static_cast<std::uint32_t>(::getpid()); }

bool IsAdministrator() { return ::geteuid() == 0; }

bool IsAccessDenied(SystemError error) { return error.code == EACCES || error.code == EPERM; }

SystemError SignalNamedEvent(const Text& name) {
    sem_t* const event = ::sem_open(("/" + ToUtf8(name)).c_str(), 0);
    if (event == SEM_FAILED) return {static_cast<std::uint32_t>(errno)};
    const int error = ::sem_post(event) == 0 ? 0 : errno;
    ::sem_close(event);
    return {static_cast<std::uint32_t>(error)};
}

SystemError RestartElevated(const Text&) { return {ENOTSUP}; }

SystemError SetShellExtension(ShellExtension, const Text&) { return {}; }

void WatchForCancel(std::atomic<bool>& cancel) {
    if (watched == nullptr && ::pipe2(stopPipe, O_CLOEXEC | O_NONBLOCK) != 0) stopPipe[0] = stopPipe[1] = -1;
    watched = &cancel;
    struct sigaction action {};
    action.sa_handler = OnStopSignal;
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : kStopSignals) {
        sigaddset(&signals, number);
        struct sigaction before {};
        ::sigaction(number, nullptr, &before);
        // A caller that had a signal ignored (`nohup`, a job in the background) does not mean us to stop on it.
        if (before.sa_handler != SIG_IGN) ::sigaction(number, &action, nullptr);
    }
    // A front end blocks them until this moment, so that one that comes early is not lost.
    ::sigprocmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace tovlark

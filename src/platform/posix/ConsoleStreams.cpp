#include "platform/ConsoleStreams.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include "platform/MarkerFilter.h"
#include "platform/posix/RunFolder.h"
#include "platform/posix/StopRequest.h"

namespace tovlark {

namespace {

// What a pipe that polls as writable takes without waiting (PIPE_BUF).
constexpr std::size_t kWriteBytes = 4096;
// How long output that nobody reads may hold up a process that was asked to stop.
constexpr int kPatienceMilliseconds = 1000;

int promptDescriptor = -1;
bool hasFrontEnd = false;

bool IsFifoOfThisUser(int descriptor) {
    struct stat facts {};
    return ::fstat(descriptor, &facts) == 0 && S_ISFIFO(facts.st_mode) && facts.st_uid == ::geteuid();
}

// Never waits: a FIFO without a reader refuses to be opened for writing this way.
bool ReopenOnFifo(int folder, const std::string& name, int accessMode, int standardDescriptor) {
    Descriptor fifo(::openat(folder, name.c_str(), accessMode | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!fifo || !IsFifoOfThisUser(fifo.get())) return false;
    const int flags = ::fcntl(fifo.get(), F_GETFL);
    return ::fcntl(fifo.get(), F_SETFL, flags & ~O_NONBLOCK) == 0 && ::dup2(fifo.get(), standardDescriptor) >= 0;
}

void AdoptPromptDescriptor() {
    const char* value = std::getenv(kPromptVariable);
    if (value == nullptr) return;
    int descriptor = -1;
    const char* end = value + std::strlen(value);
    const auto parsed = std::from_chars(value, end, descriptor);
    ::unsetenv(kPromptVariable);
    if (parsed.ec != std::errc() || parsed.ptr != end || descriptor <= STDERR_FILENO) return;
    const int flags = ::fcntl(descriptor, F_GETFL);
    if (flags < 0 || (flags & O_ACCMODE) != O_WRONLY || !IsFifoOfThisUser(descriptor)) return;
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK);
    promptDescriptor = descriptor;
}

/// Waits until the stream is ready; false when the process was asked to stop and the stream stays as it is.
bool WaitFor(int descriptor, short event, int patienceMilliseconds) {
    pollfd waits[] = {{descriptor, event, 0}, {StopDescriptor(), POLLIN, 0}};
    while (::poll(waits, std::size(waits), -1) < 0) {
        if (errno != EINTR) return false;
    }
    if (waits[0].revents != 0) return true;
    pollfd last{descriptor, event, 0};
    return ::poll(&last, 1, patienceMilliseconds) > 0;
}

bool WriteAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        if (!WaitFor(descriptor, POLLOUT, kPatienceMilliseconds)) return false;
        const ssize_t written = ::write(descriptor, bytes.data(), std::min(bytes.size(), kWriteBytes));
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR && errno != EAGAIN) {
            return false;
        }
    }
    return true;
}

bool WriteOutput(std::string_view bytes) {
    return hasFrontEnd ? WriteAll(STDOUT_FILENO, ShieldText(bytes)) : WriteAll(STDOUT_FILENO, bytes);
}

int ReadByte() {
    for (;;) {
        if (!WaitFor(STDIN_FILENO, POLLIN, 0)) return -1;
        unsigned char byte = 0;
        const ssize_t count = ::read(STDIN_FILENO, &byte, 1);
        if (count == 1) return byte;
        if (count == 0 || (errno != EINTR && errno != EAGAIN)) return -1;
    }
}

void AnnouncePrompt() {
    if (promptDescriptor < 0) return;
    [[maybe_unused]] const ssize_t written = ::write(promptDescriptor, "p", 1);
}

/// A reader that went away and a file that may not grow are errors of the write, not the end of the process.
void LetWritesFail() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace

bool BindConsolePipes() {
    LetWritesFail();
    AdoptPromptDescriptor();
    const RunFolder run = OpenRunFolder(MakeFolder::No);
    if (!run.folder) return false;
    const auto reopen = [&](ConsolePipe pipe, int accessMode, int standardDescriptor) {
        return ReopenOnFifo(run.folder.get(), ConsolePipeName(::getpid(), pipe), accessMode, standardDescriptor);
    };
    hasFrontEnd = reopen(ConsolePipe::Output, O_WRONLY, STDOUT_FILENO) &&
                  reopen(ConsolePipe::Input, O_RDONLY, STDIN_FILENO) &&
                  reopen(ConsolePipe::Errors, O_WRONLY, STDERR_FILENO);
    RemoveConsolePipes(run.folder.get(), ::getpid());
    return hasFrontEnd;
}

ConsoleStreams StandardStreams() {
    LetWritesFail();
    return {nullptr, [](void*, std::string_view bytes) { return WriteOutput(bytes); }, [](void*) { return ReadByte(); },
            [](void*) { AnnouncePrompt(); }};
}

void WriteErrorLine(TextView line) { WriteAll(STDERR_FILENO, ToUtf8(line) + "\r\n"); }

}  // namespace tovlark

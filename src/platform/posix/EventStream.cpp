#include "platform/EventStream.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>

#include "platform/posix/Descriptor.h"
#include "platform/posix/Native.h"

namespace tovlark {

namespace {

constexpr std::string_view kDescriptorWord = "fd:";

mode_t KindOf(int descriptor) {
    struct stat facts {};
    return ::fstat(descriptor, &facts) == 0 ? facts.st_mode & S_IFMT : 0;
}

std::optional<int> ParseDescriptor(std::string_view digits) {
    int number = -1;
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (parsed.ec != std::errc() || parsed.ptr != digits.data() + digits.size() || number < 0) return std::nullopt;
    return number;
}

/// A descriptor of our own for an inherited one. O_NONBLOCK belongs to what the caller shares with others, so it is not
/// touched: a pipe or a terminal is opened anew.
Descriptor AdoptInherited(int inherited) {
    const int flags = ::fcntl(inherited, F_GETFL), descriptorFlags = ::fcntl(inherited, F_GETFD);
    // What closes on exec was opened by this process itself.
    const bool isInherited = flags >= 0 && (descriptorFlags & FD_CLOEXEC) == 0;
    if (!isInherited || (flags & O_ACCMODE) == O_RDONLY) {
        errno = EBADF;
        return {};
    }
    const mode_t kind = KindOf(inherited);
    if (kind == S_IFIFO || kind == S_IFCHR) {
        const std::string path = "/proc/self/fd/" + std::to_string(inherited);
        Descriptor own(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (own || errno == ENXIO) return own;
    }
    return Descriptor(::fcntl(inherited, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

}  // namespace

struct EventTarget::State {
    Descriptor descriptor;
    bool isSocket = false, pollsFirst = false;
    std::string rest;  // of a line that went out in part

    // Returns how many bytes went out at once.
    std::size_t writeSome(std::string_view bytes) const {
        pollfd wait{descriptor.get(), POLLOUT, 0};
        if (pollsFirst && (::poll(&wait, 1, 0) != 1 || (wait.revents & POLLOUT) == 0)) return 0;
        ssize_t count = 0;
        do {
            count = isSocket ? ::send(descriptor.get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL)
                             : ::write(descriptor.get(), bytes.data(), bytes.size());
        } while (count < 0 && errno == EINTR);
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }

    bool write(std::string_view line) {
        if (!rest.empty()) rest.erase(0, writeSome(rest));
        if (!rest.empty()) return false;
        const std::size_t count = writeSome(line);
        if (count > 0) rest = line.substr(count);
        return count > 0;
    }
};

EventTarget::EventTarget() : state_(std::make_unique<State>()) {}
EventTarget::~EventTarget() = default;

Text EventTargetName() {
    const char* value = std::getenv("TOVLARK_EVENTS");
    return value == nullptr ? Text() : FromUtf8(value);
}

SystemError EventTarget::open(const Text& name) {
    // A reader that went away and a file that may not grow are errors of the write, not the end of the process.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const std::string path = NativePath(name);
    Descriptor opened;
    if (path.starts_with(kDescriptorWord)) {
        const std::optional<int> inherited = ParseDescriptor(std::string_view(path).substr(kDescriptorWord.size()));
        if (!inherited) return {EINVAL};
        opened = AdoptInherited(*inherited);
        if (!opened) return LastError();
        if (*inherited > STDERR_FILENO) ::fcntl(*inherited, F_SETFD, FD_CLOEXEC);
    } else {
        constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
        opened.reset(::open(path.c_str(), kFlags, 0666));
        if (!opened) return LastError();
    }
    const mode_t kind = KindOf(opened.get());
    if (kind != S_IFREG && kind != S_IFIFO && kind != S_IFCHR && kind != S_IFSOCK) return {EINVAL};
    state_->isSocket = kind == S_IFSOCK;
    state_->pollsFirst = kind != S_IFREG && (::fcntl(opened.get(), F_GETFL) & O_NONBLOCK) == 0;
    state_->descriptor = std::move(opened);
    return {};
}

EventStream EventTarget::stream() const {
    if (!state_->descriptor) return {};
    return {state_.get(), [](void* self, std::string_view line) { return static_cast<State*>(self)->write(line); }};
}

}  // namespace tovlark

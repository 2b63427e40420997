#include "preload/Client.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits.h>
#include <mutex>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

namespace tovlark {

namespace {

constexpr std::uint32_t kBlockBytes = 2048;
constexpr std::uint32_t kBlocksAtOnce = 32;
constexpr std::size_t kPageBytes = 4096;
constexpr int kMostLinks = 8;

/// Threads that share an opened drive speak one after the other.
std::mutex& Turn() {
    static std::mutex turn;
    return turn;
}

bool Transfer(int socket, void* bytes, std::size_t count, bool isSending) {
    for (auto* at = static_cast<char*>(bytes); count > 0;) {
        const ssize_t done = isSending ? ::send(socket, at, count, MSG_NOSIGNAL) : ::recv(socket, at, count, 0);
        if (done > 0) {
            at += done;
            count -= static_cast<std::size_t>(done);
        } else if (done == 0) {
            return false;
        } else if (errno == EAGAIN) {  // programs make their drives non-blocking
            pollfd wait{socket, static_cast<short>(isSending ? POLLOUT : POLLIN), 0};
            ::poll(&wait, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

/// One question and its answer; `data` go out with it, then hold what came in.
int Converse(int socket, Question question, Answer& answer, std::vector<std::byte>& data) {
    const std::lock_guard guard(Turn());
    const bool goesOut = question.kind == Question::Kind::Command && question.direction == 0;
    if (!Transfer(socket, &question, sizeof question, true)) return ENODEV;
    if (goesOut && !Transfer(socket, data.data(), data.size(), true)) return ENODEV;
    if (!Transfer(socket, &answer, sizeof answer, false)) return ENODEV;
    if (question.direction == 1) {
        data.resize(std::min(answer.dataBytes, question.dataBytes));
        if (!Transfer(socket, data.data(), data.size(), false)) return ENODEV;
    }
    return answer.error;
}

int Ask(int socket, Question::Kind kind, std::int64_t number, Answer& answer) {
    Question question;
    question.kind = kind;
    question.number = number;
    std::vector<std::byte> none;
    return Converse(socket, question, answer, none);
}

bool Address(const std::string& path, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return false;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return true;
}

/// A connection that has asked one thing; -1 and errno when that was refused.
int Connect(Question::Kind kind, std::int64_t number, int socketFlags) {
    sockaddr_un address;
    if (!Address(DrivePlace()->socket, address)) return Fail(ENXIO);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | socketFlags, 0);
    if (socket < 0) return -1;
    Answer answer;
    int error = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : ENXIO;
    if (error == 0) error = Ask(socket, kind, number, answer);
    if (error == 0) return socket;
    ::close(socket);
    return Fail(error);
}

std::array<std::byte, 10> BlockCommand(unsigned opcode, std::uint32_t block, std::uint32_t count) {
    std::array<std::byte, 10> cdb{std::byte(opcode)};
    for (unsigned index = 0; index < 4; ++index) cdb[2 + index] = std::byte(block >> (24 - 8 * index));
    cdb[7] = std::byte(count >> 8);
    cdb[8] = std::byte(count);
    return cdb;
}

/// Page by page up to the longest path there can be; a pointer that leads nowhere is for the system to refuse.
bool ReadPath(const char* path, std::span<char> text) {
    const std::size_t most = text.size() - 1;
    for (std::size_t at = 0; at < most && std::memchr(text.data(), 0, at) == nullptr;) {
        const std::size_t toPageEnd = kPageBytes - (reinterpret_cast<std::uintptr_t>(path) + at) % kPageBytes;
        const std::size_t count = std::min(toPageEnd, most - at);
        if (!CopyIn(text.data() + at, path + at, count)) return false;
        at += count;
    }
    return true;
}

}  // namespace

int Fail(int error) {
    errno = error;
    return -1;
}

const Place* DrivePlace() {
    // Never deleted: programs use their drives until their very end.
    static const Place* const place = [] {
        const char* value = std::getenv(kDriveVariable);
        const std::string_view text = value == nullptr ? "" : value;
        const std::size_t equals = text.find('=');
        if (equals == std::string_view::npos) return static_cast<Place*>(nullptr);
        return new Place{std::string(text.substr(0, equals)), std::string(text.substr(equals + 1))};
    }();
    return place;
}

bool IsDrive(int file) {
    const Place* place = DrivePlace();
    sockaddr_un expected, found{};
    socklen_t size = sizeof found;
    if (file < 0 || place == nullptr || !Address(place->socket, expected)) return false;
    const int before = errno;
    const bool isPeer = ::getpeername(file, reinterpret_cast<sockaddr*>(&found), &size) == 0;
    errno = before;
    return isPeer && found.sun_family == AF_UNIX && std::strcmp(found.sun_path, expected.sun_path) == 0;
}

bool IsDrivePath(int folder, const char* path, Links links) {
    const Place* place = DrivePlace();
    char text[PATH_MAX] = {};
    if (place == nullptr || path == nullptr || !ReadPath(path, text)) return false;
    const int before = errno;
    for (int depth = 0; depth < kMostLinks; ++depth) {
        const std::string_view name = text;
        if (name.empty()) return IsDrive(folder);  // AT_EMPTY_PATH
        if (name == place->path) return true;
        for (const std::string_view prefix : {"/dev/fd/", "/proc/self/fd/"}) {
            int file = -1;
            if (name.starts_with(prefix) &&
                std::from_chars(name.data() + prefix.size(), name.data() + name.size(), file).ptr ==
                    name.data() + name.size())
                return IsDrive(file);
        }
        char target[PATH_MAX] = {};
        const ssize_t bytes =
            links == Links::Follow ? ::syscall(SYS_readlinkat, folder, text, target, sizeof target - 1) : -1;
        errno = before;
        if (bytes <= 0 || target[0] != '/') return false;
        std::memcpy(text, target, sizeof text);
    }
    return false;
}

int OpenDrive(int flags) { return Connect(Question::Kind::Open, flags, (flags & O_CLOEXEC) != 0 ? SOCK_CLOEXEC : 0); }

int AccessDrive(int mode) {
    const int socket = Connect(Question::Kind::Access, mode, SOCK_CLOEXEC);
    if (socket < 0) return -1;
    ::close(socket);
    return 0;
}

int SendDrive(int file, std::span<const std::byte> cdb, SentCommand& command, std::uint32_t inBytes) {
    Question question;
    question.kind = Question::Kind::Command;
    question.cdbBytes = static_cast<std::uint32_t>(std::min(cdb.size(), question.cdb.size()));
    std::copy_n(cdb.begin(), question.cdbBytes, question.cdb.begin());
    question.direction = inBytes > 0 ? 1 : command.data.empty() ? 2 : 0;
    question.dataBytes = inBytes > 0 ? inBytes : static_cast<std::uint32_t>(command.data.size());
    if (question.dataBytes > kMostDataBytes) return EINVAL;
    return Converse(file, question, command.answer, command.data);
}

std::optional<std::vector<std::byte>> AskDrive(int file, std::initializer_list<unsigned> cdb, std::uint32_t inBytes) {
    std::vector<std::byte> bytes;
    for (const unsigned byte : cdb) bytes.push_back(static_cast<std::byte>(byte));
    SentCommand command;
    if (SendDrive(file, bytes, command, inBytes) != 0 || command.isRefused()) return std::nullopt;
    return std::move(command.data);
}

namespace {

std::uint32_t BigEndian(std::span<const std::byte> reply, std::size_t offset) {
    std::uint32_t value = 0;
    for (const std::byte byte : reply.subspan(offset, 4)) value = value << 8 | std::to_integer<std::uint32_t>(byte);
    return value;
}

/// Where the last track that is not blank has been written to; 0 when there is none.
std::uint32_t WrittenBlocks(int file) {
    constexpr std::uint32_t kDiscBytes = 34, kTrackBytes = 36;
    constexpr std::byte kBlank{0x40}, kEndIsKnown{2};
    const auto disc = AskDrive(file, {0x51, 0, 0, 0, 0, 0, 0, 0, kDiscBytes, 0}, kDiscBytes);
    if (!disc || disc->size() < kDiscBytes) return 0;
    for (unsigned number = std::to_integer<unsigned>((*disc)[6]), tries = 2; number > 0 && tries > 0;
         --number, --tries) {
        const auto track = AskDrive(file, {0x52, 1, 0, 0, 0, number, 0, 0, kTrackBytes, 0}, kTrackBytes);
        if (!track || track->size() < kTrackBytes) return 0;
        if (((*track)[6] & kBlank) != std::byte{0}) continue;
        return ((*track)[7] & kEndIsKnown) != std::byte{0} ? BigEndian(*track, 28) + 1
                                                           : BigEndian(*track, 8) + BigEndian(*track, 24);
    }
    return 0;
}

}  // namespace

std::int64_t DrivePosition(int file, std::int64_t position) {
    Answer answer;
    if (const int error = Ask(file, Question::Kind::Seek, position, answer); error != 0) return Fail(error);
    return answer.number;
}

std::uint32_t DriveBlocks(int file) {
    const auto reply = AskDrive(file, {0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 8);
    if (!reply || reply->size() < 8) return 0;
    const std::uint32_t last = BigEndian(*reply, 0);
    return std::max(last == 0 ? 0 : last + 1, WrittenBlocks(file));
}

std::int64_t ReadDrive(int file, void* buffer, std::size_t bytes, std::int64_t position) {
    if (position < 0) return Fail(EINVAL);
    const std::int64_t end = std::int64_t{DriveBlocks(file)} * kBlockBytes;
    bytes = static_cast<std::size_t>(std::clamp<std::int64_t>(end - position, 0, static_cast<std::int64_t>(bytes)));
    std::size_t done = 0;
    while (done < bytes) {
        const auto at = static_cast<std::uint64_t>(position) + done;
        const auto skip = static_cast<std::uint32_t>(at % kBlockBytes);
        const auto blocks = static_cast<std::uint32_t>(
            std::min<std::uint64_t>((skip + bytes - done + kBlockBytes - 1) / kBlockBytes, kBlocksAtOnce));
        SentCommand command;
        const auto cdb = BlockCommand(0x28, static_cast<std::uint32_t>(at / kBlockBytes), blocks);
        const int error = SendDrive(file, cdb, command, blocks * kBlockBytes);
        if (error != 0 || command.isRefused()) {
            // Blocks that can be read before one that cannot are delivered.
            if (blocks > 1 && error == 0 && bytes - done > kBlockBytes - skip) {
                const std::int64_t first = ReadDrive(file, static_cast<char*>(buffer) + done, kBlockBytes - skip,
                                                     static_cast<std::int64_t>(at));
                if (first > 0) {
                    done += static_cast<std::size_t>(first);
                    continue;
                }
            }
            return done > 0 ? static_cast<std::int64_t>(done) : Fail(error != 0 ? error : EIO);
        }
        const std::size_t count = std::min<std::size_t>(command.data.size() - skip, bytes - done);
        if (!CopyOut(static_cast<char*>(buffer) + done, command.data.data() + skip, count)) return Fail(EFAULT);
        done += count;
    }
    return static_cast<std::int64_t>(done);
}

std::int64_t WriteDrive(int file, const void* buffer, std::size_t bytes, std::int64_t position) {
    // The kernel's cache makes whole blocks of anything; here whole ones are asked for.
    if (position < 0 || position % kBlockBytes != 0 || bytes % kBlockBytes != 0) return Fail(EINVAL);
    const std::int64_t end = std::int64_t{DriveBlocks(file)} * kBlockBytes;
    if (bytes > 0 && position >= end) return Fail(ENOSPC);
    bytes = static_cast<std::size_t>(std::min<std::int64_t>(end - position, static_cast<std::int64_t>(bytes)));
    std::size_t done = 0;
    while (done < bytes) {
        const auto blocks =
            static_cast<std::uint32_t>(std::min<std::size_t>((bytes - done) / kBlockBytes, kBlocksAtOnce));
        SentCommand command;
        command.data.resize(blocks * kBlockBytes);
        if (!CopyIn(command.data.data(), static_cast<const char*>(buffer) + done, command.data.size()))
            return Fail(EFAULT);
        const auto block = static_cast<std::uint32_t>((static_cast<std::uint64_t>(position) + done) / kBlockBytes);
        const int error = SendDrive(file, BlockCommand(0x2A, block, blocks), command, 0);
        if (error != 0 || command.isRefused())
            return done > 0 ? static_cast<std::int64_t>(done) : Fail(error != 0 ? error : EIO);
        done += blocks * kBlockBytes;
    }
    return static_cast<std::int64_t>(done);
}

bool CopyIn(void* ours, const void* theirs, std::size_t bytes) {
    if (bytes == 0) return true;
    const iovec to{ours, bytes}, from{const_cast<void*>(theirs), bytes};
    return ::process_vm_readv(::getpid(), &to, 1, &from, 1, 0) == static_cast<ssize_t>(bytes);
}

bool CopyOut(void* theirs, const void* ours, std::size_t bytes) {
    if (bytes == 0) return true;
    const iovec from{const_cast<void*>(ours), bytes}, to{theirs, bytes};
    return ::process_vm_writev(::getpid(), &from, 1, &to, 1, 0) == static_cast<ssize_t>(bytes);
}

}  // namespace tovlark

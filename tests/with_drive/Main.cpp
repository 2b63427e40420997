// with_drive [OPTIONS] DRIVE PROGRAM [ARGUMENT...]: runs a program for which a simulated drive is a device of the
// system. This process keeps the drive and answers the library that is preloaded for the program and all that it
// starts.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <list>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "platform/SystemClock.h"
#include "preload/Protocol.h"
#include "simdrive/SimulatedDrive.h"

namespace tovlark {
namespace {

namespace fs = std::filesystem;

struct Options {
    std::string path = "/dev/sr" + std::to_string(kOpticalMinor), access = "rw", media, log, drive;
    std::uint32_t blocks = 0;
    bool isHasty = false;
    std::vector<std::string> program;
};

/// A folder that is gone at the end.
struct Scratch {
    fs::path path;

    Scratch() {
        std::string name = fs::temp_directory_path() / "with_drive.XXXXXX";
        if (::mkdtemp(name.data()) != nullptr) path = name;
    }
    ~Scratch() {
        std::error_code ignored;
        if (!path.empty()) fs::remove_all(path, ignored);
    }
};

struct Connection {
    int socket = -1, flags = 0;
    bool isOpened = false;
    std::int64_t position = 0;
};

class Keeper {
public:
    Keeper(const DiscDevice& device, std::string access) : device_(device), access_(std::move(access)) {}

    bool listen(const fs::path& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.native().size() >= sizeof address.sun_path) return false;
        std::memcpy(address.sun_path, path.c_str(), path.native().size());
        listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        return ::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
               ::listen(listener_, 64) == 0;
    }

    /// Answers until the process is over.
    void serve(int process) {
        while (true) {
            std::vector<pollfd> waits{{process, POLLIN, 0}, {listener_, POLLIN, 0}};
            for (const Connection& connection : connections_) waits.push_back({connection.socket, POLLIN, 0});
            if (::poll(waits.data(), waits.size(), -1) < 0) continue;
            if (waits[0].revents != 0) return;
            std::size_t index = 2;
            for (auto connection = connections_.begin(); connection != connections_.end(); ++index) {
                const bool isOver = waits[index].revents != 0 && !answer(*connection);
                if (isOver) ::close(connection->socket);
                connection = isOver ? connections_.erase(connection) : std::next(connection);
            }
            if (waits[1].revents != 0) accept();
        }
    }

private:
    void accept() {
        const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) return;
        // Who stops in the middle of a question keeps nobody else waiting for long.
        const timeval limit{10, 0};
        ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        connections_.push_back({.socket = socket});
    }

    static bool receive(int socket, void* bytes, std::size_t count) {
        return count == 0 || ::recv(socket, bytes, count, MSG_WAITALL) == static_cast<ssize_t>(count);
    }
    static bool send(int socket, const void* bytes, std::size_t count) {
        for (auto* at = static_cast<const char*>(bytes); count > 0;) {
            const ssize_t done = ::send(socket, at, count, MSG_NOSIGNAL);
            if (done <= 0) return false;
            at += done;
            count -= static_cast<std::size_t>(done);
        }
        return true;
    }

    /// One question; false when the connection has ended.
    bool answer(Connection& connection) {
        Question question;
        if (!receive(connection.socket, &question, sizeof question)) return false;
        if (question.dataBytes > kMostDataBytes || question.cdbBytes > question.cdb.size()) return false;
        if (question.direction > 2 || (question.direction == 2 && question.dataBytes > 0)) return false;
        data_.resize(question.dataBytes);
        if (question.direction == 0 && !receive(connection.socket, data_.data(), data_.size())) return false;
        Answer answer;
        switch (question.kind) {
            case Question::Kind::Open: answer.error = open(connection, static_cast<int>(question.number)); break;
            case Question::Kind::Access: answer.error = mayUse(static_cast<int>(question.number)) ? 0 : EACCES; break;
            case Question::Kind::Seek:
                if (question.number >= 0) connection.position = question.number;
                answer.number = connection.position;
                break;
            case Question::Kind::Command:
                if (!connection.isOpened) return false;
                command(question, answer);
                break;
            default: return false;
        }
        if (!send(connection.socket, &answer, sizeof answer)) return false;
        return question.direction != 1 || send(connection.socket, data_.data(), answer.dataBytes);
    }

    void command(const Question& question, Answer& answer) {
        // A host adapter fills up what is shorter than its operation code's group says; some programs count on that.
        const unsigned group = std::to_integer<unsigned>(question.cdb[0]) >> 5;
        const std::uint32_t least = group == 0 ? 6 : group <= 2 ? 10 : 12;
        PassThrough command{.cdb = std::span(question.cdb).first(std::max(question.cdbBytes, least)),
                            .direction = static_cast<DataDirection>(question.direction),
                            .data = data_.data(),
                            .dataBytes = question.dataBytes,
                            .sense = answer.sense,
                            .timeoutSeconds = 3600};
        if (const SystemError error = device_.send(device_.self, command); error.failed())
            answer.error = static_cast<std::int32_t>(error.code);
        answer.status = command.scsiStatus;
        answer.dataBytes = answer.error == 0 ? std::min(command.dataBytes, question.dataBytes) : 0;
    }

    bool mayUse(int mode) const {
        return ((mode & R_OK) == 0 || access_.find('r') != std::string::npos) &&
               ((mode & W_OK) == 0 || access_.find('w') != std::string::npos) && (mode & X_OK) == 0;
    }

    /// A command without an answer; true when the drive did it.
    bool send(std::initializer_list<unsigned char> bytes, std::span<std::byte> in = {}) {
        PassThrough command{.cdb = std::as_bytes(std::span(bytes)),
                            .direction = in.empty() ? DataDirection::None : DataDirection::In,
                            .data = in.data(),
                            .dataBytes = static_cast<std::uint32_t>(in.size()),
                            .sense = {}};
        return !device_.send(device_.self, command).failed() && command.scsiStatus == 0;
    }

    /// As the kernel opens a drive: one that is to be read as a file (not O_NONBLOCK) needs a disc, and a disc that is
    /// to be written as a file must take data anywhere.
    int open(Connection& connection, int flags) {
        const int mode = flags & O_ACCMODE;
        if (!mayUse((mode != O_WRONLY ? R_OK : 0) | (mode != O_RDONLY ? W_OK : 0))) return EACCES;
        if ((flags & O_EXCL) != 0)
            for (const Connection& other : connections_)
                if (&other != &connection && other.isOpened && (other.flags & O_EXCL) != 0) return EBUSY;
        if ((flags & O_NONBLOCK) == 0) {
            if (!send({0x1B, 0, 0, 0, 3, 0}) && !send({0x1B, 0, 0, 0, 3, 0})) return ENOMEDIUM;
            if (!send({0, 0, 0, 0, 0, 0}) && !send({0, 0, 0, 0, 0, 0})) return ENOMEDIUM;
            std::array<std::byte, 16> feature{};
            const bool isAsked = send({0x46, 2, 0, 0x20, 0, 0, 0, 0, 16, 0}, feature);
            if (mode != O_RDONLY && (!isAsked || (feature[10] & std::byte{1}) == std::byte{0})) return EROFS;
        }
        connection.flags = flags;
        connection.isOpened = true;
        return 0;
    }

    DiscDevice device_;
    std::string access_;
    int listener_ = -1;
    std::list<Connection> connections_;
    std::vector<std::byte> data_;
};

int Failed(const std::string& what) {
    std::fprintf(stderr, "with_drive: %s\n", what.c_str());
    return 125;
}

/// The description of the drive: the file itself, or one that is made for a disc.
Text DescriptionOf(const Options& options, const fs::path& scratch) {
    const fs::path given = fs::absolute(options.drive);
    if (given.extension() != ".tvdisc" && given.extension() != ".iso" && given.extension() != ".cue")
        return given.u16string();
    DriveDescription description;
    description.disc = given.u16string();
    if (!options.log.empty()) description.log = fs::absolute(options.log).u16string();
    const Text made = (scratch / "made.drive").u16string();
    if (WriteDriveDescription(made, description).failed()) return {};
    return made;
}

/// Runs the program with the drive; its exit status.
int Run(const Options& options, Keeper& keeper, const fs::path& socket) {
    if (!keeper.listen(socket)) return Failed("no socket in " + socket.string());
    std::string preload = TOVLARK_PRELOAD;
    if (const char* already = std::getenv("LD_PRELOAD"); already != nullptr) preload += std::string(":") + already;
    const pid_t process = ::fork();
    if (process < 0) return Failed(std::strerror(errno));
    if (process == 0) {
        ::setenv("LD_PRELOAD", preload.c_str(), 1);
        if (options.isHasty) ::setenv(kHasteVariable, "1", 1);
        ::setenv(kDriveVariable, (options.path + "=" + socket.string()).c_str(), 1);
        std::vector<char*> words;
        for (const std::string& word : options.program) words.push_back(const_cast<char*>(word.c_str()));
        words.push_back(nullptr);
        ::execvp(words[0], words.data());
        std::_Exit(Failed(options.program[0] + ": " + std::strerror(errno)) + 2);  // 127, as a shell says it
    }
    ::signal(SIGINT, SIG_IGN);  // meant for the program
    ::signal(SIGQUIT, SIG_IGN);
    const int handle = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
    if (handle < 0) return Failed(std::strerror(errno));
    keeper.serve(handle);
    int status = 0;
    ::waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int Main(const Options& options) {
    const Scratch scratch;
    if (scratch.path.empty()) return Failed("no temporary folder");
    if (!options.media.empty() && !fs::exists(options.drive)) {
        const MediumRules* rules = FindRules(TextView(FromUtf8(options.media)));
        if (rules == nullptr) return Failed("no such medium: " + options.media);
        const std::uint32_t blocks = options.blocks == 0 ? rules->blocks : options.blocks;
        if (Disc::create(fs::absolute(options.drive).u16string(), *rules, blocks).failed())
            return Failed("cannot make " + options.drive);
    }
    const Clock clock = SystemClock();
    DiscDevice device;
    if (const DriveFileFault fault = OpenSimulatedDrive(DescriptionOf(options, scratch.path), clock, device);
        fault.failed())
        return Failed("cannot open " + ToUtf8(fault.path) + " (" + std::to_string(fault.error.code) + ", " +
                      std::to_string(static_cast<unsigned>(fault.disc)) + ")");
    Keeper keeper(device, options.access);
    const int status = Run(options, keeper, scratch.path / "drive");
    device.close(device.self);
    return status;
}

}  // namespace
}  // namespace tovlark

int main(int count, char** words) {
    tovlark::Options options;
    CLI::App app("Runs a program for which a simulated drive is a device of the system.", "with_drive");
    app.prefix_command();
    app.add_option("--path", options.path, "The device's path")->capture_default_str();
    app.add_option("--access", options.access, "What the user may do with it: rw, r, or none")
        ->check(CLI::IsMember({"rw", "r", "none"}));
    app.add_option("--media", options.media, "Makes DRIVE as a new disc of this kind, unless it is there");
    app.add_option("--blocks", options.blocks, "Blocks of the new disc");
    app.add_flag("--haste", options.isHasty, "Shortens the program's own waits");
    app.add_option("--log", options.log, "Gets a line for each command; for DRIVE that is a disc");
    app.add_option("DRIVE", options.drive, "A drive's description, or a disc (.tvdisc, .iso, .cue)")->required();
    CLI11_PARSE(app, count, words);
    options.program = app.remaining();
    if (options.program.empty()) return tovlark::Failed("no program named");
    return tovlark::Main(options);
}

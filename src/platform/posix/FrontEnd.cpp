#include "platform/FrontEnd.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "base/Status.h"
#include "platform/MarkerFilter.h"
#include "platform/Paths.h"
#include "platform/posix/Native.h"
#include "platform/posix/RunFolder.h"

namespace tovlark {

namespace {

// What a pipe that polls as writable takes without waiting (PIPE_BUF).
constexpr std::size_t kChunkBytes = 4096;
// How long the rest of a marker may take before its beginning counts as text.
constexpr int kMarkerMilliseconds = 50;
// How long a cancelled command may take to react to the second request, and its last output to be read.
constexpr std::chrono::seconds kPatience{1};
// Two requests to stop that come closer together are one: `timeout` signals a process and then its group.
constexpr std::chrono::milliseconds kSameRequest{250};

using Tell = std::function<void(const FrontEndNotice&)>;

Text ProgramPath() { return JoinPath(ProgramFolder(), u"tovlark"); }

std::chrono::steady_clock::time_point Now() { return std::chrono::steady_clock::now(); }

struct PipeEnds {
    Descriptor readEnd, writeEnd;
};

bool MakePipe(PipeEnds& ends) {
    int descriptors[2];
    if (::pipe2(descriptors, O_CLOEXEC) != 0) return false;
    ends.readEnd.reset(descriptors[0]);
    ends.writeEnd.reset(descriptors[1]);
    return true;
}

/// One of the program's output streams on its way to ours.
struct Relay {
    Descriptor source;
    int target;
    MarkerFilter* filter = nullptr;
    std::string pending{};
    bool readerGone = false;

    // Returns false once there is nothing more to come for now.
    bool take() {
        std::array<char, kChunkBytes> buffer;
        const ssize_t count = ::read(source.get(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) return true;
        if (count == 0 || (count < 0 && errno != EAGAIN)) source.reset();
        if (count <= 0) return false;
        const std::string_view bytes(buffer.data(), static_cast<std::size_t>(count));
        if (readerGone) return true;
        if (filter != nullptr) {
            filter->pass(bytes, pending);
        } else {
            pending += bytes;
        }
        return true;
    }

    // Returns false when the reader has just gone away.
    bool give() {
        const ssize_t count = ::write(target, pending.data(), std::min(pending.size(), kChunkBytes));
        if (count >= 0) {
            pending.erase(0, static_cast<std::size_t>(count));
        } else if (errno != EAGAIN && errno != EINTR) {
            readerGone = true;
            pending.clear();
            return false;
        }
        return true;
    }

    pollfd wait() const { return pending.empty() ? pollfd{source.get(), POLLIN, 0} : pollfd{target, POLLOUT, 0}; }
};

/// One run of the program, from the making of its pipes to its end.
class ConsoleRun {
public:
    explicit ConsoleRun(const Tell& tell) : tell_(tell) {}
    ~ConsoleRun();
    ConsoleRun(const ConsoleRun&) = delete;

    int run(const std::vector<Text>& words);

private:
    bool watchSignals();
    bool start(const std::vector<Text>& words);
    [[noreturn]] void becomeProgram(const std::string& path, char* const* words, pid_t parent);
    bool makeFifos();
    void relayUntilEnd();
    int timeLimit() const;
    void onDeadline();
    void onSignal();
    void onProgramEnd();
    void onPrompt();
    void readAnswer();
    void sendAnswer();
    void cancel(int signal);
    int conclude();

    const Tell& tell_;
    RunFolder place_;
    sigset_t signalsBefore_{};
    Descriptor signals_;
    PipeEnds gate_, failure_, prompt_;  // lets the child go on; tells why it could not; announces prompts
    Descriptor answers_;                // the program's standard input
    MarkerFilter markers_;
    Relay output_{Descriptor(), STDOUT_FILENO, &markers_}, errors_{Descriptor(), STDERR_FILENO};
    std::string unsent_;
    std::size_t openPrompts_ = 0;
    pid_t program_ = -1;
    bool running_ = false, inputEnded_ = false;
    bool cancelled_ = false, stoppedAtOnce_ = false, abandoned_ = false, neverBound_ = false;
    std::chrono::steady_clock::time_point cancelledAt_;
    std::optional<std::chrono::steady_clock::time_point> deadline_;  // of the program, then of its last output
    int waited_ = 0;
};

ConsoleRun::~ConsoleRun() {
    if (program_ < 0) return;
    RemoveConsolePipes(place_.folder.get(), program_);
    if (!running_) return;
    ::kill(program_, SIGKILL);
    ::waitpid(program_, nullptr, 0);
}

bool ConsoleRun::watchSignals() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL);
    sigset_t watched;
    sigemptyset(&watched);
    sigaddset(&watched, SIGCHLD);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        ::sigaction(number, nullptr, &action);
        // A caller that had a signal ignored does not mean us to stop on it.
        if (action.sa_handler != SIG_IGN) sigaddset(&watched, number);
    }
    ::sigprocmask(SIG_BLOCK, &watched, &signalsBefore_);
    signals_.reset(::signalfd(-1, &watched, SFD_CLOEXEC | SFD_NONBLOCK));
    return static_cast<bool>(signals_);
}

bool ConsoleRun::makeFifos() {
    RemoveConsolePipes(place_.folder.get(), program_);
    std::string names[std::size(kConsolePipes)];
    for (const ConsolePipe pipe : kConsolePipes) {
        std::string& name = names[static_cast<int>(pipe)];
        name = ConsolePipeName(program_, pipe);
        if (::mkfifoat(place_.folder.get(), name.c_str(), 0600) != 0) return false;
    }
    const auto open = [&](ConsolePipe pipe, int accessMode) {
        const int flags = accessMode | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC;
        return Descriptor(::openat(place_.folder.get(), names[static_cast<int>(pipe)].c_str(), flags));
    };
    output_.source = open(ConsolePipe::Output, O_RDONLY);
    errors_.source = open(ConsolePipe::Errors, O_RDONLY);
    // Opening for writing only is refused while there is no reader; this one is there just for that moment.
    const Descriptor reader = open(ConsolePipe::Input, O_RDONLY);
    answers_ = open(ConsolePipe::Input, O_WRONLY);
    return output_.source && errors_.source && answers_;
}

// Runs between fork and exec.
void ConsoleRun::becomeProgram(const std::string& path, char* const* words, pid_t parent) {
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    gate_.writeEnd.reset();
    char go = 0;
    if (::getppid() != parent || ::read(gate_.readEnd.get(), &go, 1) != 1) {
        // The front end died before it let us go; nobody else would remove these.
        RemoveConsolePipes(place_.folder.get(), ::getpid());
        ::_exit(1);
    }
    ::fcntl(prompt_.writeEnd.get(), F_SETFD, 0);
    std::signal(SIGPIPE, SIG_DFL);
    // Requests to stop stay blocked until the program watches for them: a default action now would leave the FIFOs.
    sigset_t blocked = signalsBefore_;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&blocked, number);
    ::sigprocmask(SIG_SETMASK, &blocked, nullptr);
    ::execv(path.c_str(), words);
    const int error = errno;
    [[maybe_unused]] const ssize_t told = ::write(failure_.writeEnd.get(), &error, sizeof error);
    ::_exit(1);
}

bool ConsoleRun::start(const std::vector<Text>& words) {
    const Text path = ProgramPath();
    const std::string pathBytes = ToUtf8(path);
    place_ = OpenRunFolder(MakeFolder::Yes);
    if (!place_.folder) {
        const auto event = place_.error == EPERM ? FrontEndEvent::RunFolderNotPrivate : FrontEndEvent::NoRunFolder;
        tell_({event, FromUtf8(place_.path), 0, {static_cast<std::uint32_t>(place_.error)}});
        return false;
    }
    std::vector<std::string> bytes;
    for (const Text& word : words) bytes.push_back(ToUtf8(word));
    std::vector<char*> pointers;
    for (std::string& word : bytes) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    bool ready = watchSignals() && MakePipe(gate_) && MakePipe(failure_) && MakePipe(prompt_);
    if (ready) {
        ::setenv(kPromptVariable, std::to_string(prompt_.writeEnd.get()).c_str(), 1);
        const pid_t parent = ::getpid();
        program_ = ::fork();
        if (program_ == 0) becomeProgram(pathBytes, pointers.data(), parent);
        running_ = program_ > 0;
        ready = running_ && makeFifos();
    }
    int error = errno;
    const bool lacksPipes = running_ && !ready;
    if (ready) {
        ::setpgid(program_, program_);  // here too: a request to stop may come before the child gets to it
        ::fcntl(prompt_.readEnd.get(), F_SETFL, O_NONBLOCK);
        prompt_.writeEnd.reset();
        failure_.writeEnd.reset();
        [[maybe_unused]] const ssize_t let = ::write(gate_.writeEnd.get(), "g", 1);
        // The end of this pipe means that the program has taken over, or is gone.
        if (::read(failure_.readEnd.get(), &error, sizeof error) != sizeof error) return true;
    }
    const auto event = lacksPipes                 ? FrontEndEvent::NoRunFolder
                       : error == ENOENT && ready ? FrontEndEvent::ProgramMissing
                                                  : FrontEndEvent::CannotStart;
    tell_({event, lacksPipes ? FromUtf8(place_.path) : path, 0, {static_cast<std::uint32_t>(error)}});
    return false;
}

void ConsoleRun::cancel(int signal) {
    if (!running_) {
        abandoned_ = true;  // only its last output is left, and nobody reads it
    } else if (!cancelled_) {
        cancelled_ = true;
        cancelledAt_ = Now();
        ::kill(-program_, signal);
    } else if (!stoppedAtOnce_ && Now() - cancelledAt_ > kSameRequest) {
        stoppedAtOnce_ = true;
        deadline_ = Now() + kPatience;
        tell_({FrontEndEvent::StoppedAtOnce});
        // The program ends at once on its second SIGINT; whatever does not is killed when the time is up.
        ::kill(-program_, SIGINT);
    }
}

void ConsoleRun::onSignal() {
    signalfd_siginfo info{};
    while (::read(signals_.get(), &info, sizeof info) == sizeof info) {
        if (info.ssi_signo == SIGCHLD) {
            onProgramEnd();
        } else {
            cancel(static_cast<int>(info.ssi_signo));
        }
    }
}

void ConsoleRun::onProgramEnd() {
    if (!running_) return;
    siginfo_t info{};
    if (::waitid(P_PID, static_cast<id_t>(program_), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid == 0)
        return;
    // Removed before the process number can be given to another.
    neverBound_ = RemoveConsolePipes(place_.folder.get(), program_);
    ::waitpid(program_, &waited_, 0);
    program_ = -1;
    running_ = false;
    if (cancelled_) deadline_ = Now() + kPatience;
    for (Relay* relay : {&output_, &errors_}) {
        while (relay->source && relay->take()) {
        }
        relay->source.reset();
    }
    markers_.flush(output_.pending);
}

void ConsoleRun::onPrompt() {
    std::array<char, 16> announcements;
    const ssize_t count = ::read(prompt_.readEnd.get(), announcements.data(), announcements.size());
    if (count > 0) {
        openPrompts_ += static_cast<std::size_t>(count);
    } else if (count == 0 || errno != EAGAIN) {
        prompt_.readEnd.reset();
    }
}

// Byte by byte: what follows the line belongs to whoever reads next.
void ConsoleRun::readAnswer() {
    char byte = 0;
    const ssize_t count = ::read(STDIN_FILENO, &byte, 1);
    if (count == 1) {
        unsent_ += byte;
        if (byte == '\n') --openPrompts_;
    } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
        inputEnded_ = true;
        if (unsent_.empty()) answers_.reset();
    }
}

void ConsoleRun::sendAnswer() {
    const ssize_t count = ::write(answers_.get(), unsent_.data(), std::min(unsent_.size(), kChunkBytes));
    if (count >= 0) {
        unsent_.erase(0, static_cast<std::size_t>(count));
    } else if (errno != EAGAIN && errno != EINTR) {
        answers_.reset();
        return;
    }
    if (unsent_.empty() && inputEnded_) answers_.reset();
}

int ConsoleRun::timeLimit() const {
    if (markers_.holdsBack()) return kMarkerMilliseconds;
    if (!deadline_) return -1;
    return std::max(0, static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(*deadline_ - Now()).count()));
}

void ConsoleRun::onDeadline() {
    deadline_.reset();
    if (running_) {
        ::kill(-program_, SIGKILL);
    } else {
        abandoned_ = true;
    }
}

void ConsoleRun::relayUntilEnd() {
    while (!abandoned_ && (running_ || !output_.pending.empty() || !errors_.pending.empty())) {
        const bool sending = !unsent_.empty() && answers_;
        const bool reading = openPrompts_ > 0 && unsent_.size() < kChunkBytes && !inputEnded_ && answers_;
        std::array<pollfd, 6> waits{{{signals_.get(), POLLIN, 0},
                                     {prompt_.readEnd.get(), POLLIN, 0},
                                     {sending ? answers_.get() : -1, POLLOUT, 0},
                                     {reading ? STDIN_FILENO : -1, POLLIN, 0},
                                     output_.wait(),
                                     errors_.wait()}};
        const int count = ::poll(waits.data(), waits.size(), timeLimit());
        if (deadline_ && Now() >= *deadline_) onDeadline();
        if (count == 0) markers_.flush(output_.pending);
        if (count <= 0) continue;
        if (waits[1].revents != 0) onPrompt();
        if (waits[2].revents != 0) sendAnswer();
        if (waits[3].revents != 0) readAnswer();
        for (Relay* relay : {&output_, &errors_}) {
            if (waits[relay == &output_ ? 4 : 5].revents == 0) continue;
            if (relay->pending.empty()) {
                relay->take();
            } else if (!relay->give() && relay == &output_) {
                tell_({FrontEndEvent::ReaderGone, {}, 0, LastError()});
                if (running_ && !cancelled_) cancel(SIGTERM);
            }
        }
        if (waits[0].revents != 0) onSignal();
    }
}

int ConsoleRun::conclude() {
    if (output_.readerGone || stoppedAtOnce_) return kExitCancelled;
    if (WIFSIGNALED(waited_)) {
        tell_({FrontEndEvent::EndedBySignal, {}, static_cast<std::uint32_t>(WTERMSIG(waited_))});
        return cancelled_ ? kExitCancelled : kExitFailed;
    }
    if (neverBound_) {
        tell_({FrontEndEvent::EndedEarly, ProgramPath()});
        return kExitFailed;
    }
    const int status = WEXITSTATUS(waited_);
    if (status == 0 && markers_.lastResult() == false) tell_({FrontEndEvent::StepFailed});
    return status;
}

int ConsoleRun::run(const std::vector<Text>& words) {
    if (!start(words)) return kExitFailed;
    relayUntilEnd();
    return conclude();
}

}  // namespace

int RunConsoleProgram(const std::vector<Text>& words, const Tell& tell) { return ConsoleRun(tell).run(words); }

}  // namespace tovlark

#include "support/RunProgram.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <regex>
#include <signal.h>
#include <stdexcept>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace tovlark {

namespace {

struct Pipe {
    int readEnd = -1, writeEnd = -1;
};

Pipe MakePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
    return {ends[0], ends[1]};
}

void CloseOnce(int& descriptor) {
    if (descriptor >= 0) ::close(descriptor);
    descriptor = -1;
}

std::vector<char*> Pointers(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> Environment(const std::map<std::string, std::string>& added) {
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!added.contains(text.substr(0, text.find('=')))) all.push_back(text);
    }
    for (const auto& [name, value] : added) all.push_back(name + "=" + value);
    return all;
}

int StatusOf(int waited) { return WIFEXITED(waited) ? WEXITSTATUS(waited) : 128 + WTERMSIG(waited); }

}  // namespace

RunningProgram::RunningProgram(const ProgramStart& start) : unsent_(start.input) {
    // A program that closes its input early must not end the test.
    ::signal(SIGPIPE, SIG_IGN);
    deadline_ = std::chrono::steady_clock::now() + start.timeLimit;
    std::vector<std::string> words = start.words;
    std::vector<std::string> environment = Environment(start.environment);
    const std::vector<char*> wordPointers = Pointers(words);
    const std::vector<char*> environmentPointers = Pointers(environment);
    Pipe in = MakePipe(), out = MakePipe(), err = MakePipe(), failure = MakePipe();

    process_ = ::fork();
    if (process_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (process_ == 0) {
        ::setpgid(0, 0);
        ::signal(SIGPIPE, SIG_DFL);
        ::dup2(in.readEnd, 0);
        ::dup2(out.writeEnd, 1);
        ::dup2(err.writeEnd, 2);
        if (start.folder.empty() || ::chdir(start.folder.c_str()) == 0) {
            ::execvpe(wordPointers[0], wordPointers.data(), environmentPointers.data());
        }
        const int error = errno;
        [[maybe_unused]] const auto told = ::write(failure.writeEnd, &error, sizeof error);
        ::_exit(127);
    }
    ::setpgid(process_, process_);
    for (int* end : {&in.readEnd, &out.writeEnd, &err.writeEnd, &failure.writeEnd}) CloseOnce(*end);
    input_ = in.writeEnd;
    output_ = out.readEnd;
    errors_ = err.readEnd;
    for (int end : {input_, output_, errors_}) ::fcntl(end, F_SETFL, O_NONBLOCK);
    int error = 0;
    const bool failed = ::read(failure.readEnd, &error, sizeof error) == sizeof error;
    CloseOnce(failure.readEnd);
    if (failed) {
        ::waitpid(process_, nullptr, 0);
        for (int* end : {&input_, &output_, &errors_}) CloseOnce(*end);
        throw std::system_error(error, std::generic_category(), "cannot start " + words[0]);
    }
    processHandle_ = static_cast<int>(::syscall(SYS_pidfd_open, process_, 0));
}

RunningProgram::~RunningProgram() {
    if (processHandle_ >= 0) {
        signalGroup(SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    for (int* end : {&processHandle_, &input_, &output_, &errors_}) CloseOnce(*end);
}

void RunningProgram::readSome(int& from, std::string& to) {
    std::array<char, 65536> buffer;
    const ssize_t got = ::read(from, buffer.data(), buffer.size());
    if (got > 0) {
        to.append(buffer.data(), static_cast<std::size_t>(got));
    } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
        CloseOnce(from);
    }
}

void RunningProgram::writeSome() {
    const ssize_t sent = unsent_.empty() ? 0 : ::write(input_, unsent_.data(), unsent_.size());
    if (sent >= 0) {
        unsent_.erase(0, static_cast<std::size_t>(sent));
        if (unsent_.empty() && closeInputWhenSent_) CloseOnce(input_);
    } else if (errno != EAGAIN && errno != EINTR) {
        CloseOnce(input_);
    }
}

bool RunningProgram::step() {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
    if (processHandle_ < 0 && output_ < 0 && errors_ < 0) return false;
    const bool wantsToWrite = !unsent_.empty() || closeInputWhenSent_;
    std::array<pollfd, 4> waits{{{output_, POLLIN, 0},
                                 {errors_, POLLIN, 0},
                                 {processHandle_, POLLIN, 0},
                                 {wantsToWrite ? input_ : -1, POLLOUT, 0}}};
    if (left.count() <= 0 || ::poll(waits.data(), waits.size(), static_cast<int>(left.count())) == 0) {
        end_.timedOut = true;
        return false;
    }
    if (waits[0].revents != 0) readSome(output_, end_.output);
    if (waits[1].revents != 0) readSome(errors_, end_.errors);
    if (waits[3].revents != 0) writeSome();
    if (waits[2].revents != 0) {
        int waited = 0;
        ::waitpid(process_, &waited, 0);
        end_.status = StatusOf(waited);
        CloseOnce(processHandle_);
    }
    return true;
}

bool RunningProgram::waitForOutput(std::string_view text) {
    while (end_.output.find(text) == std::string::npos) {
        if (!step()) return false;
    }
    return true;
}

void RunningProgram::send(std::string_view text) {
    unsent_ += text;
    while (!unsent_.empty() && input_ >= 0) {
        if (!step()) return;
    }
}

void RunningProgram::closeInput() {
    closeInputWhenSent_ = true;
    while (input_ >= 0) {
        if (!step()) return;
    }
}

void RunningProgram::closeOutput() { CloseOnce(output_); }

void RunningProgram::signal(int number) { ::kill(process_, number); }

void RunningProgram::signalGroup(int number) { ::kill(-process_, number); }

// Wine sometimes puts a line of its own on standard error when a program ends while a thread of it still waits.
static std::string WithoutEmulatorNoise(const std::string& errors) {
    static const std::regex noise("wine client error:[0-9a-f]+: [^\\n]*\\n?");
    return std::regex_replace(errors, noise, "");
}

ProgramEnd RunningProgram::finish() {
    closeInputWhenSent_ = true;
    while (step()) {
    }
    if (end_.timedOut && processHandle_ >= 0) {
        signalGroup(SIGKILL);
        int waited = 0;
        ::waitpid(process_, &waited, 0);
        end_.status = StatusOf(waited);
        CloseOnce(processHandle_);
    }
    if (TestingWindowsPrograms()) end_.errors = WithoutEmulatorNoise(end_.errors);
    return end_;
}

ProgramEnd RunProgram(const ProgramStart& start) { return RunningProgram(start).finish(); }

bool TestingWindowsPrograms() { return std::getenv("TOVLARK_EMULATOR") != nullptr; }

std::filesystem::path OurProgramFolder() {
    const char* folder = std::getenv("TOVLARK_PROGRAMS");
    return folder != nullptr ? folder : TOVLARK_PROGRAMS;
}

std::filesystem::path ProgramFile(const std::string& name, const std::filesystem::path& folder) {
    return folder / (TestingWindowsPrograms() ? name + ".exe" : name);
}

std::vector<std::string> OurProgram(const std::string& name, const std::vector<std::string>& arguments,
                                    const std::filesystem::path& folder) {
    std::vector<std::string> words;
    if (TestingWindowsPrograms()) words.emplace_back(std::getenv("TOVLARK_EMULATOR"));
    words.push_back(ProgramFile(name, folder));
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

}  // namespace tovlark

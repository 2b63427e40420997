#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace tovlark {

struct ProgramStart {
    std::vector<std::string> words;  ///< The program (found through PATH when it holds no '/') and its arguments.
    std::string input{};             ///< All of standard input; its end follows.
    std::map<std::string, std::string> environment{};  ///< Added to the test's own environment.
    std::filesystem::path folder{};                    ///< Working folder; the test's own when empty.
    std::chrono::seconds timeLimit{60};                ///< After it the process group is killed.
};

struct ProgramEnd {
    int status = -1;        ///< Exit status 0 to 255, or 128 + the number of the signal that ended it.
    bool timedOut = false;  ///< The time limit ran out before the program had ended and closed both outputs.
    std::string output{}, errors{};
};

/// A program in a process group of its own, for tests that talk to it while it runs. Every wait ends with the time
/// limit, counted from the start; what still runs at destruction is killed.
class RunningProgram {
public:
    /// Starts it. Standard input stays open after `start.input`, until closeInput. Throws when the program cannot be
    /// started.
    explicit RunningProgram(const ProgramStart& start);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    pid_t processId() const { return process_; }
    /// What it has written so far.
    const ProgramEnd& soFar() const { return end_; }

    /// Waits until standard output, from its beginning, holds `text`; false when the program ends or time runs out
    /// before.
    bool waitForOutput(std::string_view text);
    /// Gives it more standard input.
    void send(std::string_view text);
    void closeInput();
    /// Closes our end of its standard output: the reader goes away.
    void closeOutput();
    /// Sends the signal to the program alone, or to its whole group, as a terminal does.
    void signal(int number);
    void signalGroup(int number);
    /// Closes its input once all has been sent and waits for its end.
    ProgramEnd finish();

private:
    bool step();  // One wait for anything to happen; false when all has ended or time has run out.
    void readSome(int& from, std::string& to);
    void writeSome();

    pid_t process_ = -1;
    int processHandle_ = -1, input_ = -1, output_ = -1, errors_ = -1;
    bool closeInputWhenSent_ = false;
    std::string unsent_;
    std::chrono::steady_clock::time_point deadline_;
    ProgramEnd end_;
};

/// Runs a program to its end.
ProgramEnd RunProgram(const ProgramStart& start);

/// True when the programs under test are the Windows ones, run through an emulator.
bool TestingWindowsPrograms();

/// The folder of our programs.
std::filesystem::path OurProgramFolder();

/// The file of a program in this folder, ".exe" included where it belongs.
std::filesystem::path ProgramFile(const std::string& name, const std::filesystem::path& folder = OurProgramFolder());

/// The words that start one of our programs ("tvcmd"), through the emulator where one is needed; then `arguments`.
std::vector<std::string> OurProgram(const std::string& name, const std::vector<std::string>& arguments = {},
                                    const std::filesystem::path& folder = OurProgramFolder());

}  // namespace tovlark

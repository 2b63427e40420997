#include "app/command/Usage.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kShowMilliseconds = 300;
constexpr int kCommandCount = 7, kLinesPerCommand = 3;

constexpr int kFirst = static_cast<int>(TextId::UsageFirst), kLast = static_cast<int>(TextId::UsageLast);
constexpr int kFirstCommand = kFirst + 2;  // after the title and "<Commands>"
constexpr int kSwitches = kFirstCommand + kCommandCount * kLinesPerCommand;
static_assert(kSwitches < kLast);

/// After the title, between the commands, and after "<Switches>".
constexpr bool HasBlankAfter(int line) {
    const bool endsCommand = line >= kFirstCommand && line < kSwitches - 1 &&
                             (line - kFirstCommand) % kLinesPerCommand == kLinesPerCommand - 1;
    return line == kFirst || line == kSwitches || endsCommand;
}

}  // namespace

void PrintUsage(Task& task) {
    for (int line = kFirst; line <= kLast; ++line) {
        task.session.printLine(static_cast<TextId>(line));
        if (HasBlankAfter(line)) task.session.print(u"\r\n");
    }
    task.clock.sleep(task.clock.self, kShowMilliseconds);
}

}  // namespace tovlark

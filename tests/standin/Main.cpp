// Stands in for `tovlark` beside a copy of the front end and does what its first word says.
#include "platform/Main.h"

#include <string>

#include "platform/ConsoleStreams.h"
#include "platform/Process.h"
#include "platform/SystemClock.h"

namespace tovlark {

namespace {

constexpr int kCancelled = -2;

std::atomic<bool> cancel = false;

bool Say(std::string_view bytes) {
    const ConsoleStreams streams = StandardStreams();
    return streams.write(streams.self, bytes);
}

void Sleep(std::uint32_t milliseconds) {
    const Clock clock = SystemClock();
    clock.sleep(clock.self, milliseconds);
}

// Asks as often as told; "-" stands for the end of input.
int Ask(int count) {
    const ConsoleStreams streams = StandardStreams();
    for (int asked = 0; asked < count; ++asked) {
        Say("?");
        streams.announcePrompt(streams.self);
        std::string line;
        int byte = 0;
        while ((byte = streams.readByte(streams.self)) >= 0 && byte != '\n') line += static_cast<char>(byte);
        Say("[" + line + "]");
        if (byte >= 0) continue;
        Say("-");
        return kCancelled;
    }
    return 0;
}

int WaitForCancel() {
    Say("waiting " + std::to_string(ProcessId()) + "\n");
    while (!cancel) Sleep(5);
    Say("tidied\n");
    return kCancelled;
}

[[noreturn]] void RunOn() {
    for (Say("running " + std::to_string(ProcessId()) + "\n");;) Sleep(1000);
}

}  // namespace

int ProgramMain(const std::vector<Text>& words) {
    const Text& action = words.at(1);
    if (action == u"unbound") return 0;
    if (!BindConsolePipes()) return 9;
    if (action != u"deaf") WatchForCancel(cancel);
    if (action == u"words") {
        for (const Text& word : words) Say(ToUtf8(word) + "\n");
        WriteErrorLine(u"on standard error");
        return 3;
    }
    if (action == u"ask") return Ask(std::stoi(ToUtf8(words.at(2))));
    if (action == u"wait") return WaitForCancel();
    if (action == u"stubborn" || action == u"deaf") RunOn();
    if (action == u"pieces") {
        for (std::size_t piece = 2; piece < words.size(); ++piece) Say(ToUtf8(words[piece]));
        return 0;
    }
    if (action == u"much") return Say(std::string(std::stoul(ToUtf8(words.at(2))), 'x')) ? 0 : kCancelled;
    return 1;
}

}  // namespace tovlark

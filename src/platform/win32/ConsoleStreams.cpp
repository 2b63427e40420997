#include "platform/ConsoleStreams.h"

#include <windows.h>
#include <cstdio>
#include <fcntl.h>
#include <io.h>

#include "platform/MarkerFilter.h"
#include "platform/win32/ConsoleNames.h"
#include "platform/win32/Handle.h"
#include "platform/win32/Wide.h"

namespace tovlark {

namespace {

// The standard streams' system handles once they are bound; before that, what the process inherited.
HANDLE boundOutput = nullptr, boundInput = nullptr;
HANDLE promptEvent = nullptr;

HANDLE StreamHandle(HANDLE bound, DWORD standard) { return bound != nullptr ? bound : ::GetStdHandle(standard); }

// Text mode would turn every CR LF into CR CR LF.
HANDLE ReopenOnPipe(ConsolePipe pipe, const wchar_t* mode, std::FILE* stream) {
    const std::wstring name = ConsolePipeName(::GetCurrentProcessId(), pipe);
    if (::_wfreopen(name.c_str(), mode, stream) == nullptr) return nullptr;
    const int descriptor = ::_fileno(stream);
    ::_setmode(descriptor, _O_BINARY);
    return reinterpret_cast<HANDLE>(::_get_osfhandle(descriptor));
}

bool IsUsable(HANDLE handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }

bool WriteAll(HANDLE handle, std::string_view bytes) {
    if (!IsUsable(handle)) return false;
    while (!bytes.empty()) {
        DWORD written = 0;
        const auto count = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1u << 20));
        if (!::WriteFile(handle, bytes.data(), count, &written, nullptr)) return false;
        bytes.remove_prefix(written);
    }
    return true;
}

bool WriteOutput(std::string_view bytes) {
    if (boundOutput != nullptr) return WriteAll(boundOutput, ShieldText(bytes));
    return WriteAll(::GetStdHandle(STD_OUTPUT_HANDLE), bytes);
}

int ReadByte() {
    unsigned char byte = 0;
    DWORD count = 0;
    const HANDLE input = StreamHandle(boundInput, STD_INPUT_HANDLE);
    if (!IsUsable(input) || !::ReadFile(input, &byte, 1, &count, nullptr) || count == 0) return -1;
    return byte;
}

bool WriteToConsole(HANDLE handle, TextView text) {
    DWORD mode = 0, written = 0;
    if (!IsUsable(handle) || !::GetConsoleMode(handle, &mode)) return false;
    const std::wstring wide = ToWide(text);
    return ::WriteConsoleW(handle, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr) != 0;
}

}  // namespace

bool BindConsolePipes() {
    const std::wstring name = ConsoleObjectName(::GetCurrentProcessId(), kPromptObject);
    // Without this event no front end waits: a pipe of that name would belong to somebody else.
    Handle prompt(::OpenEventW(EVENT_MODIFY_STATE, FALSE, name.c_str()));
    if (!prompt) return false;
    boundOutput = ReopenOnPipe(ConsolePipe::Output, L"a", stdout);
    if (boundOutput == nullptr) return false;
    boundInput = ReopenOnPipe(ConsolePipe::Input, L"r", stdin);
    if (boundInput == nullptr) return false;
    if (ReopenOnPipe(ConsolePipe::Errors, L"a", stderr) == nullptr) return false;
    promptEvent = prompt.release();
    return true;
}

ConsoleStreams StandardStreams() {
    return {nullptr, [](void*, std::string_view bytes) { return WriteOutput(bytes); }, [](void*) { return ReadByte(); },
            [](void*) {
                if (promptEvent != nullptr) ::SetEvent(promptEvent);
            }};
}

void WriteErrorLine(TextView line) {
    const Text ended = Text(line) + u"\r\n";
    const HANDLE errors = ::GetStdHandle(STD_ERROR_HANDLE);
    if (WriteToConsole(errors, ended) || WriteAll(errors, ToUtf8(ended))) return;
    // A program with windows has no standard error of its own; the caller's console may still show the line.
    if (!::AttachConsole(ATTACH_PARENT_PROCESS)) return;
    const Handle console = OwnHandle(
        ::CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    WriteToConsole(console.get(), ended);
}

}  // namespace tovlark

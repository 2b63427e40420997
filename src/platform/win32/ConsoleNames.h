#pragma once

#include <cstdint>
#include <string>

namespace tovlark {

/// The console's pipes, in the order in which the program opens them: "\\.\pipe\<pid>cout", "...cin", "...cerr".
enum class ConsolePipe : unsigned char { Output, Input, Errors };

inline std::wstring ConsolePipeName(std::uint32_t program, ConsolePipe pipe) {
    static constexpr const wchar_t* kNames[] = {L"cout", L"cin", L"cerr"};
    return L"\\\\.\\pipe\\" + std::to_wstring(program) + kNames[static_cast<int>(pipe)];
}

/// Objects by which a front end and its program speak beside the pipes: event "prompt" (the program opens a prompt),
/// event "cancel" (the user wants to stop), mutex "alive" (the front end owns it while it lives).
inline std::wstring ConsoleObjectName(std::uint32_t program, const wchar_t* object) {
    return L"Local\\tovlark" + std::to_wstring(program) + object;
}
inline constexpr const wchar_t* kPromptObject = L"prompt";
inline constexpr const wchar_t* kCancelObject = L"cancel";
inline constexpr const wchar_t* kAliveObject = L"alive";

}  // namespace tovlark

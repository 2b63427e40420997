#pragma once

#include <windows.h>
#include <filesystem>
#include <string>

#include "platform/win32/Handle.h"

namespace tovlark {

struct WindowsEnd {
    DWORD status = STILL_ACTIVE;
    std::string output, errors;
};

/// A program whose standard streams are files of a folder of its own; it is ended with the test if need be.
class WindowsProgram {
public:
    /// `words`: the command line after the program's name.
    WindowsProgram(const std::filesystem::path& program, const std::wstring& words, const std::string& input,
                   const std::filesystem::path& folder);
    ~WindowsProgram();
    WindowsProgram(const WindowsProgram&) = delete;

    DWORD processId() const { return process_.dwProcessId; }
    /// Waits until standard output holds the text; false after half a minute.
    bool waitForOutput(const std::string& text) const;
    std::string outputSoFar() const;
    void kill() { ::TerminateProcess(process_.hProcess, 99); }
    WindowsEnd finish();

private:
    std::filesystem::path folder_;
    PROCESS_INFORMATION process_{};
};

WindowsEnd RunWindowsProgram(const std::filesystem::path& program, const std::wstring& words,
                             const std::string& input = {});

/// Folder of the programs under test.
std::filesystem::path WindowsProgramFolder();

/// A new folder, removed with the object.
struct WindowsFolder {
    WindowsFolder();
    ~WindowsFolder();
    WindowsFolder(const WindowsFolder&) = delete;
    std::filesystem::path path;
};

std::string ReadFileBytes(const std::filesystem::path& path);
void WriteFileBytes(const std::filesystem::path& path, const std::string& bytes);

}  // namespace tovlark

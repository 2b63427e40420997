#include "e2e/win32/WindowsProgram.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace tovlark {

namespace {

constexpr DWORD kLimitMilliseconds = 30000, kPollMilliseconds = 20;

Handle OpenInheritable(const std::filesystem::path& path, DWORD access, DWORD creation) {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return OwnHandle(::CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                   &inheritable, creation, 0, nullptr));
}

}  // namespace

WindowsProgram::WindowsProgram(const std::filesystem::path& program, const std::wstring& words,
                               const std::string& input, const std::filesystem::path& folder)
    : folder_(folder) {
    WriteFileBytes(folder_ / "in", input);
    const Handle in = OpenInheritable(folder_ / "in", GENERIC_READ, OPEN_EXISTING);
    const Handle out = OpenInheritable(folder_ / "out", GENERIC_WRITE, CREATE_ALWAYS);
    const Handle err = OpenInheritable(folder_ / "err", GENERIC_WRITE, CREATE_ALWAYS);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = in.get();
    startup.hStdOutput = out.get();
    startup.hStdError = err.get();
    std::wstring line = L'"' + program.wstring() + L"\" " + words;
    if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, folder_.c_str(), &startup,
                          &process_))
        throw std::runtime_error("cannot start " + program.string());
}

WindowsProgram::~WindowsProgram() {
    ::TerminateProcess(process_.hProcess, 99);
    ::WaitForSingleObject(process_.hProcess, kLimitMilliseconds);
    ::CloseHandle(process_.hThread);
    ::CloseHandle(process_.hProcess);
}

std::string WindowsProgram::outputSoFar() const { return ReadFileBytes(folder_ / "out"); }

bool WindowsProgram::waitForOutput(const std::string& text) const {
    for (DWORD waited = 0; waited < kLimitMilliseconds; waited += kPollMilliseconds) {
        if (outputSoFar().find(text) != std::string::npos) return true;
        ::Sleep(kPollMilliseconds);
    }
    return false;
}

WindowsEnd WindowsProgram::finish() {
    WindowsEnd end;
    if (::WaitForSingleObject(process_.hProcess, kLimitMilliseconds) == WAIT_OBJECT_0)
        ::GetExitCodeProcess(process_.hProcess, &end.status);
    end.output = outputSoFar();
    end.errors = ReadFileBytes(folder_ / "err");
    return end;
}

WindowsEnd RunWindowsProgram(const std::filesystem::path& program, const std::wstring& words,
                             const std::string& input) {
    const WindowsFolder folder;
    return WindowsProgram(program, words, input, folder.path).finish();
}

std::filesystem::path WindowsProgramFolder() {
    wchar_t path[MAX_PATH];
    return std::filesystem::path(path, path + ::GetModuleFileNameW(nullptr, path, MAX_PATH)).parent_path();
}

WindowsFolder::WindowsFolder() {
    static int number = 0;
    path = std::filesystem::temp_directory_path() /
           ("tovlark-test-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(number++));
    std::filesystem::create_directories(path);
}

WindowsFolder::~WindowsFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::string ReadFileBytes(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void WriteFileBytes(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream stream(path, std::ios::binary);
    stream << bytes;
}

}  // namespace tovlark

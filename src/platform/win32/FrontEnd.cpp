#include "platform/FrontEnd.h"

#include <windows.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <sddl.h>
#include <string>
#include <thread>

#include "base/Status.h"
#include "platform/MarkerFilter.h"
#include "platform/Paths.h"
#include "platform/win32/ConsoleNames.h"
#include "platform/win32/Native.h"

namespace tovlark {

namespace {

constexpr DWORD kChunkBytes = 4096, kPipeBytes = 65536;
// How long the rest of a marker may take before its beginning counts as text.
constexpr DWORD kMarkerMilliseconds = 50;
// How long a command may take to tidy up when its console window is closed, and what it last wrote to be read once it
// was cancelled.
constexpr DWORD kTidyUpMilliseconds = 4000, kPatienceMilliseconds = 1000;
// Two requests to stop that come closer together are one.
constexpr ULONGLONG kSameRequestMilliseconds = 250;
constexpr wchar_t kEndOfInput = 0x1A;  // Ctrl-Z at the beginning of a line of the console

using Tell = std::function<void(const FrontEndNotice&)>;

bool HasEnded(HANDLE process) { return ::WaitForSingleObject(process, 0) == WAIT_OBJECT_0; }

/// The words after the program's name, as they stand on our command line.
std::wstring CommandTail() {
    const std::wstring line = ::GetCommandLineW();
    const bool isQuoted = line.starts_with(L'"');
    const std::size_t end = isQuoted ? line.find(L'"', 1) : line.find_first_of(L" \t");
    if (end == line.npos) return {};
    return line.substr(isQuoted ? end + 1 : end);
}

/// A security descriptor for this user alone, in the system's heap.
struct OwnerOnly {
    OwnerOnly() {
        HANDLE opened = nullptr;
        if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &opened)) return;
        const Handle token(opened);
        alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user;
        DWORD size = 0;
        if (!::GetTokenInformation(token.get(), TokenUser, user.data(), user.size(), &size)) return;
        wchar_t* sid = nullptr;
        if (!::ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid, &sid)) return;
        const std::wstring access = L"D:P(A;;GA;;;" + std::wstring(sid) + L")";
        ::LocalFree(sid);
        ::ConvertStringSecurityDescriptorToSecurityDescriptorW(access.c_str(), SDDL_REVISION_1,
                                                               &attributes.lpSecurityDescriptor, nullptr);
    }
    ~OwnerOnly() { ::LocalFree(attributes.lpSecurityDescriptor); }
    OwnerOnly(const OwnerOnly&) = delete;

    SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
};

/// Our end of one of the program's pipes, and the overlapped call under way on it.
struct PipeServer {
    Handle pipe, done;
    OVERLAPPED call{};

    bool make(DWORD program, ConsolePipe which, DWORD direction, OwnerOnly& owner) {
        done.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        const DWORD open = direction | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE;
        const DWORD mode = PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS;
        pipe = OwnHandle(::CreateNamedPipeW(ConsolePipeName(program, which).c_str(), open, mode, 1, kPipeBytes,
                                            kPipeBytes, 0, &owner.attributes));
        return pipe && done;
    }

    void begin() {
        call = {};
        call.hEvent = done.get();
        ::ResetEvent(done.get());
    }

    /// Waits for the call to end, or for the program to end and the call with it. `count`: bytes that it moved.
    bool finish(HANDLE process, DWORD& count) {
        const HANDLE waits[] = {done.get(), process};
        if (::WaitForMultipleObjects(2, waits, FALSE, INFINITE) != WAIT_OBJECT_0) ::CancelIoEx(pipe.get(), &call);
        return ::GetOverlappedResult(pipe.get(), &call, &count, TRUE) != 0;
    }

    bool connect(HANDLE process) {
        begin();
        if (::ConnectNamedPipe(pipe.get(), &call)) return true;
        if (::GetLastError() == ERROR_PIPE_CONNECTED) return true;
        DWORD count = 0;
        return ::GetLastError() == ERROR_IO_PENDING && finish(process, count);
    }
};

/// One of our own output streams: UTF-8 for files and pipes, characters for a console.
class Output {
public:
    explicit Output(DWORD standard) : handle_(::GetStdHandle(standard)) {
        DWORD mode = 0;
        isConsole_ = ::GetConsoleMode(handle_, &mode) != 0;
    }

    bool give(std::string_view bytes) { return isConsole_ ? giveCharacters(bytes) : giveBytes(bytes); }

private:
    bool giveBytes(std::string_view bytes) const {
        while (!bytes.empty()) {
            DWORD written = 0;
            if (!::WriteFile(handle_, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) return false;
            bytes.remove_prefix(written);
        }
        return true;
    }

    bool giveCharacters(std::string_view bytes) {
        cut_ += bytes;
        const std::size_t whole = WholeCharacters(cut_);
        const std::wstring wide = ToWide(FromUtf8(std::string_view(cut_).substr(0, whole)));
        cut_.erase(0, whole);
        DWORD written = 0;
        return ::WriteConsoleW(handle_, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr) != 0;
    }

    // Length without a character at the end whose last bytes are still to come.
    static std::size_t WholeCharacters(std::string_view bytes) {
        for (std::size_t back = 1; back <= std::min<std::size_t>(3, bytes.size()); ++back) {
            const auto byte = static_cast<unsigned char>(bytes[bytes.size() - back]);
            if (byte < 0x80) break;
            if (byte < 0xC0) continue;
            const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
            return length > back ? bytes.size() - back : bytes.size();
        }
        return bytes.size();
    }

    HANDLE handle_;
    bool isConsole_ = false;
    std::string cut_;
};

/// One run of the program. Its threads may outlive `run` when somebody holds up our own streams: they share it.
class ConsoleRun : public std::enable_shared_from_this<ConsoleRun> {
public:
    explicit ConsoleRun(const Tell& tell) : tell_(tell) {}

    int run();
    /// Ctrl-C and its like, on a thread of the system's.
    void requestStop(DWORD kind);

private:
    bool start();
    bool makeObjects();
    void tell(const FrontEndNotice& notice);
    void relay(PipeServer& from, DWORD standard, MarkerFilter* filter, Handle& ended);
    bool give(Output& target, const std::string& shown, DWORD standard);
    void answer();
    bool readLine(std::string& line) const;
    static bool readConsoleLine(HANDLE input, std::string& line);
    void send(const std::string& bytes);
    void closeAnswers();
    int conclude();

    std::mutex telling_;
    Tell tell_;
    Handle process_, mainThread_;
    DWORD program_ = 0;
    Handle prompt_, cancel_, alive_, abandon_, outputEnded_, errorsEnded_;
    PipeServer output_, errors_, answers_;
    std::mutex answering_;
    MarkerFilter markers_;
    std::atomic<bool> bound_ = false, readerGone_ = false, cancelled_ = false, stoppedAtOnce_ = false;
    std::atomic<ULONGLONG> cancelledAt_ = 0;
};

std::shared_ptr<ConsoleRun> currentRun;

BOOL WINAPI OnConsoleControl(DWORD kind) {
    currentRun->requestStop(kind);
    return TRUE;
}

void ConsoleRun::tell(const FrontEndNotice& notice) {
    const std::lock_guard lock(telling_);
    tell_(notice);
}

bool ConsoleRun::makeObjects() {
    OwnerOnly owner;
    if (owner.attributes.lpSecurityDescriptor == nullptr) return false;
    const auto name = [&](const wchar_t* object) { return ConsoleObjectName(program_, object); };
    prompt_.reset(::CreateEventW(&owner.attributes, FALSE, FALSE, name(kPromptObject).c_str()));
    cancel_.reset(::CreateEventW(&owner.attributes, TRUE, FALSE, name(kCancelObject).c_str()));
    alive_.reset(::CreateMutexW(&owner.attributes, TRUE, name(kAliveObject).c_str()));
    abandon_.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    outputEnded_.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    errorsEnded_.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    return prompt_ && cancel_ && alive_ && abandon_ && outputEnded_ && errorsEnded_ &&
           output_.make(program_, ConsolePipe::Output, PIPE_ACCESS_INBOUND, owner) &&
           answers_.make(program_, ConsolePipe::Input, PIPE_ACCESS_OUTBOUND, owner) &&
           errors_.make(program_, ConsolePipe::Errors, PIPE_ACCESS_INBOUND, owner);
}

bool ConsoleRun::start() {
    const Text path = JoinPath(ProgramFolder(), u"tovlark.exe");
    const std::wstring widePath = ToWide(path);
    std::wstring commandLine = L'"' + widePath + L'"' + CommandTail();
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!::CreateProcessW(widePath.c_str(), commandLine.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr,
                          nullptr, &startup, &started)) {
        const SystemError error = LastError();
        const bool isMissing = error.code == ERROR_FILE_NOT_FOUND;
        tell({isMissing ? FrontEndEvent::ProgramMissing : FrontEndEvent::CannotStart, path, 0, error});
        return false;
    }
    process_.reset(started.hProcess);
    mainThread_.reset(started.hThread);
    program_ = started.dwProcessId;
    if (!makeObjects()) {
        tell({FrontEndEvent::CannotStart, path, 0, LastError()});
        ::TerminateProcess(process_.get(), static_cast<UINT>(kExitFailed));
        return false;
    }
    ::SetConsoleCtrlHandler(OnConsoleControl, TRUE);
    ::ResumeThread(mainThread_.get());
    return true;
}

void ConsoleRun::requestStop(DWORD kind) {
    const bool isFirst = !cancelled_.exchange(true);
    if (isFirst) cancelledAt_ = ::GetTickCount64();
    if (HasEnded(process_.get())) {
        ::SetEvent(abandon_.get());
    } else if (isFirst) {
        ::SetEvent(cancel_.get());
        closeAnswers();
    } else if (::GetTickCount64() - cancelledAt_ > kSameRequestMilliseconds && !stoppedAtOnce_.exchange(true)) {
        tell({FrontEndEvent::StoppedAtOnce});
        ::TerminateProcess(process_.get(), static_cast<UINT>(kExitCancelled));
    }
    // The system ends this process as soon as it knows that a closed window was noticed.
    if (kind == CTRL_CLOSE_EVENT) ::WaitForSingleObject(process_.get(), kTidyUpMilliseconds);
}

bool ConsoleRun::give(Output& target, const std::string& shown, DWORD standard) {
    if (shown.empty() || target.give(shown)) return true;
    if (standard == STD_OUTPUT_HANDLE) {
        tell({FrontEndEvent::ReaderGone, {}, 0, LastError()});
        readerGone_ = true;
        if (!cancelled_.exchange(true)) ::SetEvent(cancel_.get());
        closeAnswers();
    }
    return false;
}

void ConsoleRun::relay(PipeServer& from, DWORD standard, MarkerFilter* filter, Handle& ended) {
    const bool isConnected = from.connect(process_.get());
    if (isConnected && &from == &errors_) bound_ = true;
    Output target(standard);
    bool canGive = true;
    std::array<char, kChunkBytes> buffer;
    while (isConnected) {
        from.begin();
        DWORD count = 0;
        if (!::ReadFile(from.pipe.get(), buffer.data(), kChunkBytes, nullptr, &from.call) &&
            ::GetLastError() != ERROR_IO_PENDING)
            break;
        std::string shown;
        if (filter != nullptr && filter->holdsBack() &&
            ::WaitForSingleObject(from.done.get(), kMarkerMilliseconds) == WAIT_TIMEOUT)
            filter->flush(shown);
        if (!from.finish(process_.get(), count)) {
            DWORD left = 0;
            // The program's end broke the call off; what it wrote before is still there.
            if (!::PeekNamedPipe(from.pipe.get(), nullptr, 0, nullptr, &left, nullptr) || left == 0) {
                canGive = canGive && give(target, shown, standard);
                break;
            }
            count = 0;
        }
        const std::string_view bytes(buffer.data(), count);
        if (filter != nullptr) {
            filter->pass(bytes, shown);
        } else {
            shown += bytes;
        }
        canGive = canGive && give(target, shown, standard);
    }
    std::string rest;
    if (filter != nullptr) filter->flush(rest);
    if (canGive) give(target, rest, standard);
    ::SetEvent(ended.get());
}

bool ConsoleRun::readConsoleLine(HANDLE input, std::string& line) {
    std::wstring wide;
    while (wide.empty() || wide.back() != L'\n') {
        std::array<wchar_t, 256> buffer;
        DWORD count = 0;
        if (!::ReadConsoleW(input, buffer.data(), buffer.size(), &count, nullptr) || count == 0) return false;
        wide.append(buffer.data(), count);
        if (wide.front() == kEndOfInput) return false;
    }
    line = ToUtf8(FromWide(wide));
    return true;
}

// Byte by byte: what follows the line belongs to whoever reads next. False at the end of input, with what came before.
bool ConsoleRun::readLine(std::string& line) const {
    const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (::GetConsoleMode(input, &mode)) return readConsoleLine(input, line);
    while (line.size() < kPipeBytes) {
        char byte = 0;
        DWORD count = 0;
        if (!::ReadFile(input, &byte, 1, &count, nullptr) || count == 0) return false;
        line += byte;
        if (byte == '\n') return true;
    }
    return true;
}

void ConsoleRun::send(const std::string& bytes) {
    const std::lock_guard lock(answering_);
    if (!answers_.pipe) return;
    DWORD count = 0;
    answers_.begin();
    if (::WriteFile(answers_.pipe.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &answers_.call) ||
        ::GetLastError() == ERROR_IO_PENDING)
        answers_.finish(process_.get(), count);
}

void ConsoleRun::closeAnswers() {
    const std::lock_guard lock(answering_);
    answers_.pipe.reset();
}

void ConsoleRun::answer() {
    {
        const std::lock_guard lock(answering_);
        if (!answers_.pipe || !answers_.connect(process_.get())) return;
    }
    const HANDLE waits[] = {prompt_.get(), process_.get()};
    while (::WaitForMultipleObjects(2, waits, FALSE, INFINITE) == WAIT_OBJECT_0) {
        std::string line;
        bool goesOn = true;
        do {
            line.clear();
            goesOn = readLine(line);
            send(line);
        } while (goesOn && line.back() != '\n');
        if (goesOn) continue;
        closeAnswers();
        return;
    }
}

int ConsoleRun::conclude() {
    DWORD status = 0;
    ::GetExitCodeProcess(process_.get(), &status);
    if (readerGone_ || stoppedAtOnce_) return kExitCancelled;
    // Exception codes have the severity "error"; the program's own statuses are 0, -1 and -2.
    if (status >= 0xC0000000 && status < 0xFFFFFF00) {
        tell({FrontEndEvent::EndedByException, {}, status});
        return kExitFailed;
    }
    if (!bound_) {
        tell({FrontEndEvent::EndedEarly, JoinPath(ProgramFolder(), u"tovlark.exe")});
        return kExitFailed;
    }
    if (status == 0 && markers_.lastResult() == false) tell({FrontEndEvent::StepFailed});
    return static_cast<int>(status);
}

int ConsoleRun::run() {
    currentRun = shared_from_this();
    if (!start()) return kExitFailed;
    const auto self = shared_from_this();
    std::thread([self] {
        self->relay(self->output_, STD_OUTPUT_HANDLE, &self->markers_, self->outputEnded_);
    }).detach();
    std::thread([self] { self->relay(self->errors_, STD_ERROR_HANDLE, nullptr, self->errorsEnded_); }).detach();
    std::thread([self] { self->answer(); }).detach();
    ::WaitForSingleObject(process_.get(), INFINITE);
    const DWORD patience = cancelled_ ? kPatienceMilliseconds : INFINITE;
    for (const HANDLE ended : {outputEnded_.get(), errorsEnded_.get()}) {
        const HANDLE waits[] = {ended, abandon_.get()};
        ::WaitForMultipleObjects(2, waits, FALSE, patience);
    }
    return conclude();
}

}  // namespace

int RunConsoleProgram(const std::vector<Text>&, const Tell& tell) { return std::make_shared<ConsoleRun>(tell)->run(); }

}  // namespace tovlark

#include "platform/Process.h"

#include <windows.h>
#include <shellapi.h>
#include <string>

#include "base/Status.h"
#include "platform/Paths.h"
#include "platform/win32/ConsoleNames.h"
#include "platform/win32/Native.h"

namespace tovlark {

namespace {

// How long a command may take to tidy up once its front end is gone.
constexpr DWORD kTidyUpMilliseconds = 5000;

SystemError Execute(const wchar_t* verb, const Text& program, const std::wstring& arguments, int show) {
    const std::wstring path = ToWide(program);
    SHELLEXECUTEINFOW call{};
    call.cbSize = sizeof call;
    call.fMask = SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI;
    call.lpVerb = verb;
    call.lpFile = path.c_str();
    call.lpParameters = arguments.c_str();
    call.nShow = show;
    return ::ShellExecuteExW(&call) ? SystemError{} : LastError();
}

struct Watch {
    std::atomic<bool>* cancel;
    Handle asked, frontEnd;
};

// Ends with the process.
DWORD WINAPI WatchFrontEnd(void* argument) {
    const Watch& watch = *static_cast<Watch*>(argument);
    const HANDLE waits[] = {watch.asked.get(), watch.frontEnd.get()};
    if (::WaitForMultipleObjects(2, waits, FALSE, INFINITE) == WAIT_OBJECT_0) {
        *watch.cancel = true;
        if (::WaitForSingleObject(watch.frontEnd.get(), INFINITE) == WAIT_FAILED) return 0;
    }
    // The front end is gone, so that nobody would answer a prompt or stop the command a second time.
    *watch.cancel = true;
    ::Sleep(kTidyUpMilliseconds);
    ::ExitProcess(static_cast<UINT>(kExitCancelled));
}

std::atomic<bool>* watchedCancel = nullptr;

BOOL WINAPI OnConsoleControl(DWORD) {
    // A second request is left to the system, which ends the process.
    return watchedCancel->exchange(true) ? FALSE : TRUE;
}

}  // namespace

std::uint32_t ProcessId() { return ::GetCurrentProcessId(); }

bool IsAdministrator() {
    HANDLE opened = nullptr;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &opened)) return false;
    const Handle token(opened);
    TOKEN_ELEVATION elevation{};
    DWORD size = 0;
    return ::GetTokenInformation(token.get(), TokenElevation, &elevation, sizeof elevation, &size) &&
           elevation.TokenIsElevated != 0;
}

bool IsAccessDenied(SystemError error) { return error.code == ERROR_ACCESS_DENIED; }

SystemError SignalNamedEvent(const Text& name) {
    const Handle event(::OpenEventW(EVENT_MODIFY_STATE, FALSE, ToWide(name).c_str()));
    if (!event || !::SetEvent(event.get())) return LastError();
    return {};
}

SystemError RestartElevated(const Text& arguments) {
    return Execute(L"runas", JoinPath(ProgramFolder(), u"tovlark.exe"), ToWide(arguments), SW_SHOWNORMAL);
}

SystemError SetShellExtension(ShellExtension action, const Text& libraryPath) {
    const std::wstring switches = action == ShellExtension::Register ? L"/s " : L"/s /u ";
    return Execute(L"open", u"regsvr32.exe", switches + L'"' + ToWide(libraryPath) + L'"', SW_HIDE);
}

void WatchForCancel(std::atomic<bool>& cancel) {
    watchedCancel = &cancel;
    ::SetConsoleCtrlHandler(OnConsoleControl, TRUE);
    const DWORD program = ::GetCurrentProcessId();
    Handle asked(::OpenEventW(SYNCHRONIZE, FALSE, ConsoleObjectName(program, kCancelObject).c_str()));
    Handle frontEnd(::OpenMutexW(SYNCHRONIZE, FALSE, ConsoleObjectName(program, kAliveObject).c_str()));
    if (!asked || !frontEnd) return;
    // Lives as long as the process, as its thread does.
    static Watch watch;
    watch = {&cancel, std::move(asked), std::move(frontEnd)};
    const Handle thread(::CreateThread(nullptr, 0, WatchFrontEnd, &watch, 0, nullptr));
}

}  // namespace tovlark

#include "platform/EventStream.h"

#include <string>

#include "platform/win32/Handle.h"
#include "platform/win32/Native.h"

namespace tovlark {

namespace {

constexpr TextView kDescriptorWord = u"fd:";
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr wchar_t kVariable[] = L"TOVLARK_EVENTS";

Handle OpenTarget(const std::wstring& path) {
    Handle file = OwnHandle(
        ::CreateFileW(path.c_str(), FILE_APPEND_DATA, kShareAll, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file && ::GetFileType(file.get()) != FILE_TYPE_PIPE) return file;
    // A pipe needs more rights, so that it can be told not to wait.
    file.reset();
    return OwnHandle(::CreateFileW(path.c_str(), GENERIC_WRITE | FILE_READ_ATTRIBUTES, kShareAll, nullptr,
                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

struct EventTarget::State {
    Handle handle;
    std::string rest;  // of a line that went out in part

    // Returns how many bytes went out at once.
    std::size_t writeSome(std::string_view bytes) const {
        DWORD count = 0;
        return ::WriteFile(handle.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) ? count : 0;
    }

    bool write(std::string_view line) {
        if (!rest.empty()) rest.erase(0, writeSome(rest));
        if (!rest.empty()) return false;
        const std::size_t count = writeSome(line);
        if (count > 0) rest = line.substr(count);
        return count > 0;
    }
};

EventTarget::EventTarget() : state_(std::make_unique<State>()) {}
EventTarget::~EventTarget() = default;

Text EventTargetName() {
    const DWORD length = ::GetEnvironmentVariableW(kVariable, nullptr, 0);
    if (length == 0) return {};
    std::wstring value(length, L'\0');
    value.resize(::GetEnvironmentVariableW(kVariable, value.data(), length));
    return FromWide(value);
}

SystemError EventTarget::open(const Text& name) {
    if (name.starts_with(kDescriptorWord)) return {ERROR_NOT_SUPPORTED};
    Handle opened = OpenTarget(NativePath(name));
    if (!opened) return LastError();
    DWORD mode = PIPE_READMODE_BYTE | PIPE_NOWAIT;
    if (::GetFileType(opened.get()) == FILE_TYPE_PIPE &&
        !::SetNamedPipeHandleState(opened.get(), &mode, nullptr, nullptr))
        return LastError();
    state_->handle = std::move(opened);
    return {};
}

EventStream EventTarget::stream() const {
    if (!state_->handle) return {};
    return {state_.get(), [](void* self, std::string_view line) { return static_cast<State*>(self)->write(line); }};
}

}  // namespace tovlark

#include "platform/StayAwake.h"

#include <dlfcn.h>
#include <fcntl.h>

#include "platform/posix/Descriptor.h"

namespace tovlark {
namespace {

/// What the login manager gives: sleep is put off while it is open. Its library is loaded, so that nobody needs it.
Descriptor TakeInhibitor() {
    void* library = ::dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return {};
    const auto open = reinterpret_cast<int (*)(void**)>(::dlsym(library, "sd_bus_open_system"));
    const auto call = reinterpret_cast<int (*)(void*, const char*, const char*, const char*, const char*, void*, void**,
                                               const char*, ...)>(::dlsym(library, "sd_bus_call_method"));
    const auto read = reinterpret_cast<int (*)(void*, const char*, ...)>(::dlsym(library, "sd_bus_message_read"));
    const auto dropMessage = reinterpret_cast<void* (*)(void*)>(::dlsym(library, "sd_bus_message_unref"));
    const auto dropBus = reinterpret_cast<void* (*)(void*)>(::dlsym(library, "sd_bus_flush_close_unref"));
    Descriptor inhibitor;
    void* bus = nullptr;
    if (open == nullptr || call == nullptr || read == nullptr || dropMessage == nullptr || dropBus == nullptr ||
        open(&bus) < 0)
        return inhibitor;
    void* reply = nullptr;
    int descriptor = -1;
    if (call(bus, "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "Inhibit",
             nullptr, &reply, "ssss", "sleep:idle", "Tovlark", "A disc is being worked on", "block") >= 0 &&
        read(reply, "h", &descriptor) >= 0)
        inhibitor.reset(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
    if (reply != nullptr) dropMessage(reply);
    dropBus(bus);
    return inhibitor;
}

}  // namespace

void StayAwake() { static const Descriptor inhibitor = TakeInhibitor(); }

}  // namespace tovlark

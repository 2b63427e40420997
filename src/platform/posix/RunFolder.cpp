#include "platform/posix/RunFolder.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>

namespace tovlark {

namespace {

// Returns 0 or the error; everything later goes through the open folder, so that its path may change meanwhile.
int OpenPrivateFolder(const std::string& path, MakeFolder make, Descriptor& folder) {
    if (make == MakeFolder::Yes && ::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return errno;
    Descriptor opened(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!opened) return errno == ELOOP || errno == ENOTDIR ? EPERM : errno;
    struct stat facts {};
    if (::fstat(opened.get(), &facts) != 0) return errno;
    if (facts.st_uid != ::geteuid() || (facts.st_mode & 077) != 0) return EPERM;
    folder = std::move(opened);
    return 0;
}

}  // namespace

RunFolder OpenRunFolder(std::string_view runtimeFolder, std::string_view sharedFolder, MakeFolder make) {
    RunFolder run;
    if (runtimeFolder.starts_with('/')) {
        run.path = std::string(runtimeFolder) + "/tovlark";
        run.error = OpenPrivateFolder(run.path, make, run.folder);
        if (run.error == 0) return run;
    }
    run.path = std::string(sharedFolder) + "/tovlark-" + std::to_string(::geteuid());
    run.error = OpenPrivateFolder(run.path, make, run.folder);
    return run;
}

RunFolder OpenRunFolder(MakeFolder make) {
    const char* runtimeFolder = std::getenv("XDG_RUNTIME_DIR");
    return OpenRunFolder(runtimeFolder != nullptr ? runtimeFolder : "", "/tmp", make);
}

std::string ConsolePipeName(pid_t program, ConsolePipe pipe) {
    static constexpr const char* kNames[] = {"cout", "cin", "cerr"};
    return std::to_string(program) + kNames[static_cast<int>(pipe)];
}

bool RemoveConsolePipes(int folder, pid_t program) {
    bool lastWasThere = false;
    for (const ConsolePipe pipe : kConsolePipes)
        lastWasThere = ::unlinkat(folder, ConsolePipeName(program, pipe).c_str(), 0) == 0;
    return lastWasThere;
}

}  // namespace tovlark

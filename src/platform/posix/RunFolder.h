#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>

#include "platform/posix/Descriptor.h"

namespace tovlark {

/// The per-user folder in which a console front end and its program meet: "tovlark" in the session's runtime folder,
/// else "tovlark-<uid>" in the shared temporary folder. It is used only when it is a folder (no symbolic link), belongs
/// to this user and nobody else may reach into it.
struct RunFolder {
    Descriptor folder;  // open when the folder may be used
    std::string path;   // the folder, or the last one tried
    int error = 0;      // `errno` of the last one tried; EPERM: not private
};

enum class MakeFolder : unsigned char { No, Yes };

/// `runtimeFolder` may be empty; it counts only when it is absolute.
RunFolder OpenRunFolder(std::string_view runtimeFolder, std::string_view sharedFolder, MakeFolder make);
/// With $XDG_RUNTIME_DIR and /tmp.
RunFolder OpenRunFolder(MakeFolder make);

/// The console's FIFOs, in the order in which the program opens them.
enum class ConsolePipe : unsigned char { Output, Input, Errors };
inline constexpr ConsolePipe kConsolePipes[] = {ConsolePipe::Output, ConsolePipe::Input, ConsolePipe::Errors};

/// Name of a program's FIFO: "<pid>cout", "<pid>cin", "<pid>cerr".
std::string ConsolePipeName(pid_t program, ConsolePipe pipe);

/// Removes a program's FIFOs; true when the last one was still there.
bool RemoveConsolePipes(int folder, pid_t program);

/// Environment variable that names the inherited descriptor on which the program announces its prompts.
inline constexpr char kPromptVariable[] = "TOVLARK_PROMPT_FD";

}  // namespace tovlark

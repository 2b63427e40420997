#pragma once

#include <cstdint>
#include <string>

#include "base/Text.h"

namespace tovlark {

/// What the command line asks for. The number 4 is not in use.
enum class CommandKind : std::uint32_t {
    None = 0,
    Mount = 1,
    Unmount = 2,
    UnmountAll = 3,
    ListVirtualDrives = 5,
    List = 6,
    Extract = 7,
    Convert = 8,
    Usage = 9,
    Create = 10,
    CreateLanguageFile = 11,
    AutoMount = 12,
    MakeImage = 13,
    BurnImage = 14,
    CopyDisc = 15,
    Rip = 16,
    EraseDisc = 17,
    CreateBootableUsbDrive = 18,
    Edit = 19
};

/// Bits of `CommandRequest::flags`.
enum class Switch : std::uint32_t {
    Recursive = 1u << 31,              // -r
    AssumeYes = 1u << 30,              // -y
    Verify = 1u << 29,                 // -verify
    Eject = 1u << 28,                  // -eject
    FullErase = 1u << 27,              // -full-erase
    CreateTempFileForCopy = 1u << 26,  // -create-temp-file-for-copy
};

/// What a command makes: image formats below 128, audio formats from 129.
enum class OutputType : std::int32_t {
    BySuffix = -1,  // the output file's suffix decides
    Iso = 0,
    Bin = 1,
    Psa = 2,
    Mp3 = 129,
    Flac = 130,
    Ape = 131,
    Wma = 132,
    Wav = 133,
    Ogg = 134
};
constexpr bool IsAudio(OutputType type) { return static_cast<std::int32_t>(type) > 128; }

enum class SpeedMedia : std::uint32_t { NotGiven = 0, Cd = 1, Dvd = 2, Bd = 3 };

/// Options for an output image in the program's packed archive format. Password and comment are text of the narrow
/// code page.
struct ImageOptions {
    static constexpr std::size_t kPasswordBytes = 64;
    static constexpr std::size_t kCommentBytes = 65536;

    bool volumeSizeSet = false;
    std::uint64_t volumeSizeBytes = 0;
    bool newPasswordSet = false;
    std::string newPassword;  // at most kPasswordBytes
    std::string comment;      // at most kCommentBytes; empty: none

    bool isAnySet() const { return volumeSizeSet || newPasswordSet || !comment.empty(); }
};

/// One command with its switches; one per process, filled by `ParseCommandLine`, read by `RunCommand`.
struct CommandRequest {
    /// Characters that `password` and `eventName` may have.
    static constexpr std::size_t kLongestWord = 127;

    CommandKind command = CommandKind::None;
    std::uint32_t flags = 0;
    Text source;        // first parameter of the command
    Text innerPath;     // `list`, `extract`: path inside the image, "/" separated
    Text target;        // drive, or second parameter
    Text outputFolder;  // -od
    Text outputFile;    // -o
    OutputType outputType = OutputType::BySuffix;
    bool ripToSingleFile = false;
    SpeedMedia speedMedia = SpeedMedia::NotGiven;
    double speedFactor = 0;  // > 0 when a speed was given
    ImageOptions imageOptions;
    std::uint32_t callerWindow = 0;  // -hwnd
    Text password;                   // opens an encrypted source image
    Text eventName;                  // signalled when the command has finished; empty: none

    bool has(Switch bit) const { return (flags & static_cast<std::uint32_t>(bit)) != 0; }
    void set(Switch bit) { flags |= static_cast<std::uint32_t>(bit); }
};

}  // namespace tovlark

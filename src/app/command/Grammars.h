#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "app/command/CommandContext.h"
#include "base/Text.h"

namespace tovlark {

struct Speed {
    SpeedMedia media;
    double factor;  // > 0, finite

    bool operator==(const Speed&) const = default;
};
/// "cd10x", "dvd2.4x", "bd2x" in any case: the leading decimal number counts, what follows it up to the final "x" does
/// not.
std::optional<Speed> ParseSpeed(TextView word);

/// "700M", "128 K", "1,073,741,824": digits, commas and blanks, at last K, M or G for 1024, 1024 squared and cubed
/// bytes; everything from the first "-" on is cut off. Between 128 KiB and 8 TiB, or all ones for one unlimited volume.
std::optional<std::uint64_t> ParseVolumeSize(TextView word);

/// Four pairs of hexadecimal digits, lowest byte first. Upper-case letters are taken, but give other values than
/// lower-case ones: callers write lower case.
std::optional<std::uint32_t> ParseWindowHandle(TextView word);

/// The number of the word's leading decimal digits, 0 without any; what does not fit gives the largest 32-bit number.
std::uint32_t ParseLeadingNumber(TextView word);

/// Values of -ot, without regard to case.
std::optional<OutputType> ParseOutputType(TextView word);
std::vector<Text> OutputTypeWords();

/// Those of them that are disc images, with commas between.
Text ImageFormatWords();

/// Type that the suffix of a file name stands for; nothing for one that stands for none.
std::optional<OutputType> OutputTypeOfSuffix(TextView path);

/// Applies a word of -boot-mode; style and file system of RAW stay as they were. False for any other word.
bool ApplyBootMode(TextView word, UsbBootOptions& options);
std::optional<PartitionStyle> ParsePartitionStyle(TextView word);
std::optional<PartitionType> ParsePartitionType(TextView word);

/// Path inside an image: `\` becomes "/".
Text ToPathInImage(TextView word);

/// Path of an image as `list`, `extract` and `rip` keep it: the system's separators throughout, and one that names
/// neither a folder nor a drive is made relative to the current folder in so many words.
Text ToLocalSource(TextView word);

}  // namespace tovlark

#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "app/session/Texts.h"
#include "base/DiscLayout.h"
#include "platform/CodePage.h"
#include "platform/SystemError.h"

namespace tovlark {

/// What makes a sheet invalid: the line (from 1; 0: the sheet as a whole) and its first wrong word.
struct CueFault {
    TextId text;
    std::uint32_t line = 0;
    Text word;
    SystemError systemError;  // where the sheet could not be read
};

/// The fault in words, with the sheet and the line.
Text DescribeFault(const Texts& texts, const Text& path, const CueFault& fault);

/// What becomes of an INDEX 00 whose pre-gap is shorter than the 150 sectors that discs begin with.
enum class ShortPregaps : std::uint8_t { Drop, Keep };

/// Reads a CUE sheet and looks at its data files for their sizes; a file that is not there is no fault. Texts are UTF-8
/// or marked UTF-16, else of the code page. `layout` is set on success only.
std::optional<CueFault> ReadCueSheet(const Text& path, const CodePage& codePage, ShortPregaps shortPregaps,
                                     DiscLayout& layout);

/// The same for the bytes of a sheet; the data files' names are taken below `folder`, their contents are not looked at.
std::optional<CueFault> ParseCueSheet(std::string_view bytes, const Text& folder, const CodePage& codePage,
                                      ShortPregaps shortPregaps, DiscLayout& layout);

enum class CueFileType : std::uint8_t { Binary, Wave };

/// Writes the sheet of a disc whose data lie in one file, `layout.files[0]`; a `sectorSize` other than 0 wins over the
/// data tracks' own. UTF-8. A text's quotation marks become apostrophes: the format cannot hold them.
SystemError WriteCueSheet(const Text& path, const DiscLayout& layout, CueFileType type, std::uint16_t sectorSize = 0);

/// Writes the sheet of a raw image with one data track.
SystemError WriteRawImageSheet(const Text& path, TextView imageName);

/// What comes from block 0 on before INDEX 01 of the first track, in sectors. A disc begins with two seconds before
/// that block: PREGAP counts them, what a file holds lies behind them, except that exactly two seconds in a file are
/// these.
struct FirstPregap {
    std::uint32_t silence = 0, inFile = 0;
};
FirstPregap FirstPregapOf(const TrackLayout& track);

/// Where the data of a track (INDEX 01) begin in its file, which may hold sectors of several sizes.
std::uint64_t DataOffsetOf(const DiscLayout& layout, std::size_t trackIndex);

}  // namespace tovlark

#pragma once

#include <cstddef>
#include <cstdint>

#include "base/IsoBytes.h"
#include "base/Stored.h"

namespace tovlark {

namespace rockridge {

// System-use entries of SUSP 1.12 and RRIP 1.12 as they stand in a directory record or a continuation area.

/// Head of every entry (SUSP 4.1).
struct EntryHead {
    char signature[2];
    std::uint8_t length;
    std::uint8_t version = 1;
};

/// "RR": which other entries the record has. Long withdrawn, still looked for by old readers.
struct PresenceEntry {
    static constexpr std::uint8_t kPosix = 0x01, kLink = 0x04, kName = 0x08, kTimes = 0x80;

    EntryHead head{{'R', 'R'}, 5};
    std::uint8_t present = 0;
};

/// "SP" (SUSP 5.3): the system-use area begins right after the identifier.
struct SharingEntry {
    EntryHead head{{'S', 'P'}, 7};
    std::uint8_t check[2] = {0xBE, 0xEF};
    std::uint8_t skip = 0;
};

/// "CE" (SUSP 5.1).
struct ContinuationEntry {
    EntryHead head{{'C', 'E'}, 28};
    Both32 sector, offset, length;
};

/// "PX" (RRIP 4.1.1) without the serial number of later revisions.
struct PosixEntry {
    EntryHead head{{'P', 'X'}, 36};
    Both32 mode, links, owner, group;
};

/// "TF" (RRIP 4.1.6) with the time of modification only.
struct TimesEntry {
    EntryHead head{{'T', 'F'}, 12};
    std::uint8_t flags = 0x02;
    IsoRecordDate modified;
};

/// "NM" and "SL" (RRIP 4.1.4, 4.1.3) up to their content.
struct ContentHead {
    static constexpr std::uint8_t kContinues = 1;

    EntryHead head;
    std::uint8_t flags = 0;
};
constexpr std::size_t kContentLimit = 255 - sizeof(ContentHead);

/// Component record of "SL" (RRIP 4.1.3.1).
struct ComponentHead {
    static constexpr std::uint8_t kContinues = 1, kCurrent = 2, kParent = 4, kRoot = 8;

    std::uint8_t flags = 0, length = 0;
};

/// "ER" (SUSP 5.5) up to its three texts.
struct ExtensionHead {
    EntryHead head{{'E', 'R'}, 0};
    std::uint8_t identifierLength, descriptorLength, sourceLength;
    std::uint8_t extensionVersion = 1;
};

static_assert(sizeof(PresenceEntry) == 5 && sizeof(SharingEntry) == 7 && sizeof(ContinuationEntry) == 28);
static_assert(sizeof(PosixEntry) == 36 && sizeof(TimesEntry) == 12 && sizeof(ContentHead) == 5);
static_assert(sizeof(ComponentHead) == 2 && sizeof(ExtensionHead) == 8);

}  // namespace rockridge

}  // namespace tovlark

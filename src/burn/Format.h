#pragma once

#include <cstdint>
#include <optional>

#include "optical/Drive.h"

namespace tovlark {

/// Types of FORMAT UNIT (MMC-6 6.5.4.2).
struct FormatType {
    static constexpr std::uint8_t kFull = 0x00, kGrowBorder = 0x13, kQuickBorder = 0x15, kPlusRw = 0x26,
                                  kBdReSpares = 0x30, kBdReNoSpares = 0x31;
};

/// What a drive offers to make of the disc in it (MMC-6 6.24.3.3), which it takes as it stands.
struct FormatOffer {
    std::uint8_t type = 0;
    std::uint32_t blocks = 0;
    std::uint32_t parameter = 0;  // 24 bits, by type
};

/// Whether blocks are tested by formatting (DCRT), for the types whose sub-type does not say so.
enum class Certify : std::uint8_t { AsTheDriveDoes, No, Yes };

/// What is to be made of a disc.
struct FormatRequest {
    FormatOffer format;
    std::uint8_t subType = 0;  // 2 bits, by type
    Certify certify = Certify::AsTheDriveDoes;
};

/// The first offer of that type; nothing when the drive has none or does not answer.
std::optional<FormatOffer> FindFormat(Drive drive, std::uint8_t type);

/// Blocks of the disc as it is formatted now; nothing when the drive does not tell or they are none of 2048 bytes.
std::optional<std::uint32_t> ReadDiscBlocks(Drive drive);

/// Starts formatting, which goes on after the command: `WaitUntilReady` waits for its end.
[[nodiscard]] bool StartFormat(Drive drive, const FormatRequest& request);

/// Sub-types of formats 30h and 31h (MMC-6 6.5.4.2.15).
struct BdReSubType {
    static constexpr std::uint8_t kQuickReformat = 0, kNoCertification = 1, kFullCertification = 2;
};

/// How a drive can format a BD-RE.
struct BdReFormat {
    FormatOffer format;
    bool canCertify = false;  // tests the whole disc on demand
};

/// Without spare areas where the drive can do that, else with the usual ones. Nothing when the drive does not tell.
std::optional<BdReFormat> FindBdReFormat(Drive drive);

}  // namespace tovlark

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tovlark {

inline constexpr std::size_t kRawSectorBytes = 2352;
using RawSector = std::array<std::byte, kRawSectorBytes>;

/// Adds what the disc has around the data of a sector of mode 1 or 2 (ECMA-130 14): sync pattern and header; for data
/// of 2048 bytes (`addsCodes`) the error detection and correction codes too, of mode 2 those of form 1 with its
/// sub-header.
void CompleteSector(RawSector& sector, std::int32_t block, std::uint8_t mode, bool addsCodes);

/// Sectors without data: zeros, with `mode` 1 or 2 whole sectors of that mode, 2352 bytes each, from the block on.
void MakeEmptySectors(std::span<std::byte> target, std::int32_t block, std::uint8_t mode);

}  // namespace tovlark

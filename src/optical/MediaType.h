#pragma once

#include <cstdint>

#include "app/session/Texts.h"
#include "optical/Drive.h"

namespace tovlark {

/// What kind of disc a drive holds. Variants of BD-R follow one another: sequential, with pseudo-overwrite, random.
enum class MediaType : std::uint8_t {
    None = 0,
    CdRom = 1,
    CdR = 2,
    CdRw = 3,
    DvdRom = 16,
    DvdR = 17,
    DvdRwSequential = 18,
    DvdRwRestricted = 19,
    DvdRam = 20,
    DvdPlusR = 21,
    DvdPlusRw = 22,
    DvdRDual = 23,
    DvdPlusRDual = 24,
    DvdRwDual = 25,  // never detected
    DvdPlusRwDual = 26,
    BdRom = 32,
    BdR = 33,
    BdRPseudo = 34,
    BdRRandom = 35,
    BdRDual = 36,
    BdRDualPseudo = 37,
    BdRDualRandom = 38,
    BdRe = 39,
    BdReDual = 40,
    BdRTriple = 41,
    BdRTriplePseudo = 42,
    BdRTripleRandom = 43,
    BdReTriple = 44,
    BdRQuad = 45,
    BdRQuadPseudo = 46,
    BdRQuadRandom = 47,
    BdReQuad = 48,
    HdDvdRom = 64,
    HdDvdR = 65,
    HdDvdRam = 66,
    Unknown = 255
};

constexpr bool IsCd(MediaType type) { return type >= MediaType::CdRom && static_cast<std::uint8_t>(type) < 16; }
constexpr bool IsDvd(MediaType type) { return type >= MediaType::DvdRom && type < MediaType::BdRom; }
constexpr bool IsBd(MediaType type) { return type >= MediaType::BdRom && type < MediaType::HdDvdRom; }

/// Media whose blocks can be written in any order and whose capacity comes from READ FORMAT CAPACITIES.
constexpr bool IsOverwritable(MediaType type) {
    return type == MediaType::DvdRam || type == MediaType::DvdPlusRw || type == MediaType::BdRe ||
           type == MediaType::BdReDual;
}

/// The name that people read: "DVD-RW", "No disc"; "Unknown Disc Type" for a code without one.
Text MediaTypeName(const Texts& texts, MediaType type);

/// Finds out what disc is in the drive. Never fails: a drive that answers nothing gives `Unknown` or `None`.
MediaType DetectMediaType(Drive drive);

/// True when the drive says that a feature (MMC-6 5.3) is usable with the disc that it holds.
bool IsFeatureCurrent(Drive drive, std::uint16_t feature);

}  // namespace tovlark

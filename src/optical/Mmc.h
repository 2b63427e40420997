#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/Msf.h"

namespace tovlark {

/// Operation codes of MMC-6 and SPC-4, those of the simulated drive included.
enum class Opcode : std::uint8_t {
    TestUnitReady = 0x00,
    RequestSense = 0x03,
    FormatUnit = 0x04,
    Inquiry = 0x12,
    ModeSelect6 = 0x15,
    ModeSense6 = 0x1A,
    StartStopUnit = 0x1B,
    PreventAllowRemoval = 0x1E,
    ReadFormatCapacities = 0x23,
    ReadCapacity = 0x25,
    Read10 = 0x28,
    Write10 = 0x2A,
    Seek10 = 0x2B,
    WriteAndVerify10 = 0x2E,
    Verify10 = 0x2F,
    SynchronizeCache = 0x35,
    ReadToc = 0x43,
    GetConfiguration = 0x46,
    GetEventStatus = 0x4A,
    ReadDiscInformation = 0x51,
    ReadTrackInformation = 0x52,
    ReserveTrack = 0x53,
    SendOpcInformation = 0x54,
    ModeSelect10 = 0x55,
    RepairTrack = 0x58,
    ModeSense10 = 0x5A,
    CloseTrackSession = 0x5B,
    ReadBufferCapacity = 0x5C,
    SendCueSheet = 0x5D,
    Blank = 0xA1,
    SendKey = 0xA3,
    ReportKey = 0xA4,
    LoadUnload = 0xA6,
    Read12 = 0xA8,
    Write12 = 0xAA,
    GetPerformance = 0xAC,
    ReadDiscStructure = 0xAD,
    SetStreaming = 0xB6,
    ReadCdMsf = 0xB9,
    SetCdSpeed = 0xBB,
    MechanismStatus = 0xBD,
    ReadCd = 0xBE,
    SendDiscStructure = 0xBF,
};

/// Length of a command block by the group of its operation code (SPC-4 4.2.5); 0: the group has none.
constexpr std::uint8_t CdbLengthOf(std::uint8_t opcode) {
    constexpr std::uint8_t kLengths[8] = {6, 10, 10, 0, 16, 12, 0, 0};
    return kLengths[opcode >> 5];
}

/// A command block. Its length follows from the operation code; fields are big-endian.
struct Cdb {
    std::array<std::uint8_t, 16> bytes{};
    std::uint8_t length = 0;

    explicit constexpr Cdb(Opcode opcode)
        : bytes{static_cast<std::uint8_t>(opcode)}, length(CdbLengthOf(static_cast<std::uint8_t>(opcode))) {}

    constexpr Opcode opcode() const { return static_cast<Opcode>(bytes[0]); }
    std::span<const std::byte> view() const { return std::as_bytes(std::span(bytes)).first(length); }

    constexpr Cdb& put8(std::size_t offset, unsigned value) { return put(offset, 1, value); }
    constexpr Cdb& put16(std::size_t offset, unsigned value) { return put(offset, 2, value); }
    constexpr Cdb& put24(std::size_t offset, std::uint32_t value) { return put(offset, 3, value); }
    constexpr Cdb& put32(std::size_t offset, std::uint32_t value) { return put(offset, 4, value); }
    constexpr Cdb& put32(std::size_t offset, Lba block) { return put(offset, 4, static_cast<std::uint32_t>(block)); }

private:
    constexpr Cdb& put(std::size_t offset, std::size_t count, std::uint32_t value) {
        for (std::size_t index = 0; index < count; ++index)
            bytes[offset + index] = static_cast<std::uint8_t>(value >> (8 * (count - 1 - index)));
        return *this;
    }
};

/// Whether the drive answers at once and goes on working, or answers when it has done.
enum class Immed : std::uint8_t { No = 0, Yes = 1 };

/// Byte 4 of START STOP UNIT: LoEj and Start.
enum class UnitAction : std::uint8_t { Stop = 0, Start = 1, Eject = 2, Load = 3 };

/// RT of GET CONFIGURATION: which features are asked for.
enum class FeatureScope : std::uint8_t { All = 0, Current = 1, One = 2 };

/// Format of READ TOC/PMA/ATIP.
enum class TocFormat : std::uint8_t { Tracks = 0, Sessions = 1, Full = 2, Pma = 3, Atip = 4, CdText = 5 };

/// What the address of READ TRACK INFORMATION is.
enum class TrackAddress : std::uint8_t { Block = 0, Track = 1, Session = 2 };

/// Expected sector type of READ CD, its bits 2 to 4 of byte 1.
enum class CdSectorType : std::uint8_t { Any = 0, Audio = 1, Mode1 = 2, Mode2 = 3, Mode2Form1 = 4, Mode2Form2 = 5 };

/// Main channel selection of READ CD, byte 9.
struct MainChannel {
    static constexpr std::uint8_t kSync = 0x80, kSubHeader = 0x40, kHeader = 0x20, kUserData = 0x10, kEdcEcc = 0x08,
                                  kC2 = 0x02;
    static constexpr std::uint8_t kWholeSector = kSync | kSubHeader | kHeader | kUserData | kEdcEcc;
};

/// Sub-channel selection of READ CD, byte 10: none, 96 raw bytes, 16 bytes of Q, 96 bytes of corrected R to W.
enum class SubChannel : std::uint8_t { None = 0, Raw = 1, Q = 2, RToW = 4 };

/// Longest list of formats that READ FORMAT CAPACITIES can answer, with its header.
constexpr std::uint16_t kFormatCapacitiesBytes = 252;

constexpr Cdb TestUnitReady() { return Cdb(Opcode::TestUnitReady); }

/// A format list follows as data; its descriptor tells what is done.
constexpr Cdb FormatUnit() { return Cdb(Opcode::FormatUnit).put8(1, 0x11); }

constexpr Cdb Inquiry(std::uint16_t bytes) { return Cdb(Opcode::Inquiry).put16(3, bytes); }

constexpr Cdb StartStopUnit(UnitAction action, Immed immed) {
    return Cdb(Opcode::StartStopUnit).put8(1, static_cast<unsigned>(immed)).put8(4, static_cast<unsigned>(action));
}

constexpr Cdb PreventAllowRemoval(bool prevents) { return Cdb(Opcode::PreventAllowRemoval).put8(4, prevents); }

constexpr Cdb ReadFormatCapacities(std::uint16_t bytes = kFormatCapacitiesBytes) {
    return Cdb(Opcode::ReadFormatCapacities).put16(7, bytes);
}

constexpr Cdb ReadCapacity() { return Cdb(Opcode::ReadCapacity); }

constexpr Cdb Read10(Lba first, std::uint16_t blocks) { return Cdb(Opcode::Read10).put32(2, first).put16(7, blocks); }

constexpr Cdb Write10(Lba first, std::uint16_t blocks) { return Cdb(Opcode::Write10).put32(2, first).put16(7, blocks); }

constexpr Cdb SynchronizeCache(Immed immed) {
    return Cdb(Opcode::SynchronizeCache).put8(1, immed == Immed::Yes ? 2 : 0);
}

/// `trackOrSession` is where formats 0 (track), 1 and 2 (session) begin.
constexpr Cdb ReadToc(TocFormat format, std::uint8_t trackOrSession, std::uint16_t bytes) {
    return Cdb(Opcode::ReadToc).put8(2, static_cast<unsigned>(format)).put8(6, trackOrSession).put16(7, bytes);
}

constexpr Cdb GetConfiguration(FeatureScope scope, std::uint16_t feature, std::uint16_t bytes) {
    return Cdb(Opcode::GetConfiguration).put8(1, static_cast<unsigned>(scope)).put16(2, feature).put16(7, bytes);
}

constexpr Cdb GetEventStatus(std::uint8_t classes, std::uint16_t bytes) {
    return Cdb(Opcode::GetEventStatus).put8(1, 1).put8(4, classes).put16(7, bytes);
}

constexpr Cdb ReadDiscInformation(std::uint16_t bytes) { return Cdb(Opcode::ReadDiscInformation).put16(7, bytes); }

constexpr Cdb ReadTrackInformation(TrackAddress kind, std::uint32_t address, std::uint16_t bytes) {
    return Cdb(Opcode::ReadTrackInformation).put8(1, static_cast<unsigned>(kind)).put32(2, address).put16(7, bytes);
}

constexpr Cdb ReserveTrack(std::uint32_t blocks) { return Cdb(Opcode::ReserveTrack).put32(5, blocks); }

/// Has the drive find the writing power for the medium.
constexpr Cdb SendOpcInformation() { return Cdb(Opcode::SendOpcInformation).put8(1, 1); }

/// The list is in the format of the standard's pages (PF).
constexpr Cdb ModeSelect10(std::uint16_t bytes) { return Cdb(Opcode::ModeSelect10).put8(1, 0x10).put16(7, bytes); }

/// `control`: 0 current, 1 changeable, 2 default, 3 saved values. Block descriptors are left out (DBD).
constexpr Cdb ModeSense10(std::uint8_t page, std::uint16_t bytes, std::uint8_t control = 0) {
    return Cdb(Opcode::ModeSense10).put8(1, 0x08).put8(2, static_cast<unsigned>(control << 6 | page)).put16(7, bytes);
}

constexpr Cdb CloseTrackSession(std::uint8_t function, std::uint16_t track, Immed immed) {
    return Cdb(Opcode::CloseTrackSession).put8(1, static_cast<unsigned>(immed)).put8(2, function & 7u).put16(4, track);
}

constexpr Cdb ReadBufferCapacity() { return Cdb(Opcode::ReadBufferCapacity).put16(7, 12); }

constexpr Cdb SendCueSheet(std::uint32_t bytes) { return Cdb(Opcode::SendCueSheet).put24(6, bytes); }

/// `start` is a block or a track, by the type of blanking.
constexpr Cdb Blank(std::uint8_t type, std::uint32_t start, Immed immed) {
    return Cdb(Opcode::Blank).put8(1, (type & 7u) | (immed == Immed::Yes ? 0x10u : 0u)).put32(2, start);
}

/// `kind` and `dataType` are byte 10 and the low bits of byte 1: 0x00 with 0 or 4 for nominal performance, 0x03 with 0
/// for write speeds.
constexpr Cdb GetPerformance(std::uint8_t kind, std::uint8_t dataType, Lba first, std::uint16_t descriptors) {
    return Cdb(Opcode::GetPerformance).put8(1, dataType).put32(2, first).put16(8, descriptors).put8(10, kind);
}

/// `mediaType`: 0 for DVD and HD DVD, 1 for BD.
constexpr Cdb ReadDiscStructure(std::uint8_t mediaType, std::uint8_t layer, std::uint8_t format, std::uint16_t bytes) {
    return Cdb(Opcode::ReadDiscStructure).put8(1, mediaType).put8(6, layer).put8(7, format).put16(8, bytes);
}

constexpr Cdb SendDiscStructure(std::uint8_t format, std::uint16_t bytes) {
    return Cdb(Opcode::SendDiscStructure).put8(7, format).put16(8, bytes);
}

constexpr Cdb SetStreaming(std::uint16_t bytes) { return Cdb(Opcode::SetStreaming).put16(9, bytes); }

/// Speeds in 1000 bytes a second; 0xFFFF is the greatest.
constexpr Cdb SetCdSpeed(std::uint16_t readSpeed, std::uint16_t writeSpeed) {
    return Cdb(Opcode::SetCdSpeed).put16(2, readSpeed).put16(4, writeSpeed);
}

constexpr Cdb ReadCd(Lba first, std::uint32_t sectors, CdSectorType type, std::uint8_t mainChannel,
                     SubChannel subChannel) {
    return Cdb(Opcode::ReadCd)
        .put8(1, static_cast<unsigned>(type) << 2)
        .put32(2, first)
        .put24(6, sectors)
        .put8(9, mainChannel)
        .put8(10, static_cast<unsigned>(subChannel));
}

static_assert(Write10(Lba{0x00012345}, 32).bytes[4] == 0x23 && Write10(Lba{0}, 32).length == 10);
static_assert(ReadCd(Lba{-150}, 26, CdSectorType::Audio, MainChannel::kWholeSector, SubChannel::Raw).length == 12);
static_assert(TestUnitReady().length == 6);

}  // namespace tovlark

// The first byte picks a medium; then command blocks of 12 bytes follow, each with data made of itself. Whatever is
// sent, the drive answers, and the disc file that it leaves opens again. TOVLARK_FUZZ_MEDIUM, a number from 0, picks
// the medium for all inputs.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "simdrive/Drive.h"
#include "support/TempFolder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tovlark;
    if (size == 0) return 0;
    static const TempFolder folder;
    const auto file = folder / "a.tvdisc";
    const Text path = file.u16string();
    std::filesystem::remove(file);
    static const char* const chosen = std::getenv("TOVLARK_FUZZ_MEDIUM");
    const std::size_t medium = chosen != nullptr ? std::strtoul(chosen, nullptr, 10) : data[0];
    const MediumRules& rules = MediaRules()[medium % MediaRules().size()];
    if (Disc::create(path, rules, 4000).failed()) return 0;

    std::uint64_t now = 0;
    const Clock clock{
        &now, [](void* self) { return *static_cast<std::uint64_t*>(self) += 100; },
        [](void* self, std::uint32_t milliseconds) { *static_cast<std::uint64_t*>(self) += milliseconds; },
        [](void*) { return UnixSeconds{0}; }, [](void*, UnixSeconds) { return std::int32_t{0}; }};
    SimDrive drive;
    drive.clock = &clock;
    drive.isRealTime = (data[0] & 0x80) != 0;
    ResetModePages(drive);
    SystemError error;
    auto disc = std::make_unique<Disc>();
    if (disc->open(path, error) != DiscFault::None) std::abort();
    LoadDisc(drive, std::move(disc));

    constexpr std::size_t kBlockBytes = 12, kMostCommands = 60;
    std::vector<std::byte> buffer(65536);
    for (std::size_t at = 1, count = 0; at + kBlockBytes <= size && count < kMostCommands; at += kBlockBytes, ++count) {
        std::memset(buffer.data(), 0, 128);
        const std::size_t following = std::min(size - at, std::size_t{96});
        std::memcpy(buffer.data(), data + at, following);
        std::array<std::byte, kBlockBytes> cdb;
        std::memcpy(cdb.data(), data + at, cdb.size());
        std::array<std::byte, 18> sense{};
        const std::uint8_t opcode = data[at];
        const bool isOut = opcode == 0x04 || opcode == 0x2A || opcode == 0x2E || opcode == 0x55 || opcode == 0x5D ||
                           opcode == 0xAA || opcode == 0xB6 || opcode == 0xBF;
        PassThrough command{.cdb = cdb,
                            .direction = isOut ? DataDirection::Out : DataDirection::In,
                            .data = buffer.data(),
                            .dataBytes = static_cast<std::uint32_t>(buffer.size()),
                            .sense = sense};
        const bool isBare = opcode == 0x00 || opcode == 0x1B || opcode == 0x1E || opcode == 0x35 || opcode == 0x53 ||
                            opcode == 0x54 || opcode == 0x5B || opcode == 0xA1 || opcode == 0xBB || opcode == 0x2F;
        if (isBare) command.dataBytes = 0;
        if (Execute(drive, command).failed() || command.dataBytes > buffer.size()) std::abort();
        if (command.scsiStatus == 0 && sense[2] != std::byte{0}) std::abort();
    }
    LoadDisc(drive, nullptr);
    if (Disc().open(path, error) != DiscFault::None) std::abort();
    return 0;
}

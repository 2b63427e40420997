// drive_bench FOLDER MEGABYTES: writes a simulated DVD+R and reads it back, in commands of 64 KiB through SendCommand.
// Prints the seconds that writing and reading took, and the microseconds of CPU that a command takes beyond moving its
// data: the least for reading the first 64 MB several times, less the least for plain reads of the same bytes.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>

#include "optical/SendCommand.h"
#include "platform/Files.h"
#include "platform/SystemClock.h"
#include "simdrive/SimulatedDrive.h"

namespace tovlark {
namespace {

constexpr std::uint16_t kBlocks = 32;  // 64 KiB
constexpr std::size_t kBytes = kBlocks * 2048;
constexpr std::uint64_t kFirstBlock = 65536 + 150 * 2352;  // where a disc file has it (docs/simulated-drives.md)
constexpr int kRepeats = 15;

using Buffer = std::array<std::byte, kBytes>;

/// Wall and CPU seconds that so many calls take; exits when one fails.
struct Spent {
    double wall, cpu;
};

Spent Measure(std::uint32_t count, const std::function<bool(std::uint32_t)>& call) {
    const auto began = std::chrono::steady_clock::now();
    const std::clock_t beganCpu = std::clock();
    for (std::uint32_t index = 0; index < count; ++index)
        if (!call(index)) {
            std::fprintf(stderr, "drive_bench: number %u of %u failed\n", index, count);
            std::exit(1);
        }
    return {std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count(),
            static_cast<double>(std::clock() - beganCpu) / CLOCKS_PER_SEC};
}

double Least(const std::function<double()>& measure) {
    double least = measure();
    for (int repeat = 1; repeat < kRepeats; ++repeat) least = std::min(least, measure());
    return least;
}

bool Transfer(Drive drive, const Cdb& cdb, Buffer& buffer) {
    std::uint32_t length = kBytes;
    std::array<std::byte, kSenseBytes> sense;
    return SendCommand(drive, {.cdb = cdb.view(),
                               .buffer = buffer.data(),
                               .transferLength = &length,
                               .senseBuffer = sense.data(),
                               .senseLength = sense.size(),
                               .dataIn = cdb.opcode() == Opcode::Read10,
                               .timeoutSeconds = 50}) &&
           length == kBytes;
}

int Run(const Text& folder, std::uint32_t megabytes) {
    const Text disc = folder + u"/bench.tvdisc", description = folder + u"/bench.ini";
    const Clock clock = SystemClock();
    DriveDescription drive;
    drive.disc = disc;
    DiscDevice device;
    if (Disc::create(disc, *FindRules(Medium::DvdPlusR), FindRules(Medium::DvdPlusR)->blocks).failed() ||
        WriteDriveDescription(description, drive).failed() || OpenSimulatedDrive(description, clock, device).failed()) {
        std::fputs("drive_bench: no drive can be made there\n", stderr);
        return 1;
    }
    const OpenedDrive opened({.device = device, .clock = &clock});
    const std::uint32_t commands = megabytes * 16;
    Buffer buffer;
    buffer.fill(std::byte{0xA5});
    const auto address = [](std::uint32_t index) { return Lba{static_cast<std::int32_t>(index * kBlocks)}; };
    const auto write = [&](std::uint32_t index) {
        return Transfer(opened.get(), Write10(address(index), kBlocks), buffer);
    };
    const Spent writing = Measure(commands, write);
    static_cast<void>(SendPlain(opened.get(), SynchronizeCache(Immed::No)));
    const auto read = [&](std::uint32_t index) {
        return Transfer(opened.get(), Read10(address(index), kBlocks), buffer);
    };
    const Spent reading = Measure(commands, read);

    const std::uint32_t few = std::min<std::uint32_t>(commands, 1024);
    InputFile file;
    if (file.open(disc).failed()) return 1;
    const auto readBare = [&](std::uint32_t index) {
        std::size_t count = 0;
        return !file.readAt(kFirstBlock + std::uint64_t{index} * kBytes, buffer, count).failed() && count == kBytes;
    };
    const double bare = Least([&] { return Measure(few, readBare).cpu; });
    const double sent = Least([&] { return Measure(few, read).cpu; });
    std::printf("%.4f %.4f %.3f\n", writing.wall, reading.wall, (sent - bare) / few * 1e6);
    return 0;
}

}  // namespace
}  // namespace tovlark

int main(int count, char** words) {
    // A DVD+R has room for 4482.
    const long megabytes = count == 3 ? std::strtol(words[2], nullptr, 10) : 0;
    if (megabytes < 1 || megabytes > 4482) {
        std::fputs("Usage: drive_bench FOLDER MEGABYTES (1 to 4482)\n", stderr);
        return 1;
    }
    return tovlark::Run(tovlark::FromUtf8(words[1]), static_cast<std::uint32_t>(megabytes));
}

// The bytes are what a drive answers, command after command: one byte for the outcome, two for the length, then the
// data. Whatever it says, asking ends, and counts stay sound.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

#include "optical/DiscSummary.h"
#include "optical/SectorReader.h"
#include "optical/SendCommand.h"
#include "optical/Speeds.h"
#include "support/FakeSession.h"

namespace {

using namespace tovlark;

struct Replies {
    std::span<const std::uint8_t> left;

    std::uint8_t take() {
        if (left.empty()) return 0;
        const std::uint8_t byte = left.front();
        left = left.subspan(1);
        return byte;
    }

    static SystemError send(void* self, PassThrough& command) {
        Replies& replies = *static_cast<Replies*>(self);
        // When there is no more, the drive is gone.
        if (replies.left.empty()) return {19};
        const std::uint8_t outcome = replies.take();
        const std::size_t high = replies.take();
        const std::size_t wanted = high << 8 | replies.take();
        const std::size_t length = std::min(wanted, replies.left.size());
        if (outcome & 1) {
            std::memcpy(command.sense.data(), replies.left.data(), std::min(length, command.sense.size()));
            command.scsiStatus = outcome;
        } else if (command.direction == DataDirection::In) {
            std::memcpy(command.data, replies.left.data(), std::min<std::size_t>(length, command.dataBytes));
            // A bad driver may claim that more came than was asked for.
            command.dataBytes = outcome & 2 ? 0xFFFFFFFF : static_cast<std::uint32_t>(length);
        }
        replies.left = replies.left.subspan(length);
        return {};
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FakeSession around;
    Replies replies{{data, size}};
    OpenedDrive opened{DriveRecord{
        .device = {&replies, &Replies::send, nullptr, nullptr}, .clock = &around.clock, .log = &around.log}};
    const Drive drive = opened.get();

    DriveEntry entry;
    ReadDiscSummary(around.texts, entry, drive, SummaryParts::Everything);
    if (entry.usedBlocks > entry.totalBlocks || entry.freeBlocks != entry.totalBlocks - entry.usedBlocks) std::abort();
    (void)DriveDisplayName(around.texts, drive);
    std::vector<SpeedEntry> speeds;
    for (const std::uint32_t speed : ReadWriteSpeeds(drive)) {
        std::uint32_t unit = kChooseUnit;
        AddSpeedEntry(around.texts, speeds, speed, unit, entry.mediaType);
    }
    (void)CheckNextWritableAddress(around.task, drive, 1, Lba{0}, 1);
    (void)WaitUntilReady(drive, 3);
    std::vector<std::byte> sectors(2 * 2352);
    (void)ReadSectors({.drive = drive, .form = SectorForm::Raw}, Lba{0}, 2, sectors);
    return 0;
}

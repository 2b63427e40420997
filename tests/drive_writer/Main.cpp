// drive_writer DRIVE: writes 32 blocks to the disc in a simulated drive and synchronises them, writes 32 more, says
// "written" and waits to be killed.
#include "platform/Main.h"

#include <string>

#include "optical/SendCommand.h"
#include "platform/ConsoleStreams.h"
#include "platform/SystemClock.h"
#include "simdrive/SimulatedDrive.h"

namespace tovlark {

int ProgramMain(const std::vector<Text>& words) {
    const Clock clock = SystemClock();
    DiscDevice device;
    if (words.size() != 2 || OpenSimulatedDrive(words[1], clock, device).failed()) {
        WriteErrorLine(u"Usage: drive_writer DRIVE");
        return 1;
    }
    const OpenedDrive drive({.device = device, .clock = &clock});
    const std::vector<std::byte> data(32 * 2048, std::byte{'w'});
    if (!SendData(drive.get(), Write10(Lba{0}, 32), data) || !SendPlain(drive.get(), SynchronizeCache(Immed::No)) ||
        !SendData(drive.get(), Write10(Lba{32}, 32), data)) {
        WriteErrorLine(u"The drive refuses");
        return 1;
    }
    const ConsoleStreams streams = StandardStreams();
    streams.write(streams.self, "written\n");
    streams.readByte(streams.self);
    return 0;
}

}  // namespace tovlark

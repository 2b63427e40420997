#include "simdrive/DriveSource.h"

#include <array>
#include <cstddef>

#include "app/session/Task.h"

namespace tovlark {

namespace {

/// What is wrong with a disc, of one in a drive and of one alone.
struct FaultTexts {
    TextId inDrive, alone;
};

FaultTexts TextsOf(const DriveFileFault& fault) {
    switch (fault.disc) {
        case DiscFault::NotADisc: return {TextId::SimDiscNotADisc, TextId::DiscFileNotADisc};
        case DiscFault::NotPressed: return {TextId::SimDiscNotPressed, TextId::DiscFileNotPressed};
        case DiscFault::Damaged: return {TextId::SimDiscDamaged, TextId::DiscFileDamaged};
        case DiscFault::TooNew: return {TextId::SimDiscTooNew, TextId::DiscFileTooNew};
        case DiscFault::None:
        case DiscFault::System: break;
    }
    if (IsLockedElsewhere(fault.error)) return {TextId::SimDiscBusy, TextId::DiscFileBusy};
    return {TextId::SimDiscUnreadable, TextId::DiscFileUnreadable};
}

DriveFault FaultOf(const DriveFileFault& fault) {
    const Text reason = fault.error.failed() ? DescribeError(fault.error) : Text();
    if (fault.isNoDescription) return {TextId::DriveNotOptical, fault.path, {}};
    if (fault.disc != DiscFault::None) return {TextsOf(fault).inDrive, fault.path, reason};
    if (IsLockedElsewhere(fault.error)) return {TextId::SimDriveBusy, fault.path, {}};
    if (IsNotFound(fault.error)) return {TextId::SimDriveMissing, fault.path, {}};
    return {TextId::DriveNotOpened, fault.path, reason};
}

/// The system's drivers hear of a changed medium when they open a drive; programs do not.
void HearAttention(const DiscDevice& device) {
    constexpr std::array<std::byte, 6> kTestUnitReady{};
    std::array<std::byte, 18> sense{};
    PassThrough command{
        .cdb = kTestUnitReady, .direction = DataDirection::None, .data = nullptr, .dataBytes = 0, .sense = sense};
    static_cast<void>(device.send(device.self, command).failed());
}

}  // namespace

DeviceSource SimulatedDrives() {
    return {kSimulatedPrefix, [](const Text& target, const Clock& clock, DiscDevice& device, DriveFault& fault) {
                const DriveFileFault found = OpenSimulatedDrive(target, clock, device);
                if (found.failed()) return fault = FaultOf(found), false;
                HearAttention(device);
                return true;
            }};
}

DriveMap MapAllDrives(Task& task) {
    DriveMap map = MapDrives(task);
    map.sources.push_back(SimulatedDrives());
    return map;
}

Text DescribeFault(const Texts& texts, const DriveFileFault& fault) {
    return texts.format(TextsOf(fault).alone, {fault.path, DescribeError(fault.error)});
}

}  // namespace tovlark

#include "optical/DriveMap.h"

#include <algorithm>
#include <array>

#include "app/session/Settings.h"
#include "app/session/Task.h"
#include "optical/SendCommand.h"

namespace tovlark {
namespace {

constexpr char16_t kFirstFreeLetter = u'D';
constexpr std::uint8_t kOpticalDevice = 5;  // peripheral device type (SPC-4 6.4.2)

char16_t CapitalOf(char16_t letter) {
    return letter >= u'a' && letter <= u'z' ? static_cast<char16_t>(letter - u'a' + u'A') : letter;
}

const DeviceSource* SourceOf(const DriveMap& map, TextView target) {
    const auto found = std::ranges::find_if(
        map.sources, [target](const DeviceSource& source) { return target.starts_with(source.prefix); });
    return found != map.sources.end() ? &*found : nullptr;
}

/// True for "word:...", which is no path of a device on either system.
bool NamesKind(TextView target) {
    const std::size_t colon = target.find(u':');
    return colon != target.npos && colon > 1 && target.find_first_of(u"/\\.") > colon;
}

bool OpenSystemDevice(const Text& path, DiscDevice& device, DriveFault& fault) {
    const SystemError error = OpenDiscDevice(path, device);
    if (!error.failed()) return true;
    const Text group = GroupOf(path);
    if (IsDenied(error) && !group.empty())
        fault = {TextId::DriveNeedsGroup, path, group};
    else
        fault = {TextId::DriveNotOpened, path, DescribeError(error)};
    return false;
}

bool IsOpticalDrive(Drive drive) {
    std::array<std::byte, 36> buffer;
    ReplyView reply;
    return ReceiveData(drive, Inquiry(buffer.size()), buffer, reply) && reply.has(1) &&
           (reply.u8(0) & 0x1F) == kOpticalDevice;
}

}  // namespace

std::optional<char16_t> ParseDrive(TextView word) {
    if (word.size() < 2 || word.size() > 3 || word[1] != u':') return std::nullopt;
    if (word.size() == 3 && word[2] != u'\\') return std::nullopt;
    const char16_t letter = word[0] >= u'a' && word[0] <= u'z' ? static_cast<char16_t>(word[0] - u'a' + u'A') : word[0];
    if (letter < u'D' || letter > u'Z') return std::nullopt;
    return letter;
}

DriveMap MapDrives(Task& task) {
    const bool isLogKept = !task.settings.getString(kMessageLogFile).empty();
    return {.settings = task.settings, .clock = task.clock, .commandLog = isLogKept ? &task.log : nullptr};
}

std::vector<DriveLetter> ListDrives(const DriveMap& map) {
    std::array<DriveLetter, 26> letters;
    std::vector<Text> mapped;
    for (std::size_t index = 0; index < letters.size(); ++index) {
        const auto letter = static_cast<char16_t>(u'A' + index);
        const Text target = map.settings.getStringIn(TextView(&letter, 1), {}, kDrivesKey);
        if (target.empty()) continue;
        letters[index] = {letter, target, true};
        mapped.push_back(target);
    }
    std::size_t next = kFirstFreeLetter - u'A';
    for (const SystemDrive& drive : map.systemDrives()) {
        if (std::ranges::find(mapped, drive.path) != mapped.end()) continue;
        while (drive.letter == 0 && next < letters.size() && letters[next].letter != 0) ++next;
        const std::size_t index = drive.letter != 0 ? static_cast<std::size_t>(drive.letter - u'A') : next;
        if (index < letters.size() && letters[index].letter == 0)
            letters[index] = {static_cast<char16_t>(u'A' + index), drive.path, false};
    }
    std::vector<DriveLetter> drives;
    std::ranges::copy_if(letters, std::back_inserter(drives),
                         [](const DriveLetter& drive) { return drive.letter != 0; });
    return drives;
}

OpenedDrive OpenDrive(const DriveMap& map, char16_t letter, DriveFault& fault) {
    const std::vector<DriveLetter> drives = ListDrives(map);
    const auto found = std::ranges::find(drives, CapitalOf(letter), &DriveLetter::letter);
    if (found == drives.end()) {
        fault = {TextId::DriveNotThere, {}, {}};
        return {};
    }
    const Text& target = found->target;
    DiscDevice device;
    const DeviceSource* source = SourceOf(map, target);
    if (source != nullptr) {
        if (!source->open(target.substr(source->prefix.size()), map.clock, device, fault)) return {};
    } else if (NamesKind(target)) {
        fault = {TextId::DriveKindMissing, target, {}};
        return {};
    } else if (!OpenSystemDevice(target, device, fault)) {
        return {};
    }
    OpenedDrive opened(
        {.device = device, .clock = &map.clock, .log = map.commandLog, .letter = found->letter, .path = target});
    if (found->isMapped && !IsOpticalDrive(opened.get())) {
        fault = {TextId::DriveNotOptical, target, {}};
        return {};
    }
    return opened;
}

Text DescribeFault(const Texts& texts, char16_t letter, const DriveFault& fault) {
    return texts.format(fault.text, {CapitalOf(letter), fault.first, fault.second});
}

DriveFault LockFault(Drive drive) {
    const DriveRecord& record = *drive.record;
    const Text words = DescribeError(record.volumeError);
    const std::vector<Text> mounts = MountsOf(record.path);
    if (!mounts.empty()) return {TextId::DriveMounted, mounts.back(), words};
    return {IsBusy(record.volumeError) ? TextId::DriveInUse : TextId::DriveNotLocked, record.path, words};
}

}  // namespace tovlark

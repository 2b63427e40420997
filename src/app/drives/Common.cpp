#include "app/drives/Common.h"

#include "optical/DriveMap.h"
#include "platform/ConsoleStreams.h"
#include "platform/Files.h"
#include "platform/LockedFile.h"
#include "simdrive/DriveSource.h"

namespace tovlark {

namespace {

Text TargetOf(Task& task, char16_t letter) { return task.settings.getStringIn(TextView(&letter, 1), {}, kDrivesKey); }

}  // namespace

void Print(Task& task, TextId text, std::initializer_list<FormatArgument> arguments) {
    task.session.print(task.session.texts().format(text, arguments) + u"\n");
}

void Complain(Task& task, TextId text, std::initializer_list<FormatArgument> arguments) {
    WriteErrorLine(task.session.texts().format(text, arguments));
}

Status Refuse(Task& task, TextId text, std::initializer_list<FormatArgument> arguments) {
    Complain(task, text, arguments);
    return Status::Failed;
}

std::optional<char16_t> LetterOf(Task& task, const Text& word) {
    const auto letter = ParseDrive(word);
    if (!letter) Complain(task, TextId::NoDriveLetter, {word});
    return letter;
}

std::vector<std::pair<std::string, std::string>> PlantedFaults(const DriveFaults& faults) {
    auto entries = FaultEntries(faults);
    std::erase_if(entries, [](const auto& entry) { return entry.second.empty(); });
    return entries;
}

bool IsSimulated(Task& task, char16_t letter) { return TargetOf(task, letter).starts_with(kSimulatedPrefix); }

std::optional<SimulatedLetter> FindSimulated(Task& task, const Text& word) {
    const auto letter = LetterOf(task, word);
    if (!letter) return std::nullopt;
    const Text target = TargetOf(task, *letter);
    if (!target.starts_with(kSimulatedPrefix)) {
        if (target.empty())
            Complain(task, TextId::LetterNotMapped, {*letter});
        else
            Complain(task, TextId::DriveNotSimulated, {*letter, target});
        return std::nullopt;
    }
    SimulatedLetter drive{*letter, target.substr(kSimulatedPrefix.size()), {}};
    const SystemError error = ReadDriveDescription(drive.path, drive.description);
    if (!error.failed()) return drive;
    const TextId text = IsNotFound(error)          ? TextId::SimDriveMissing
                        : IsLockedElsewhere(error) ? TextId::SimDriveBusy
                                                   : TextId::DriveNotOpened;
    Complain(task, text, {*letter, drive.path, DescribeError(error)});
    return std::nullopt;
}

bool Describe(Task& task, const SimulatedLetter& drive, const DriveDescription& description) {
    const SystemError error = WriteDriveDescription(drive.path, description);
    if (!error.failed()) return true;
    const TextId text = IsLockedElsewhere(error) ? TextId::SimDriveBusy : TextId::DriveNotOpened;
    Complain(task, text, {drive.letter, drive.path, DescribeError(error)});
    return false;
}

}  // namespace tovlark

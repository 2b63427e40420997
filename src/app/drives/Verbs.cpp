#include "app/drives/Verbs.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "app/drives/Common.h"
#include "app/drives/DriveJson.h"
#include "app/drives/Table.h"
#include "base/Format.h"
#include "base/Sectors.h"
#include "optical/SendCommand.h"
#include "platform/Files.h"
#include "platform/LockedFile.h"
#include "platform/Paths.h"
#include "simdrive/DriveSource.h"

namespace tovlark {

namespace {

/// Where `AddDrive` keeps descriptions; a system without a folder for configuration keeps them beside the programs.
Text DescriptionsFolder() {
    const Text folder = ConfigurationFolder();
    return JoinPath(folder.empty() ? ProgramFolder() : folder, u"drives");
}

Text DescriptionOf(char16_t letter) { return JoinPath(DescriptionsFolder(), Text(1, letter) + u".ini"); }

bool KeepLetter(Task& task, char16_t letter, TextView target) {
    if (task.settings.setString(TextView(&letter, 1), target, kDrivesKey)) return true;
    const auto fault = task.settings.fault();
    const Text reason = fault ? fault->path + u": " + ReasonOf(task.session.texts(), *fault) : Text();
    Complain(task, TextId::DriveNotKept, {letter, reason});
    return false;
}

/// A letter that nothing has yet.
bool IsFree(Task& task, char16_t letter) {
    const auto drives = ListDrives(MapAllDrives(task));
    const auto found = std::ranges::find(drives, letter, &DriveLetter::letter);
    if (found == drives.end()) return true;
    const TextId text = found->isMapped ? TextId::LetterTaken : TextId::LetterIsSystems;
    Complain(task, text, {letter, found->target, letter});
    return false;
}

Status TellDrive(Task& task, char16_t letter, TextView what) {
    Print(task, TextId::DriveIsNow, {letter, what});
    return Status::Ok;
}

/// Whether a drive, or a program that reads a disc alone, has the file open.
bool IsInUse(const Text& path) {
    LockedFile file;
    return IsLockedElsewhere(file.open(path, LockedFile::Mode::Existing));
}

/// The names that `--media` takes, with commas between.
Text MediaNames(bool pressed) {
    Text names;
    for (const MediumRules& rules : MediaRules())
        if ((rules.access == Access::Pressed) == pressed) names.append(names.empty() ? u"" : u", ").append(rules.name);
    return names;
}

}  // namespace

Status ListDriveLetters(Task& task, OutputForm form) {
    const Texts& texts = task.session.texts();
    const DriveMap map = MapAllDrives(task);
    Json json = Json::array();
    Table table;
    table.addRow(texts, {TextId::ColumnLetter, TextId::ColumnDrive, TextId::ColumnDisc, TextId::ColumnDevice});
    const std::vector<DriveLetter> letters = ListDrives(map);
    for (const DriveLetter& letter : letters) {
        DriveFault fault;
        const OpenedDrive drive = OpenDrive(map, letter.letter, fault);
        const Text reason = drive ? Text() : DescribeFault(texts, letter.letter, fault);
        DriveFacts facts;
        if (drive) {
            facts.identity = ReadDriveIdentity(drive.get());
            ReadDiscSummary(texts, facts.entry, drive.get(), SummaryParts::Everything);
        }
        if (form == OutputForm::ForPrograms) {
            Json item;
            item["letter"] = std::string(1, static_cast<char>(letter.letter));
            item["device"] = ToUtf8(letter.target);
            item["drive"] = ToUtf8(JoinWords({facts.identity.vendor, facts.identity.product}));
            item["code"] = static_cast<std::uint8_t>(facts.entry.mediaType);
            item["medium"] = ToUtf8(facts.entry.mediaName);
            if (!drive) item["fault"] = ToUtf8(reason);
            json.push_back(std::move(item));
            continue;
        }
        const Text name = JoinWords({facts.identity.vendor, facts.identity.product});
        table.addRow({Text(1, letter.letter) + u":", drive ? name : reason,
                      JoinWords({facts.entry.mediaName, facts.entry.summary}), letter.target});
    }
    if (form == OutputForm::ForPrograms)
        PrintJson(task.session, json);
    else
        task.session.print(letters.empty() ? Text(texts[TextId::NoDrives]) + u"\n" : table.page());
    return Status::Ok;
}

Status AddDrive(Task& task, const NewDrive& drive) {
    const auto letter = LetterOf(task, drive.letter);
    if (!letter || !IsFree(task, *letter)) return Status::Failed;
    DriveDescription description;
    if (!drive.model.empty()) description.model = ToUtf8(drive.model);
    description.isRealTime = drive.isRealTime;
    const Text path = DescriptionOf(*letter);
    SystemError error = CreateFolders(DescriptionsFolder());
    if (!error.failed()) error = WriteDriveDescription(path, description);
    if (error.failed()) return Refuse(task, TextId::FileNotMade, {path, DescribeError(error)});
    const Text target = Text(kSimulatedPrefix) + path;
    return KeepLetter(task, *letter, target) ? TellDrive(task, *letter, target) : Status::Failed;
}

Status MapDrive(Task& task, const Text& letterWord, const Text& device) {
    const auto letter = LetterOf(task, letterWord);
    if (!letter || !IsFree(task, *letter)) return Status::Failed;
    const bool isSimulated = device.starts_with(kSimulatedPrefix);
    const Text target =
        isSimulated ? Text(kSimulatedPrefix) + FullPath(TextView(device).substr(kSimulatedPrefix.size())) : device;
    if (!KeepLetter(task, *letter, target)) return Status::Failed;
    DriveFault fault;
    if (OpenDrive(MapAllDrives(task), *letter, fault)) return TellDrive(task, *letter, target);
    WriteErrorLine(DescribeFault(task.session.texts(), *letter, fault));
    static_cast<void>(KeepLetter(task, *letter, {}));
    return Status::Failed;
}

Status RemoveDrive(Task& task, const Text& letterWord) {
    const auto letter = LetterOf(task, letterWord);
    if (!letter) return Status::Failed;
    const Text target = task.settings.getStringIn(TextView(&*letter, 1), {}, kDrivesKey);
    if (target.empty()) return Refuse(task, TextId::LetterNotMapped, {*letter});
    const Text path = DescriptionOf(*letter);
    const bool isOurs = target == Text(kSimulatedPrefix) + path;
    if (isOurs && IsInUse(path)) return Refuse(task, TextId::SimDriveBusy, {*letter, path});
    if (!KeepLetter(task, *letter, {})) return Status::Failed;
    if (isOurs)
        for (const Text& file : {path, path + u".log"})
            static_cast<void>(RemoveFile(file).failed());  // one that stays serves the letter's next drive
    Print(task, TextId::DriveRemoved, {*letter});
    return Status::Ok;
}

Status MakeDisc(Task& task, const NewDisc& disc) {
    const Texts& texts = task.session.texts();
    const MediumRules* rules = FindRules(disc.media);
    if (rules == nullptr || rules->access == Access::Pressed)
        return Refuse(task, TextId::NoSuchMedium, {disc.media, MediaNames(/*pressed*/ false)});
    const std::uint32_t asked = disc.blocks.value_or(rules->blocks);
    if (asked == 0 || asked > rules->blocks)
        return Refuse(task, TextId::BlocksOutOfRange,
                      {rules->name, FormatGrouped(rules->blocks), FormatGrouped(asked)});
    const std::uint32_t blocks = std::max(asked, std::uint32_t{rules->eccBlocks});
    if (IsInUse(disc.path)) return Refuse(task, TextId::DiscFileBusy, {disc.path});
    if (const auto reason = WhatKeepsFile(task, disc.path)) return Refuse(task, *reason, {disc.path});
    SystemError error = RemoveFile(disc.path);
    if (!error.failed() || IsNotFound(error)) {
        error = Disc::create(disc.path, *rules, blocks);
        if (error.failed()) static_cast<void>(RemoveFile(disc.path).failed());  // half of one is no disc
    }
    if (error.failed()) return Refuse(task, TextId::FileNotMade, {disc.path, DescribeError(error)});
    task.session.print(texts.format(TextId::DiscMade, {disc.path, rules->name, FormatGrouped(blocks),
                                                       FormatSize(std::uint64_t{blocks} * kSectorSize)}) +
                       u"\n");
    return Status::Ok;
}

Status InsertDisc(Task& task, const Text& letterWord, const Text& path, const Text& media) {
    const auto drive = FindSimulated(task, letterWord);
    if (!drive) return Status::Failed;
    DriveDescription description = drive->description;
    if (!description.disc.empty())
        return Refuse(task, TextId::DriveHoldsDisc, {drive->letter, description.disc, drive->letter});
    const MediumRules* pressed = FindRules(media);
    if (!media.empty() && (pressed == nullptr || pressed->access != Access::Pressed))
        return Refuse(task, TextId::NoSuchMedium, {media, MediaNames(/*pressed*/ true)});
    description.disc = FullPath(path);
    description.pressed = pressed;
    description.isTrayOpen = false;
    description.underruns = 0;
    {
        Disc disc;
        DriveFileFault fault{description.disc, {}, {}};
        fault.disc = disc.open(description.disc, fault.error, pressed);
        if (fault.failed()) {
            WriteErrorLine(DescribeFault(task.session.texts(), fault));
            return Status::Failed;
        }
    }
    if (!Describe(task, *drive, description)) return Status::Failed;
    Print(task, TextId::DiscInserted, {drive->letter, description.disc});
    return Status::Ok;
}

Status EjectDisc(Task& task, const Text& letterWord) {
    const auto letter = LetterOf(task, letterWord);
    if (!letter) return Status::Failed;
    if (IsSimulated(task, *letter)) {
        const auto drive = FindSimulated(task, letterWord);
        if (!drive) return Status::Failed;
        DriveDescription description = drive->description;
        description.disc.clear();
        description.pressed = nullptr;
        description.isTrayOpen = true;
        if (!Describe(task, *drive, description)) return Status::Failed;
    } else {
        DriveFault fault;
        const OpenedDrive drive = OpenDrive(MapAllDrives(task), *letter, fault);
        if (!drive) {
            WriteErrorLine(DescribeFault(task.session.texts(), *letter, fault));
            return Status::Failed;
        }
        if (!SendPlain(drive.get(), PreventAllowRemoval(false)) ||
            !SendPlain(drive.get(), StartStopUnit(UnitAction::Eject, Immed::No)))
            return Refuse(task, TextId::DriveNotEjected, {*letter, GetLastDriveError(drive.get())});
    }
    Print(task, TextId::DriveOpened, {*letter});
    return Status::Ok;
}

Status ShowDrive(Task& task, const Text& letterWord, OutputForm form) {
    const auto letter = LetterOf(task, letterWord);
    if (!letter) return Status::Failed;
    // Before the drive is opened: its description is locked then.
    std::vector<std::pair<std::string, std::string>> faults;
    std::optional<std::uint32_t> underruns;
    if (IsSimulated(task, *letter)) {
        const auto simulated = FindSimulated(task, letterWord);
        if (!simulated) return Status::Failed;
        faults = PlantedFaults(simulated->description.faults);
        underruns = simulated->description.underruns;
    }
    const Texts& texts = task.session.texts();
    const DriveMap map = MapAllDrives(task);
    DriveFault fault;
    const OpenedDrive drive = OpenDrive(map, *letter, fault);
    if (!drive) {
        WriteErrorLine(DescribeFault(texts, *letter, fault));
        return Status::Failed;
    }
    DriveFacts facts = ReadDriveFacts(texts, drive.get());
    facts.faults = std::move(faults);
    facts.underruns = underruns;
    const Text& target = drive.get().record->path;
    if (form == OutputForm::ForPrograms)
        PrintJson(task.session, FactsAsJson(texts, {*letter, target, false}, facts));
    else
        task.session.print(DescribeFacts(texts, facts, target));
    return Status::Ok;
}

}  // namespace tovlark

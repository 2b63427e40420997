#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "app/drives/Common.h"
#include "app/drives/DriveJson.h"
#include "app/drives/Verbs.h"
#include "optical/Commands.h"
#include "platform/Files.h"
#include "platform/Paths.h"

namespace tovlark {

namespace {

constexpr std::uint64_t kMostLogBytes = std::uint64_t{1} << 30;

struct OtherCommand {
    std::uint8_t opcode;
    TextView name;
};

// Commands that this program never sends, but others do.
constexpr OtherCommand kOtherCommands[] = {
    {0x03, u"REQUEST SENSE"},
    {0x15, u"MODE SELECT(6)"},
    {0x1A, u"MODE SENSE(6)"},
    {0x2B, u"SEEK(10)"},
    {0x2E, u"WRITE AND VERIFY(10)"},
    {0x2F, u"VERIFY(10)"},
    {0x3B, u"WRITE BUFFER"},
    {0x3C, u"READ BUFFER"},
    {0x42, u"READ SUB-CHANNEL"},
    {0x45, u"PLAY AUDIO(10)"},
    {0x47, u"PLAY AUDIO MSF"},
    {0x4B, u"PAUSE/RESUME"},
    {0x4C, u"LOG SELECT"},
    {0x4D, u"LOG SENSE"},
    {0x58, u"REPAIR TRACK"},
    {0xA0, u"REPORT LUNS"},
    {0xA3, u"SEND KEY"},
    {0xA4, u"REPORT KEY"},
    {0xA6, u"LOAD/UNLOAD MEDIUM"},
    {0xA8, u"READ(12)"},
    {0xAA, u"WRITE(12)"},
    {0xB9, u"READ CD MSF"},
    {0xBD, u"MECHANISM STATUS"},
};

Text NameOf(std::uint8_t opcode) {
    if (const CommandRow* row = FindCommand(static_cast<Opcode>(opcode))) return Text(row->name);
    const auto* other = std::ranges::find(kOtherCommands, opcode, &OtherCommand::opcode);
    return other != std::end(kOtherCommands) ? Text(other->name) : Text(u"?");
}

/// The value of the two digits that a line begins with; such lines are all that a drive writes.
std::uint8_t OpcodeOf(std::string_view line) {
    return static_cast<std::uint8_t>(std::strtoul(std::string(line.substr(0, 2)).c_str(), nullptr, 16));
}

void ShowLines(Task& task, std::string_view lines, OutputForm form) {
    constexpr std::size_t kNameColumns = 30;
    Json json = Json::array();
    while (!lines.empty()) {
        const std::size_t end = std::min(lines.find('\n'), lines.size());
        const std::string_view line = lines.substr(0, end);
        lines.remove_prefix(std::min(end + 1, lines.size()));
        if (line.empty()) continue;
        const Text name = NameOf(OpcodeOf(line));
        if (form == OutputForm::ForPrograms)
            json.push_back({{"name", ToUtf8(name)}, {"cdb", line}});
        else
            task.session.print(name + Text(kNameColumns - std::min(kNameColumns - 1, name.size()), u' ') +
                               FromUtf8(line) + u"\n");
    }
    if (form == OutputForm::ForPrograms) PrintJson(task.session, json);
}

}  // namespace

Status WorkOnLog(Task& task, const Text& letterWord, LogAction action, OutputForm form) {
    const auto drive = FindSimulated(task, letterWord);
    if (!drive) return Status::Failed;
    if (action == LogAction::On || action == LogAction::Off) {
        DriveDescription description = drive->description;
        description.log = action == LogAction::On ? drive->path + u".log" : Text();
        if (!Describe(task, *drive, description)) return Status::Failed;
        if (action == LogAction::On) Print(task, TextId::LogIsIn, {drive->letter, description.log});
        return Status::Ok;
    }
    if (drive->description.log.empty()) return Refuse(task, TextId::LogNotKept, {drive->letter, drive->letter});
    const Text& path = drive->description.log;
    const Text full = IsAbsolutePath(path) ? path : JoinPath(FolderOf(drive->path), path);
    std::string lines;
    SystemError error;
    if (action == LogAction::Clear)
        error = RemoveFile(full);
    else
        error = ReadWholeFile(full, kMostLogBytes, lines);
    if (error.failed() && !IsNotFound(error))
        return Refuse(task, TextId::DiscFileUnreadable, {full, DescribeError(error)});
    if (action == LogAction::Show) ShowLines(task, lines, form);
    return Status::Ok;
}

}  // namespace tovlark

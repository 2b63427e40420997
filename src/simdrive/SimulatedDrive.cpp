#include "simdrive/SimulatedDrive.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <utility>

#include "base/IniText.h"
#include "platform/Paths.h"
#include "simdrive/Drive.h"

namespace tovlark {

namespace {

constexpr std::string_view kSection = "Drive";
constexpr const char* kSeen = "Seen";
constexpr std::size_t kMostDescriptionBytes = 65536, kLogBufferBytes = 32768;

bool Is(std::optional<std::string_view> value, TextView expected) {
    return value && EqualsIgnoringCase(FromUtf8(*value), expected);
}

/// Some other file may have any name.
bool IsDescription(std::string_view bytes) {
    IniLine line;
    for (std::size_t position = 0; NextIniLine(bytes, position, line);)
        if (line.kind == IniLine::Kind::Section && line.name == kSection) return true;
    return false;
}

DriveDescription Parse(std::string_view bytes) {
    const auto find = [&](std::string_view name) { return FindIniValue(bytes, kSection, name); };
    DriveDescription description;
    if (const auto model = find("Model"); model && !model->empty()) description.model = model->substr(0, 16);
    description.isRealTime = Is(find("Speed"), u"real");
    description.isTrayOpen = Is(find("Tray"), u"open");
    description.disc = FromUtf8(find("Disc").value_or(""));
    description.pressed = FindRules(FromUtf8(find("Pressed").value_or("")));
    description.log = FromUtf8(find("Log").value_or(""));
    description.faults = ReadFaults(find);
    const std::string_view underruns = find("Underruns").value_or("");
    std::from_chars(underruns.data(), underruns.data() + underruns.size(), description.underruns);
    if (const auto seen = find("Seen")) description.seen = FromUtf8(*seen);
    return description;
}

/// A text that cannot be a value is an invalid argument to the system too.
SystemError Change(const LockedFile& file, std::string bytes, const DriveDescription& description) {
    std::vector<std::pair<std::string, std::string>> values = {
        {"Model", description.model},
        {"Speed", description.isRealTime ? "real" : "fast"},
        {"Disc", ToUtf8(description.disc)},
        {"Pressed", description.pressed == nullptr ? "" : ToUtf8(description.pressed->name)},
        {"Tray", description.isTrayOpen ? "open" : "closed"},
        {"Log", ToUtf8(description.log)},
        {"Underruns", description.underruns == 0 ? "" : std::to_string(description.underruns)},
        {kSeen, ToUtf8(description.seen.value_or(u""))}};
    const auto faults = FaultEntries(description.faults);
    values.insert(values.end(), faults.begin(), faults.end());
    for (const auto& [name, value] : values) {
        if (name == kSeen && !description.seen) continue;
        // A drive without faults has no entries for them.
        if (value.empty() && !FindIniValue(bytes, kSection, name)) continue;
        const auto changed = WithIniValue(bytes, kSection, name, value);
        if (!changed) return kFileTooLarge;
        bytes = *changed;
    }
    if (bytes.size() > kMostDescriptionBytes) return kFileTooLarge;
    if (const SystemError error = file.writeAt(0, std::as_bytes(std::span(bytes))); error.failed()) return error;
    if (const SystemError error = file.setSize(bytes.size()); error.failed()) return error;
    return file.synchronize();
}

/// Nothing of a longer file: what is written back would cut it off.
SystemError Load(const LockedFile& file, std::string& bytes) {
    bytes.assign(kMostDescriptionBytes + 1, '\0');
    if (const SystemError error = file.readAt(0, std::as_writable_bytes(std::span(bytes))); error.failed())
        return error;
    bytes.resize(bytes.find_last_not_of('\0') + 1);
    return bytes.size() > kMostDescriptionBytes ? kFileTooLarge : SystemError{};
}

struct OpenedSimulation {
    SimDrive drive;
    LockedFile file;
    Text logPath;
    std::string bytes, log;
    DriveDescription description;
};

void FlushLog(OpenedSimulation& opened) {
    // A log that cannot be kept does not stop a drive.
    if (!opened.log.empty())
        if (AppendToFile(opened.logPath, std::as_bytes(std::span(opened.log))).failed()) opened.logPath.clear();
    opened.log.clear();
}

void LogCommand(OpenedSimulation& opened, const PassThrough& command) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    for (const std::byte byte : command.cdb) {
        opened.log += kDigits[std::to_integer<std::size_t>(byte) >> 4];
        opened.log += kDigits[std::to_integer<std::size_t>(byte) & 15];
        opened.log += ' ';
    }
    opened.log.back() = '\n';
    if (opened.log.size() >= kLogBufferBytes) FlushLog(opened);
}

SystemError Send(void* self, PassThrough& command) {
    OpenedSimulation& opened = *static_cast<OpenedSimulation*>(self);
    if (!opened.logPath.empty() && !command.cdb.empty()) LogCommand(opened, command);
    return Execute(opened.drive, command);
}

/// Nobody else can have the drive open, and nothing is mounted from it.
SystemError Control(void*, VolumeControl) { return {}; }

Text SeenOf(const OpenedSimulation& opened) {
    if (opened.drive.disc == nullptr) return {};
    return FromUtf8(std::to_string(opened.drive.disc->stamp())) + u" " + opened.description.disc;
}

void Close(void* self) {
    const std::unique_ptr<OpenedSimulation> opened(static_cast<OpenedSimulation*>(self));
    SimDrive& drive = opened->drive;
    FlushLog(*opened);
    if (drive.disc != nullptr) {
        // A test leaves nothing; a session that was announced and not finished spoils the disc.
        if (drive.isTestWrite || !drive.cues.empty()) static_cast<void>(Flush(drive));
        AdvanceBackground(drive);
        static_cast<void>(drive.disc->save().failed());  // the last state that was kept stays
    }
    if (!opened->file.isOpen()) return;
    // A change that nobody was told of is still to be told.
    const bool isTold = drive.attentions.empty();
    const Text seen = isTold ? SeenOf(*opened) : opened->description.seen.value_or(u"");
    DriveDescription& kept = opened->description;
    if (drive.isTrayOpen == kept.isTrayOpen && kept.seen == seen && kept.underruns == drive.underruns) return;
    kept.underruns = drive.underruns;
    kept.isTrayOpen = drive.isTrayOpen;
    kept.seen = seen;
    static_cast<void>(Change(opened->file, opened->bytes, kept).failed());
}

Text Below(const Text& path, const Text& name) {
    return name.empty() || IsAbsolutePath(name) ? name : JoinPath(FolderOf(path), name);
}

DriveFileFault Insert(SimDrive& drive, const Text& path, const MediumRules* pressed) {
    auto disc = std::make_unique<Disc>();
    SystemError error;
    if (const DiscFault fault = disc->open(path, error, pressed); fault != DiscFault::None) return {path, error, fault};
    LoadDisc(drive, std::move(disc));
    return {};
}

}  // namespace

SystemError ReadDriveDescription(const Text& path, DriveDescription& description) {
    std::string bytes;
    if (const SystemError error = ReadWholeFile(path, kMostDescriptionBytes, bytes); error.failed()) return error;
    description = Parse(bytes);
    return {};
}

SystemError WriteDriveDescription(const Text& path, const DriveDescription& description) {
    LockedFile file;
    std::string bytes;
    SystemError error = file.open(path, LockedFile::Mode::Existing);
    if (IsNotFound(error)) error = file.open(path, LockedFile::Mode::New);
    if (!error.failed()) error = Load(file, bytes);
    return error.failed() ? error : Change(file, bytes, description);
}

DriveFileFault OpenSimulatedDrive(const Text& path, const Clock& clock, DiscDevice& device) {
    auto opened = std::make_unique<OpenedSimulation>();
    if (const SystemError error = opened->file.open(path, LockedFile::Mode::Existing); error.failed())
        return {.path = path, .error = error};
    if (const SystemError error = Load(opened->file, opened->bytes); error.failed())
        return {.path = path, .error = error};
    if (!IsDescription(opened->bytes)) return {.path = path, .error = {}, .isNoDescription = true};
    opened->description = Parse(opened->bytes);
    SimDrive& drive = opened->drive;
    drive.clock = &clock;
    drive.isRealTime = opened->description.isRealTime;
    drive.product = opened->description.model;
    drive.isTrayOpen = opened->description.isTrayOpen;
    drive.faults = opened->description.faults;
    drive.underruns = opened->description.underruns;
    drive.power = opened.get();
    drive.losePower = [](void* power) {
        FlushLog(*static_cast<OpenedSimulation*>(power));
        std::_Exit(kPowerLossStatus);
    };
    opened->logPath = Below(path, opened->description.log);
    ResetModePages(drive);
    if (!opened->description.disc.empty()) {
        const DriveFileFault fault = Insert(drive, Below(path, opened->description.disc), opened->description.pressed);
        if (fault.failed()) return fault;
    }
    if (!opened->description.seen || *opened->description.seen == SeenOf(*opened)) {
        drive.attentions.clear();
        drive.mediaEvent = 0;
        drive.hasFeatureEvent = false;
    } else if (drive.disc == nullptr) {
        drive.mediaEvent = 3;
    }
    device = {opened.release(), Send, Control, Close};
    return {};
}

DriveFileFault OpenDiscAlone(const Text& path, const Clock& clock, DiscDevice& device) {
    auto opened = std::make_unique<OpenedSimulation>();
    opened->drive.clock = &clock;
    ResetModePages(opened->drive);
    const DriveFileFault fault = Insert(opened->drive, path, nullptr);
    if (fault.failed()) return fault;
    opened->drive.attentions.clear();
    device = {opened.release(), Send, Control, Close};
    return {};
}

}  // namespace tovlark

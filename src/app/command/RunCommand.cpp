#include "app/command/RunCommand.h"

#include <algorithm>
#include <iterator>

#include "app/command/BurnCommand.h"
#include "app/command/EraseStep.h"
#include "app/command/Grammars.h"
#include "app/command/SourceImage.h"
#include "app/command/Usage.h"
#include "authoring/ImageWriter.h"
#include "platform/Paths.h"
#include "platform/Process.h"
#include "readers/ExtractImage.h"
#include "readers/ListImage.h"
#include "simdrive/DriveSource.h"

namespace tovlark {

namespace {

Status Fail(CommandContext& context, TextId text, std::initializer_list<FormatArgument> arguments = {}) {
    TellError(context.task, text, arguments);
    return Status::Failed;
}

Status NotInThisBuild(CommandContext& context, TextView what) { return Fail(context, TextId::NotInThisBuild, {what}); }

/// Reports the first fault only: a person mends one at a time.
bool PassesChecks(CommandContext& context) {
    const std::vector<RequestFault> faults = CheckRequest(context.request);
    if (faults.empty()) return true;
    const RequestFault& fault = faults[0];
    TellError(context.task, fault.text, {fault.argument});
    if (fault.advice != TextId::Count) TellError(context.task, fault.advice, {fault.adviceArgument});
    return false;
}

/// True when the letter of a well-formed drive word stands for a drive, else a message.
bool FindDrive(CommandContext& context, const Text& word) {
    const char16_t letter = *ParseDrive(word);
    const std::vector<DriveLetter> drives = ListDrives(MapAllDrives(context.task));
    if (std::ranges::find(drives, letter, &DriveLetter::letter) != drives.end()) return true;
    TellError(context.task, TextId::NoSuchDrive, {TextView(&letter, 1)});
    return false;
}

/// The source is a drive that exists or a file that can be read.
bool FindSource(CommandContext& context) {
    const Text& source = context.request.source;
    return ParseDrive(source) ? FindDrive(context, source)
                              : CanOpenImage(context.task, source, TextId::CannotOpenImage);
}

Status RunNothing(CommandContext&) { return Status::Ok; }

Status RunUsage(CommandContext& context) {
    PrintUsage(context.task);
    return Status::Ok;
}

Status RunCreateLanguageFile(CommandContext& context) {
    context.keepRunning = true;
    return Status::Ok;
}

/// True for the name of a kind of file that is no plain image, which people may expect to get.
bool HasForeignSuffix(const Text& path) {
    constexpr TextView kSuffixes[] = {u"7z",  u"zip", u"rar", u"gz",  u"xz",  u"bz2", u"tar",  u"dmg",
                                      u"nrg", u"mdf", u"mds", u"cue", u"isz", u"vhd", u"vmdk", u"wim"};
    const TextView suffix = ExtensionOf(path);
    return std::ranges::any_of(kSuffixes, [&](TextView known) { return EqualsIgnoringCase(known, suffix); });
}

/// Writes the compilation as the image file that the request asks for.
Status SaveCompilation(CommandContext& context, const Text& path, ExistingOutput existing) {
    const auto type = EffectiveOutputType(context.request);
    if (type == OutputType::Psa) return NotInThisBuild(context, u"create (psa)");
    if (type == OutputType::Bin) return NotInThisBuild(context, u"create (bin)");
    if (!type && HasForeignSuffix(path)) TellNote(context.task, TextId::WrittenAsIso, {FileName(path)});
    if (context.request.imageOptions.isAnySet()) TellNote(context.task, TextId::ImageOptionsUnused);
    return CreateImageFile(context.task, context.compilation, path, existing);
}

Status RunCreate(CommandContext& context) {
    if (!PassesChecks(context)) return Status::Failed;
    return SaveCompilation(context, context.request.outputFile, ExistingOutput::Ask);
}

/// Without an output file the image is edited in place, which is what was asked for: nothing to ask about.
Status RunEdit(CommandContext& context) {
    if (!PassesChecks(context)) return Status::Failed;
    const CommandRequest& request = context.request;
    return request.outputFile.empty() ? SaveCompilation(context, request.source, ExistingOutput::Replace)
                                      : SaveCompilation(context, request.outputFile, ExistingOutput::Ask);
}

Status RunBurnImage(CommandContext& context) {
    const CommandRequest& request = context.request;
    if (!PassesChecks(context)) return Status::Failed;
    if (!IsFolder(request.source) && !CanOpenImage(context.task, request.source, TextId::CannotOpenImage))
        return Status::Failed;
    if (IsPackedArchive(request.source)) {
        const Texts& texts = context.task.session.texts();
        TellError(context.task, FormatText(u"%s\r\n\r\n%s", {request.source, texts[TextId::UnpackBeforeBurning]}));
        return Status::Failed;
    }
    if (!FindDrive(context, request.target)) return Status::Failed;
    if (context.changesCompilation && !IsFolder(request.source))
        TellNote(context.task, TextId::CompilationSwitchesUnused, {request.source});
    return BurnSource(context.task, context.compilation, request);
}

Status RunCopyDisc(CommandContext& context) {
    if (!PassesChecks(context) || !FindDrive(context, context.request.target) || !FindSource(context))
        return Status::Failed;
    return NotInThisBuild(context, u"copy-disc");
}

Status RunEraseDisc(CommandContext& context) {
    const CommandRequest& request = context.request;
    if (!PassesChecks(context) || !FindDrive(context, request.target)) return Status::Failed;
    return EraseDiscIn(context.task, *ParseDrive(request.target),
                       request.has(Switch::FullErase) ? EraseMethod::Full : EraseMethod::Quick);
}

/// Commands that read a disc or an image and have nothing else to look up.
Status RunOnSource(CommandContext& context, TextView command) {
    return PassesChecks(context) && FindSource(context) ? NotInThisBuild(context, command) : Status::Failed;
}

Status RunMakeImage(CommandContext& context) { return RunOnSource(context, u"make-image"); }
Status RunConvert(CommandContext& context) { return RunOnSource(context, u"convert"); }

Status RunList(CommandContext& context) {
    const CommandRequest& request = context.request;
    if (ParseDrive(request.source)) return RunOnSource(context, u"list");
    if (!PassesChecks(context)) return Status::Failed;
    return ListImage(context.task, {request.source, request.innerPath, request.has(Switch::Recursive)});
}

Status RunExtract(CommandContext& context) {
    const CommandRequest& request = context.request;
    if (ParseDrive(request.source)) return RunOnSource(context, u"extract");
    if (!PassesChecks(context)) return Status::Failed;
    return ExtractImage(context.task, {request.source, request.innerPath, request.outputFolder});
}

Status RunRip(CommandContext& context) { return RunOnSource(context, u"rip"); }

TextView NameOf(PartitionType type) {
    switch (type) {
        case PartitionType::Fat12: return u"FAT12";
        case PartitionType::Fat16: return u"FAT16";
        case PartitionType::Ntfs: return u"NTFS";
        case PartitionType::Fat32: break;
    }
    return u"FAT32";
}

Status RunCreateBootableUsbDrive(CommandContext& context) {
    if (!IsAdministrator()) return Fail(context, TextId::NeedsAdministrator);
    const CommandRequest& request = context.request;
    if (!PassesChecks(context) || !CanOpenImage(context.task, request.source, TextId::CannotOpenImage) ||
        !FindDrive(context, request.target))
        return Status::Failed;
    ConsoleSession& session = context.task.session;
    session.printLine(TextId::BootSourceFile, {request.source});
    session.printLine(TextId::BootDestination, {request.target});
    session.printLine(TextId::BootPartitionStyle, {context.usbBoot.style == PartitionStyle::Gpt ? u"GPT" : u"MBR"});
    session.printLine(TextId::BootPartitionType, {NameOf(context.usbBoot.type)});
    return NotInThisBuild(context, u"create-bootable-usb-drive");
}

struct RunStep {
    CommandKind kind;
    Status (*run)(CommandContext& context);
};

constexpr RunStep kRunSteps[] = {
    {CommandKind::Mount, RunNothing},
    {CommandKind::Unmount, RunNothing},
    {CommandKind::UnmountAll, RunNothing},
    {CommandKind::ListVirtualDrives, RunNothing},
    {CommandKind::AutoMount, RunNothing},
    {CommandKind::List, RunList},
    {CommandKind::Extract, RunExtract},
    {CommandKind::Convert, RunConvert},
    {CommandKind::Usage, RunUsage},
    {CommandKind::Create, RunCreate},
    {CommandKind::CreateLanguageFile, RunCreateLanguageFile},
    {CommandKind::MakeImage, RunMakeImage},
    {CommandKind::BurnImage, RunBurnImage},
    {CommandKind::CopyDisc, RunCopyDisc},
    {CommandKind::Rip, RunRip},
    {CommandKind::EraseDisc, RunEraseDisc},
    {CommandKind::CreateBootableUsbDrive, RunCreateBootableUsbDrive},
    {CommandKind::Edit, RunEdit},
};

}  // namespace

Status RunCommand(CommandContext& context) {
    if (context.isDoomed || context.task.flags.cancel) return Status::Failed;
    const auto step = std::ranges::find(kRunSteps, context.request.command, &RunStep::kind);
    if (step != std::end(kRunSteps)) return step->run(context);
    // Nothing is printed: callers of `show-comment` read all that is.
    context.task.log.append(Text(context.task.session.texts()[TextId::NoCommand]));
    return Status::Failed;
}

}  // namespace tovlark

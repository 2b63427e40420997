#include "app/command/OptionTable.h"

#include <algorithm>
#include <iterator>

#include "app/command/Grammars.h"

namespace tovlark {

namespace {

template <Switch bit>
std::size_t SetSwitch(CommandContext& context, Words) {
    context.request.set(bit);
    return 1;
}

template <Text CommandRequest::*field>
std::size_t TakeText(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    context.request.*field = words[1];
    return 2;
}

/// A command whose parameters are kept as they are.
template <CommandKind kind, auto... fields>
std::size_t TakeCommand(CommandContext& context, Words words) {
    constexpr std::size_t kCount = 1 + sizeof...(fields);
    if (context.request.command != CommandKind::None || words.size() < kCount) return 0;
    [[maybe_unused]] std::size_t index = 0;
    ((context.request.*fields = words[++index]), ...);
    context.request.command = kind;
    return kCount;
}

constexpr auto kSource = &CommandRequest::source;
constexpr auto kTarget = &CommandRequest::target;

// Switches of the compilation stand together: `ChangesCompilation`.
constexpr OptionRow kOptions[] = {
    {u"-r", u"", SetSwitch<Switch::Recursive>},
    {u"-y", u"", AssumeYesSwitch},
    {u"-od", u"FOLDER", TakeText<&CommandRequest::outputFolder>, Parameter::Folder},
    {u"-ot", u"iso | bin | psa | mp3 | flac | ape | wma | wav | ogg", OutputTypeSwitch, Parameter::Choice,
     Parameter::None, OutputTypeWords},
    {u"-o", u"FILE", TakeText<&CommandRequest::outputFile>, Parameter::Path},
    {u"-setpassword", u"PASSWORD", NewPasswordSwitch},
    {u"-volsize", u"SIZE (128K to 8192G, as in 700M)", VolumeSizeSwitch},
    {u"-wd", u"FOLDER", CurrentFolderSwitch},
    {u"-password", u"PASSWORD", PasswordSwitch},
    {u"-method", u"normal | better | best", MethodSwitch},
    {u"-hwnd", u"HANDLE (8 hexadecimal digits in lower case)", WindowSwitch},
    {u"-evt", u"NAME", EventSwitch},
    {u"-OO", u"LETTER [NUMBER]", TuningSwitch},
    {u"-vset", u"", ShellIntegrationSwitch},
    {u"-vunmount", u"", Reject},
    {u"-vrudisk", u"", AcceptWithoutEffect},
    {u"-vwudisk", u"", Reject},
    {u"-vcudisk", u"", Reject},
    {u"-vdismtool", u"", Reject},
    {u"-vset_autorun", u"", Reject},
    {u"-vclonedrive", u"", Reject},
    {u"-vclonedrive_copy", u"", Reject},
    {u"-vclonedrive_restore", u"", Reject},
    {u"-vclonedrive_clone", u"", Reject},
    {u"-vpebuilder", u"", Reject},
    {u"-vdismconverter", u"", Reject},
    {u"-vdismconverteresdiso", u"", Reject},
    {u"-vopenharddrive", u"", Reject},
    {u"-vwintogo", u"", Reject},
    {u"-veraseharddrive", u"", Reject},
    {u"-vcreateisofromusb", u"", Reject},
    {u"listvd", u"", TakeCommand<CommandKind::ListVirtualDrives>},
    {u"setvdnum", u"", Reject},
    {u"mount", u"IMAGE DRIVE", TakeCommand<CommandKind::Mount, kSource, kTarget>},
    {u"unmount", u"DRIVE | all", UnmountCommand},
    {u"automount", u"", TakeCommand<CommandKind::AutoMount>},
    {u"list", u"IMAGE FOLDER-IN-IMAGE", ListCommand},
    {u"extract", u"IMAGE PATH-IN-IMAGE -od FOLDER", ExtractCommand},
    {u"convert", u"IMAGE -o FILE", TakeCommand<CommandKind::Convert, kSource>, Parameter::Path},
    {u"rip", u"DRIVE -od FOLDER -ot FORMAT", RipCommand, Parameter::Other},
    {u"create", u"-o FILE -add FILE-OR-FOLDER FOLDER-IN-IMAGE", CreateCommand},
    {u"edit", u"IMAGE", EditCommand},
    {u"-add", u"FILE-OR-FOLDER FOLDER-IN-IMAGE (which begins with /)", AddSwitch, Parameter::Path, Parameter::Other},
    {u"-delete", u"PATH-IN-IMAGE (added or opened earlier on the line)", DeleteSwitch},
    {u"-label", u"TEXT", LabelSwitch, Parameter::Other},
    {u"-joliet", u"0 | 1 | 2 | 3", JolietSwitch, Parameter::Choice, Parameter::None, JolietLevelWords},
    {u"-udf", u"", UdfSwitch, Parameter::Choice, Parameter::None, OnOffWords},
    {u"-iso-name-len", u"", IsoNameLengthSwitch, Parameter::Choice, Parameter::None, IsoNameLengthWords},
    {u"-joliet-name-len", u"", JolietNameLengthSwitch, Parameter::Choice, Parameter::None, JolietNameLengthWords},
    {u"-allow-lower-case-iso-name", u"", LowerCaseSwitch},
    {u"-disable-optimization", u"", NoOptimisationSwitch},
    {u"-file-datetime", u"", FileDateSwitch, Parameter::Other},
    {u"-vol-creation-datetime", u"", CreationDateSwitch, Parameter::Other},
    {u"-vol-modification-datetime", u"", ModificationDateSwitch, Parameter::Other},
    {u"-vol-effective-datetime", u"", EffectiveDateSwitch, Parameter::Other},
    {u"-vol-expiration-datetime", u"", ExpirationDateSwitch, Parameter::Other},
    {u"-comment", u"", CommentSwitch},
    {u"-comment-from-file", u"FILE", CommentFromFileSwitch},
    {u"-rip-to-single-file", u"", RipToSingleFileSwitch},
    {u"show-comment", u"", ShowCommentCommand},
    {u"extract-comment-to-file", u"", ExtractCommentCommand},
    {u"-?", u"", TakeCommand<CommandKind::Usage>},
    {u"-h", u"", TakeCommand<CommandKind::Usage>},
    {u"-help", u"", TakeCommand<CommandKind::Usage>},
    {u"make-image", u"DRIVE -o FILE", TakeCommand<CommandKind::MakeImage, kSource>, Parameter::Other},
    {u"burn-image", u"IMAGE-OR-FOLDER DRIVE", TakeCommand<CommandKind::BurnImage, kSource, kTarget>, Parameter::Path,
     Parameter::Other},
    {u"erase-disc", u"DRIVE", TakeCommand<CommandKind::EraseDisc, kTarget>, Parameter::Other},
    {u"copy-disc", u"SOURCE-DRIVE BURNER-DRIVE", TakeCommand<CommandKind::CopyDisc, kSource, kTarget>, Parameter::Other,
     Parameter::Other},
    {u"-verify", u"", SetSwitch<Switch::Verify>},
    {u"-speed", u"cd10x | dvd8x | bd2x", SpeedSwitch, Parameter::Other},
    {u"-eject", u"", SetSwitch<Switch::Eject>},
    {u"-full-erase", u"", SetSwitch<Switch::FullErase>},
    {u"-create-temp-file-for-copy", u"", SetSwitch<Switch::CreateTempFileForCopy>},
    {u"create-bootable-usb-drive", u"IMAGE DRIVE", TakeCommand<CommandKind::CreateBootableUsbDrive, kSource, kTarget>},
    {u"-write-mode", u"BIOS | UEFI | RAW | FREEDOS | MSDOS", BootModeSwitch},
    {u"-boot-mode", u"BIOS | UEFI | RAW | FREEDOS | MSDOS", BootModeSwitch},
    {u"-part-style", u"GPT | MBR", PartitionStyleSwitch},
    {u"-part-type", u"NTFS | FAT32 | FAT16 | FAT12", PartitionTypeSwitch},
    {u"create_lang_file", u"", TakeCommand<CommandKind::CreateLanguageFile>},
};
static_assert(std::size(kOptions) == 79);

}  // namespace

bool ChangesCompilation(const OptionRow& row) {
    static const OptionRow* const first = std::ranges::find(kOptions, u"-add", &OptionRow::word);
    static const OptionRow* const last = std::ranges::find(kOptions, u"-vol-expiration-datetime", &OptionRow::word);
    return first <= &row && &row <= last;
}

std::span<const OptionRow> AllOptions() { return kOptions; }

}  // namespace tovlark

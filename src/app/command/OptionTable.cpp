#include "app/command/OptionTable.h"

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

constexpr OptionRow kOptions[] = {
    {u"-r", SetSwitch<Switch::Recursive>},
    {u"-y", AssumeYesSwitch},
    {u"-od", TakeText<&CommandRequest::outputFolder>, Parameter::Folder},
    {u"-ot", OutputTypeSwitch, Parameter::Choice, Parameter::None, OutputTypeWords},
    {u"-o", TakeText<&CommandRequest::outputFile>, Parameter::Path},
    {u"-setpassword", NewPasswordSwitch},
    {u"-volsize", VolumeSizeSwitch},
    {u"-wd", CurrentFolderSwitch},
    {u"-password", PasswordSwitch},
    {u"-method", MethodSwitch},
    {u"-hwnd", WindowSwitch},
    {u"-evt", EventSwitch},
    {u"-OO", TuningSwitch},
    {u"-vset", ShellIntegrationSwitch},
    {u"-vunmount", Reject},
    {u"-vrudisk", AcceptWithoutEffect},
    {u"-vwudisk", Reject},
    {u"-vcudisk", Reject},
    {u"-vdismtool", Reject},
    {u"-vset_autorun", Reject},
    {u"-vclonedrive", Reject},
    {u"-vclonedrive_copy", Reject},
    {u"-vclonedrive_restore", Reject},
    {u"-vclonedrive_clone", Reject},
    {u"-vpebuilder", Reject},
    {u"-vdismconverter", Reject},
    {u"-vdismconverteresdiso", Reject},
    {u"-vopenharddrive", Reject},
    {u"-vwintogo", Reject},
    {u"-veraseharddrive", Reject},
    {u"-vcreateisofromusb", Reject},
    {u"listvd", TakeCommand<CommandKind::ListVirtualDrives>},
    {u"setvdnum", Reject},
    {u"mount", TakeCommand<CommandKind::Mount, kSource, kTarget>},
    {u"unmount", UnmountCommand},
    {u"automount", TakeCommand<CommandKind::AutoMount>},
    {u"list", ListCommand},
    {u"extract", ExtractCommand},
    {u"convert", TakeCommand<CommandKind::Convert, kSource>, Parameter::Path},
    {u"rip", RipCommand, Parameter::Other},
    {u"create", CreateCommand},
    {u"edit", EditCommand},
    {u"-add", AddSwitch, Parameter::Path, Parameter::Other},
    {u"-delete", DeleteSwitch},
    {u"-label", LabelSwitch, Parameter::Other},
    {u"-joliet", JolietSwitch, Parameter::Choice, Parameter::None, JolietLevelWords},
    {u"-udf", UdfSwitch, Parameter::Choice, Parameter::None, OnOffWords},
    {u"-iso-name-len", IsoNameLengthSwitch, Parameter::Choice, Parameter::None, IsoNameLengthWords},
    {u"-joliet-name-len", JolietNameLengthSwitch, Parameter::Choice, Parameter::None, JolietNameLengthWords},
    {u"-allow-lower-case-iso-name", LowerCaseSwitch},
    {u"-disable-optimization", NoOptimisationSwitch},
    {u"-file-datetime", FileDateSwitch, Parameter::Other},
    {u"-vol-creation-datetime", CreationDateSwitch, Parameter::Other},
    {u"-vol-modification-datetime", ModificationDateSwitch, Parameter::Other},
    {u"-vol-effective-datetime", EffectiveDateSwitch, Parameter::Other},
    {u"-vol-expiration-datetime", ExpirationDateSwitch, Parameter::Other},
    {u"-comment", CommentSwitch},
    {u"-comment-from-file", CommentFromFileSwitch},
    {u"-rip-to-single-file", RipToSingleFileSwitch},
    {u"show-comment", ShowCommentCommand},
    {u"extract-comment-to-file", ExtractCommentCommand},
    {u"-?", TakeCommand<CommandKind::Usage>},
    {u"-h", TakeCommand<CommandKind::Usage>},
    {u"-help", TakeCommand<CommandKind::Usage>},
    {u"make-image", TakeCommand<CommandKind::MakeImage, kSource>, Parameter::Other},
    {u"burn-image", TakeCommand<CommandKind::BurnImage, kSource, kTarget>, Parameter::Path, Parameter::Other},
    {u"erase-disc", TakeCommand<CommandKind::EraseDisc, kTarget>, Parameter::Other},
    {u"copy-disc", TakeCommand<CommandKind::CopyDisc, kSource, kTarget>, Parameter::Other, Parameter::Other},
    {u"-verify", SetSwitch<Switch::Verify>},
    {u"-speed", SpeedSwitch, Parameter::Other},
    {u"-eject", SetSwitch<Switch::Eject>},
    {u"-full-erase", SetSwitch<Switch::FullErase>},
    {u"-create-temp-file-for-copy", SetSwitch<Switch::CreateTempFileForCopy>},
    {u"create-bootable-usb-drive", TakeCommand<CommandKind::CreateBootableUsbDrive, kSource, kTarget>},
    {u"-write-mode", BootModeSwitch},
    {u"-boot-mode", BootModeSwitch},
    {u"-part-style", PartitionStyleSwitch},
    {u"-part-type", PartitionTypeSwitch},
    {u"create_lang_file", TakeCommand<CommandKind::CreateLanguageFile>},
};
static_assert(std::size(kOptions) == 79);

}  // namespace

std::span<const OptionRow> AllOptions() { return kOptions; }

}  // namespace tovlark

#pragma once

#include <cstddef>
#include <initializer_list>
#include <span>
#include <vector>

#include "app/command/CommandContext.h"
#include "app/session/TextId.h"
#include "base/Format.h"

namespace tovlark {

/// A word of the command line and everything behind it.
using Words = std::span<const Text>;

/// Checks and stores what follows its own word, `words[0]`. Returns how many words it took, its own included; 0 for a
/// bad parameter.
using Handler = std::size_t (*)(CommandContext& context, Words words);

/// Says why a word is refused; gives the handler's result.
std::size_t Refuse(CommandContext& context, TextId reason, std::initializer_list<FormatArgument> arguments = {});

std::size_t Reject(CommandContext& context, Words words);
std::size_t AcceptWithoutEffect(CommandContext& context, Words words);

// Commands
std::size_t ListCommand(CommandContext& context, Words words);
std::size_t ExtractCommand(CommandContext& context, Words words);
std::size_t RipCommand(CommandContext& context, Words words);
std::size_t UnmountCommand(CommandContext& context, Words words);
std::size_t CreateCommand(CommandContext& context, Words words);
std::size_t EditCommand(CommandContext& context, Words words);
std::size_t ShowCommentCommand(CommandContext& context, Words words);
std::size_t ExtractCommentCommand(CommandContext& context, Words words);

// Switches of the request
std::size_t AssumeYesSwitch(CommandContext& context, Words words);
std::size_t OutputTypeSwitch(CommandContext& context, Words words);
std::size_t RipToSingleFileSwitch(CommandContext& context, Words words);
std::size_t SpeedSwitch(CommandContext& context, Words words);
std::size_t PasswordSwitch(CommandContext& context, Words words);
std::size_t NewPasswordSwitch(CommandContext& context, Words words);
std::size_t VolumeSizeSwitch(CommandContext& context, Words words);
std::size_t MethodSwitch(CommandContext& context, Words words);
std::size_t CommentSwitch(CommandContext& context, Words words);
std::size_t CommentFromFileSwitch(CommandContext& context, Words words);
std::size_t BootModeSwitch(CommandContext& context, Words words);
std::size_t PartitionStyleSwitch(CommandContext& context, Words words);
std::size_t PartitionTypeSwitch(CommandContext& context, Words words);

// Switches of the process
std::size_t CurrentFolderSwitch(CommandContext& context, Words words);
std::size_t WindowSwitch(CommandContext& context, Words words);
std::size_t EventSwitch(CommandContext& context, Words words);
std::size_t TuningSwitch(CommandContext& context, Words words);
std::size_t ShellIntegrationSwitch(CommandContext& context, Words words);

// Switches of the compilation
std::size_t AddSwitch(CommandContext& context, Words words);
std::size_t DeleteSwitch(CommandContext& context, Words words);
std::size_t LabelSwitch(CommandContext& context, Words words);
std::size_t JolietSwitch(CommandContext& context, Words words);
std::size_t UdfSwitch(CommandContext& context, Words words);
std::size_t IsoNameLengthSwitch(CommandContext& context, Words words);
std::size_t JolietNameLengthSwitch(CommandContext& context, Words words);
std::size_t LowerCaseSwitch(CommandContext& context, Words words);
std::size_t NoOptimisationSwitch(CommandContext& context, Words words);
std::size_t FileDateSwitch(CommandContext& context, Words words);
std::size_t CreationDateSwitch(CommandContext& context, Words words);
std::size_t ModificationDateSwitch(CommandContext& context, Words words);
std::size_t EffectiveDateSwitch(CommandContext& context, Words words);
std::size_t ExpirationDateSwitch(CommandContext& context, Words words);

// The values that such a switch takes
std::vector<Text> JolietLevelWords();
std::vector<Text> OnOffWords();
std::vector<Text> IsoNameLengthWords();
std::vector<Text> JolietNameLengthWords();

}  // namespace tovlark

#pragma once

#include <optional>
#include <vector>

#include "app/command/CommandContext.h"
#include "app/session/TextId.h"
#include "base/Status.h"

namespace tovlark {

enum class RequestField : std::uint8_t { Source, Target, OutputFile, OutputFolder, OutputType };

/// One thing wrong with a request.
struct RequestFault {
    RequestField field;
    TextId text;
    Text argument;                  // for texts that take one
    TextId advice = TextId::Count;  // what would be right; `Count` when the text says it
    Text adviceArgument{};
};

/// What -ot asks for, or else what the output file's suffix stands for; nothing when that is unknown.
std::optional<OutputType> EffectiveOutputType(const CommandRequest& request);

/// Everything that is wrong with a request by its words alone, in the order in which it is reported.
std::vector<RequestFault> CheckRequest(const CommandRequest& request);

/// Runs the command that was parsed, to its end. Failed, after a message, when its checks or its task fail; Failed
/// without one when the line named no command or the run was cancelled before.
Status RunCommand(CommandContext& context);

}  // namespace tovlark

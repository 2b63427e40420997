#pragma once

#include "app/command/CommandContext.h"
#include "base/Status.h"

namespace tovlark {

/// Index of the first word of the command: 2 for the internal starts ("-ii1" or "-ii2" and something more), else 1.
std::size_t FirstCommandWord(const std::vector<Text>& words);

/// Fills the request from the words; switches that edit the compilation do so at once, in their order.
/// Failed with a message on a bad word. With `endStatus` set the process is to end with it, nothing more is run.
/// A set cancel flag stops parsing between two words (only the event's name is still looked for) and gives Ok:
/// `RunCommand` then does nothing.
Status ParseCommandLine(CommandContext& context);

}  // namespace tovlark

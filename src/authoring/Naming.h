#pragma once

#include <cstdint>
#include <string>

#include "app/session/Task.h"
#include "authoring/Compilation.h"

namespace tovlark {

/// Number of a derived name: none on the first try.
constexpr std::int32_t kNoNumber = -1;
constexpr std::int32_t kNumberLimit = 1'000'000;

struct IsoNameRules {
    std::uint8_t limit = 30;  // bytes: 12, 30 or 221
    bool lowerCaseAllowed = false;
};

/// ISO 9660 name of one long name; with a number it ends in "~n" before the extension.
std::string DeriveIsoName(TextView longName, NodeKind kind, IsoNameRules rules, std::int32_t number,
                          const CodePage& codePage);

/// Joliet name by the same scheme, in UTF-16 units; never ends in half a surrogate pair.
Text DeriveJolietName(TextView longName, NodeKind kind, std::uint8_t limit, std::int32_t number);

/// Gives every child of every folder a unique ISO name and a unique Joliet name, fills the record lengths and sorts
/// nothing. Sets `context.error` (NoUniqueName, NamesRefused, Cancelled) on failure. Where neither Joliet, UDF nor Rock
/// Ridge is on, changed names are asked about once, as a batch.
void ResolveNames(Task& task, ImageBuildContext& context);

}  // namespace tovlark

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

/// ISO 9660 name of one long name; with a number it ends in "~n" before the extension. The characters ';', '/', '\',
/// control characters and what the code page does not have become '_'. A character whose upper-case form the page lacks
/// stays as it is.
std::string DeriveIsoName(TextView longName, NodeKind kind, IsoNameRules rules, std::int32_t number,
                          const CodePage& codePage);

/// Joliet name by the same scheme, in UTF-16 units. Lone surrogates become '_' too, and a pair is never split.
Text DeriveJolietName(TextView longName, std::uint8_t limit, std::int32_t number);

/// Gives every child of every folder a unique ISO name and a unique Joliet name (where that tree is on) and the record
/// lengths; fills `udfNames` where UDF is on. Children are first sorted by the UTF-16 units of their long names and
/// stay so: numbers, and with them the image, do not depend on the order in which the system lists a folder.
///
/// Sets `context.error` (NoUniqueName, NamesRefused, Cancelled) on failure. Where neither Joliet, UDF nor Rock Ridge is
/// on, changed names are asked about once, as a batch.
void ResolveNames(Task& task, ImageBuildContext& context);

}  // namespace tovlark

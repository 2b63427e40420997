#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "base/Text.h"

namespace tovlark {

/// Two upper-case digits a byte.
Text ToHex(std::span<const std::byte> bytes);

/// The bytes of an even number of digits of either case; nothing else is taken.
std::optional<std::vector<std::byte>> FromHex(TextView digits);

}  // namespace tovlark

#pragma once

#include <cstdint>
#include <span>

#include "app/session/TextId.h"
#include "base/Text.h"

namespace tovlark {

/// A text that people read, in English.
struct TextRow {
    TextId id;
    std::uint32_t number;  // by which language files know it
    TextView words;
};

/// The rows of all texts, in the order of `TextId`.
std::span<const TextRow> AllTexts();

}  // namespace tovlark

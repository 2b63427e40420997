#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

// The system's converter of narrow code pages; for this folder only.
namespace tovlark {

/// Gives the one UTF-16 unit that exactly these bytes stand for, nothing guessed.
using CodePageDecoder = std::function<std::optional<char16_t>(std::string_view bytes)>;

/// Empty when the system does not know the page.
CodePageDecoder OpenDecoder(std::uint32_t codePage);

/// The system-wide narrow code page, 0 where there is none of that kind.
std::uint32_t SystemCodePage();

}  // namespace tovlark

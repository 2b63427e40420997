#pragma once

#include <string>
#include <string_view>

#include "base/Text.h"

namespace tovlark {

// The system's wide characters and ours are both UTF-16 units.
static_assert(sizeof(wchar_t) == sizeof(char16_t));

inline std::wstring ToWide(TextView text) { return {text.begin(), text.end()}; }
inline Text FromWide(std::wstring_view wide) { return {wide.begin(), wide.end()}; }

}  // namespace tovlark

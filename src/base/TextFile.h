#pragma once

#include <string>
#include <string_view>

namespace tovlark {

/// The bytes of a text file without a Unicode mark at their start: UTF-16 of either order behind its mark becomes
/// UTF-8, everything else stays as it is.
std::string WithoutMark(std::string_view bytes);

/// True when the bytes are valid UTF-8 throughout.
bool IsUtf8(std::string_view bytes);

}  // namespace tovlark

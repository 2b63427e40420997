#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tovlark {

/// One line of an INI file, as the private-profile functions of Windows understand it: blanks around names and values
/// do not count, one pair of quotation marks around a value neither; ";" opens a comment. All views point into the
/// file's bytes.
struct IniLine {
    enum class Kind : unsigned char { Other, Section, Entry };
    Kind kind = Kind::Other;
    std::string_view name;           // of the section or of the entry
    std::string_view value;          // of an entry
    std::size_t first = 0, end = 0;  // byte offsets of the line, `end` past its LF
};

/// Takes the line that begins at `position` and moves `position` past it; false at the end of the bytes. A UTF-8 mark
/// at the start is no part of the first line.
bool NextIniLine(std::string_view bytes, std::size_t& position, IniLine& line);

/// The first value of that name in a section of that name, both without regard to ASCII case.
std::optional<std::string_view> FindIniValue(std::string_view bytes, std::string_view section, std::string_view name);

/// The file with the value that `FindIniValue` finds replaced, or added. Everything else stays byte for byte.
/// Nothing when a name or the value does not read back exactly.
std::optional<std::string> WithIniValue(std::string_view bytes, std::string_view section, std::string_view name,
                                        std::string_view value);

/// A whole decimal word up to 4294967295; nothing else.
std::optional<std::uint32_t> ParseWholeNumber(std::string_view word);

}  // namespace tovlark

#pragma once

#include <string>
#include <string_view>

namespace tovlark {

/// All text of the core is UTF-16. It may hold lone surrogates: names on disk are not always valid text.
using Text = std::u16string;
using TextView = std::u16string_view;

/// Decodes UTF-8. Each byte that is not part of a valid sequence (overlong forms and encoded surrogates
/// included) becomes the lone low surrogate U+DC00 + byte, so that `ToUtf8(FromUtf8(x)) == x` for every x.
Text FromUtf8(std::string_view bytes);

/// Encodes as UTF-8. A lone U+DC80..U+DCFF becomes the byte it stands for; any other lone surrogate is
/// written in its three-byte form.
std::string ToUtf8(TextView text);

/// Takes the code point that begins at `position` and moves `position` past it.
/// A lone surrogate is returned as it is.
char32_t NextCodePoint(TextView text, std::size_t& position);

/// Appends one code point as one or two units.
void AppendCodePoint(Text& text, char32_t codePoint);

/// Unicode simple upper-case mapping, independent of any locale; characters without one are unchanged.
char32_t UpperCase(char32_t codePoint);
Text UpperCase(TextView text);

/// Compares by simple upper-case mapping.
bool EqualsIgnoringCase(TextView left, TextView right);

/// Columns that a terminal gives the text: two for each wide character of East Asian scripts, one for each other one
/// (combining marks included).
std::size_t CountColumns(TextView text);

/// True for U+D800..U+DBFF and U+DC00..U+DFFF respectively.
constexpr bool IsHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool IsLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

}  // namespace tovlark

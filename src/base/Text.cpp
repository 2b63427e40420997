#include "base/Text.h"

#include <algorithm>
#include <iterator>

#include "base/UpperCaseTable.h"
#include "base/WideCharacterTable.h"

namespace tovlark {

namespace {

constexpr char32_t kFirstSupplementary = 0x10000;
constexpr char32_t kEscapeBase = 0xDC00;

unsigned char ByteAt(std::string_view bytes, std::size_t position) {
    return static_cast<unsigned char>(bytes[position]);
}

// Length of the well-formed sequence at `position` and its code point; 0 when there is none (Unicode table 3-7).
std::size_t DecodeSequence(std::string_view bytes, std::size_t position, char32_t& codePoint) {
    const unsigned char lead = ByteAt(bytes, position);
    if (lead < 0x80) {
        codePoint = lead;
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) return 0;
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (bytes.size() - position < length) return 0;
    codePoint = lead & (0x7Fu >> length);
    for (std::size_t index = 1; index < length; ++index) {
        const unsigned char unit = ByteAt(bytes, position + index);
        if ((unit & 0xC0) != 0x80) return 0;
        codePoint = codePoint << 6 | (unit & 0x3Fu);
    }
    const bool isOverlong = (length == 3 && codePoint < 0x800) || (length == 4 && codePoint < kFirstSupplementary);
    const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    return isOverlong || isSurrogate || codePoint > 0x10FFFF ? 0 : length;
}

void AppendUtf8(std::string& bytes, char32_t codePoint) {
    const auto put = [&bytes](char32_t byte) { bytes.push_back(static_cast<char>(static_cast<unsigned char>(byte))); };
    if (codePoint < 0x80) {
        put(codePoint);
        return;
    }
    if (codePoint < 0x800) {
        put(0xC0 | codePoint >> 6);
    } else {
        if (codePoint < kFirstSupplementary) {
            put(0xE0 | codePoint >> 12);
        } else {
            put(0xF0 | codePoint >> 18);
            put(0x80 | (codePoint >> 12 & 0x3F));
        }
        put(0x80 | (codePoint >> 6 & 0x3F));
    }
    put(0x80 | (codePoint & 0x3F));
}

}  // namespace

Text FromUtf8(std::string_view bytes) {
    Text text;
    text.reserve(bytes.size());
    for (std::size_t position = 0; position < bytes.size();) {
        char32_t codePoint = 0;
        const std::size_t length = DecodeSequence(bytes, position, codePoint);
        AppendCodePoint(text, length != 0 ? codePoint : kEscapeBase + ByteAt(bytes, position));
        position += length != 0 ? length : 1;
    }
    return text;
}

std::string ToUtf8(TextView text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const char32_t codePoint = NextCodePoint(text, position);
        if (codePoint >= kEscapeBase + 0x80 && codePoint <= kEscapeBase + 0xFF)
            bytes.push_back(static_cast<char>(static_cast<unsigned char>(codePoint & 0xFF)));
        else
            AppendUtf8(bytes, codePoint);
    }
    return bytes;
}

char32_t NextCodePoint(TextView text, std::size_t& position) {
    const char16_t unit = text[position++];
    if (!IsHighSurrogate(unit) || position == text.size() || !IsLowSurrogate(text[position])) return unit;
    const char16_t low = text[position++];
    return kFirstSupplementary + ((unit & 0x3FFu) << 10 | (low & 0x3FFu));
}

void AppendCodePoint(Text& text, char32_t codePoint) {
    if (codePoint < kFirstSupplementary) {
        text.push_back(static_cast<char16_t>(codePoint));
        return;
    }
    text.push_back(static_cast<char16_t>(0xD800 + ((codePoint - kFirstSupplementary) >> 10)));
    text.push_back(static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF)));
}

char32_t UpperCase(char32_t codePoint) {
    if (codePoint < 0x80) return codePoint >= U'a' && codePoint <= U'z' ? codePoint - 0x20 : codePoint;
    const auto found = std::lower_bound(std::begin(kUpperCasePairs), std::end(kUpperCasePairs), codePoint,
                                        [](const CasePair& pair, char32_t key) { return pair.lower < key; });
    return found != std::end(kUpperCasePairs) && found->lower == codePoint ? found->upper : codePoint;
}

Text UpperCase(TextView text) {
    Text result;
    result.reserve(text.size());
    for (std::size_t position = 0; position < text.size();)
        AppendCodePoint(result, UpperCase(NextCodePoint(text, position)));
    return result;
}

bool EqualsIgnoringCase(TextView left, TextView right) {
    std::size_t leftPosition = 0, rightPosition = 0;
    while (leftPosition < left.size() && rightPosition < right.size()) {
        const char32_t leftUpper = UpperCase(NextCodePoint(left, leftPosition));
        if (leftUpper != UpperCase(NextCodePoint(right, rightPosition))) return false;
    }
    return leftPosition == left.size() && rightPosition == right.size();
}

std::size_t CountColumns(TextView text) {
    std::size_t columns = 0;
    for (std::size_t position = 0; position < text.size();) {
        const char32_t character = NextCodePoint(text, position);
        const auto range = std::lower_bound(std::begin(kWideCharacters), std::end(kWideCharacters), character,
                                            [](const WideRange& row, char32_t key) { return row.last < key; });
        columns += range != std::end(kWideCharacters) && range->first <= character ? 2 : 1;
    }
    return columns;
}

}  // namespace tovlark

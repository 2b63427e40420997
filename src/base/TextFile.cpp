#include "base/TextFile.h"

#include "base/Text.h"

namespace tovlark {

std::string WithoutMark(std::string_view bytes) {
    if (bytes.starts_with("\xEF\xBB\xBF")) return std::string(bytes.substr(3));
    const bool isLittle = bytes.starts_with("\xFF\xFE"), isBig = bytes.starts_with("\xFE\xFF");
    if (!isLittle && !isBig) return std::string(bytes);
    Text text;
    text.reserve(bytes.size() / 2);
    for (std::size_t index = 2; index + 1 < bytes.size(); index += 2) {
        const auto one = static_cast<unsigned char>(bytes[index]), other = static_cast<unsigned char>(bytes[index + 1]);
        text += static_cast<char16_t>(isLittle ? one | other << 8 : one << 8 | other);
    }
    return ToUtf8(text);
}

bool IsUtf8(std::string_view bytes) {
    const Text text = FromUtf8(bytes);
    for (std::size_t position = 0; position < text.size();) {
        const char32_t character = NextCodePoint(text, position);
        if (character >= 0xD800 && character <= 0xDFFF) return false;
    }
    return true;
}

}  // namespace tovlark

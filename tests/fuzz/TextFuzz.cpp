#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "base/Text.h"

using namespace tovlark;

// Names of any bytes survive the way to text and back; upper-casing changes no count of characters, keeps broken bytes,
// and is settled after the first time.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const Text text = FromUtf8(bytes);
    if (text.size() > bytes.size() || ToUtf8(text) != bytes) std::abort();
    const Text upper = UpperCase(TextView(text));
    std::size_t textPosition = 0, upperPosition = 0;
    while (textPosition < text.size() && upperPosition < upper.size()) {
        const char32_t before = NextCodePoint(text, textPosition);
        const char32_t after = NextCodePoint(upper, upperPosition);
        if (after != UpperCase(before) || (before >= 0xD800 && before <= 0xDFFF && after != before)) std::abort();
    }
    if (textPosition != text.size() || upperPosition != upper.size()) std::abort();
    if (UpperCase(TextView(upper)) != upper || !EqualsIgnoringCase(text, upper)) std::abort();
    return 0;
}

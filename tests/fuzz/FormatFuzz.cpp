#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "base/Format.h"

using namespace tovlark;

// A text from a language file meets arguments of every kind. Whatever it holds, the result is bounded, and a text
// always has the same conversions as itself.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Text format = FromUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
    const std::size_t limit = format.size() + 8 * (4096 + 512);
    for (const Text& text :
         {FormatText(format), FormatText(format, {u"%s%n", -1, 1e300, std::uint8_t{255}, 0.0, Text(u"\xD83D")}),
          FormatText(format, {1, 2u, 3ll, 4.5, u"", u"x", 7, 8})}) {
        if (text.size() > limit) std::abort();
    }
    if (!HaveSameConversions(format, format)) std::abort();
    return 0;
}

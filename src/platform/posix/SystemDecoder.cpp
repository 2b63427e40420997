#include "platform/SystemDecoder.h"

#include <iconv.h>
#include <memory>
#include <string>

namespace tovlark {

namespace {

std::optional<char16_t> Decode(iconv_t converter, std::string_view bytes) {
    char output[8];
    char* input = const_cast<char*>(bytes.data());  // the interface wants it so; the bytes are only read
    char* end = output;
    std::size_t inputLeft = bytes.size(), outputLeft = sizeof(output);
    ::iconv(converter, nullptr, nullptr, nullptr, nullptr);
    if (::iconv(converter, &input, &inputLeft, &end, &outputLeft) != 0 || inputLeft != 0) return std::nullopt;
    // Pages with combining characters hold back a base letter until they have seen what follows.
    ::iconv(converter, nullptr, nullptr, &end, &outputLeft);
    if (end - output != 2) return std::nullopt;
    const auto byteAt = [&output](int index) { return unsigned{static_cast<unsigned char>(output[index])}; };
    return static_cast<char16_t>(byteAt(1) << 8 | byteAt(0));
}

}  // namespace

CodePageDecoder OpenDecoder(std::uint32_t codePage) {
    const iconv_t opened = ::iconv_open("UTF-16LE", ("CP" + std::to_string(codePage)).c_str());
    if (opened == iconv_t(-1)) return {};
    const std::shared_ptr<void> converter(opened, ::iconv_close);
    return [converter](std::string_view bytes) { return Decode(converter.get(), bytes); };
}

std::uint32_t SystemCodePage() { return 0; }

}  // namespace tovlark

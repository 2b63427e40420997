#include "platform/SystemDecoder.h"

#include <windows.h>

namespace tovlark {

CodePageDecoder OpenDecoder(std::uint32_t codePage) {
    CPINFO facts{};  // the lowest numbers are names for other pages
    if (codePage <= CP_THREAD_ACP || !::GetCPInfo(codePage, &facts) || facts.MaxCharSize > 2) return {};
    return [codePage](std::string_view bytes) -> std::optional<char16_t> {
        wchar_t output[4];
        const int count = ::MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, bytes.data(),
                                                static_cast<int>(bytes.size()), output, 4);
        return count == 1 ? std::optional(static_cast<char16_t>(output[0])) : std::nullopt;
    };
}

std::uint32_t SystemCodePage() {
    const UINT page = ::GetACP();
    return page != CP_UTF8 ? page : 0;
}

}  // namespace tovlark

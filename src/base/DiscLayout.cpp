#include "base/DiscLayout.h"

#include <algorithm>

namespace tovlark {

namespace {

bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

}  // namespace

bool IsIsrc(TextView text) {
    constexpr std::size_t kLetters = 12, kCodes = 5;  // country and owner, then year and number
    const auto isCode = [](char16_t unit) { return IsDigit(unit) || (unit >= u'A' && unit <= u'Z'); };
    return text.size() == kLetters && std::ranges::all_of(text.substr(0, kCodes), isCode) &&
           std::ranges::all_of(text.substr(kCodes), IsDigit);
}

bool IsCatalogNumber(TextView text) {
    constexpr std::size_t kDigits = 13;
    return text.size() == kDigits && std::ranges::all_of(text, IsDigit);
}

}  // namespace tovlark

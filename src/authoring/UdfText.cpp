#include "authoring/UdfText.h"

#include <algorithm>
#include <cstring>

#include "platform/Paths.h"

namespace tovlark {

namespace {

bool IsNarrow(TextView text) {
    return std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit < 256; });
}

}  // namespace

std::size_t UdfText::unitLimit(TextView text) { return IsNarrow(text) ? kUdfNameBytes : kUdfNameBytes / 2; }

UdfText::UdfText(TextView text, std::size_t limit) {
    if (text.empty()) return;
    const bool isNarrow = IsNarrow(text);
    const std::size_t most = isNarrow ? limit : limit / 2;
    if (text.size() > most) {
        text = text.substr(0, most);
        if (!text.empty() && IsHighSurrogate(text.back())) text.remove_suffix(1);
    }
    bytes_[size_++] = std::byte{isNarrow ? std::uint8_t{8} : std::uint8_t{16}};
    for (const char16_t unit : text) {
        if (!isNarrow) bytes_[size_++] = static_cast<std::byte>(unit >> 8);
        bytes_[size_++] = static_cast<std::byte>(unit & 0xFF);
    }
}

void FillUdfField(std::span<std::uint8_t> field, TextView text) {
    const UdfText encoded(text, field.size() - 2);
    std::fill(field.begin(), field.end(), std::uint8_t{0});
    std::transform(encoded.bytes().begin(), encoded.bytes().end(), field.begin(),
                   [](std::byte byte) { return std::to_integer<std::uint8_t>(byte); });
    field.back() = encoded.size();
}

std::vector<std::byte> UdfPathOf(TextView target) {
    std::vector<std::byte> path;
    const auto add = [&](std::uint8_t type, std::span<const std::byte> name) {
        const UdfPathComponent head{type, static_cast<std::uint8_t>(name.size()), 0};
        const auto bytes = std::as_bytes(std::span(&head, 1));
        path.insert(path.end(), bytes.begin(), bytes.end());
        path.insert(path.end(), name.begin(), name.end());
    };
    if (!target.empty() && IsPathSeparator(target[0])) add(UdfPathComponent::kRoot, {});
    for (std::size_t begin = 0; begin < target.size();) {
        std::size_t end = begin;
        while (end < target.size() && !IsPathSeparator(target[end])) ++end;
        const TextView part = target.substr(begin, end - begin);
        begin = end + 1;
        if (part.size() > UdfText::unitLimit(part)) return {};
        if (part == u".")
            add(UdfPathComponent::kHere, {});
        else if (part == u"..")
            add(UdfPathComponent::kParent, {});
        else if (!part.empty())
            add(UdfPathComponent::kName, UdfText(part).bytes());
    }
    if (path.size() > kUdfEmbeddedBytes) path.clear();
    return path;
}

}  // namespace tovlark

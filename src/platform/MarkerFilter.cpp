#include "platform/MarkerFilter.h"

namespace tovlark {

namespace {

constexpr std::string_view kFailed = "<E0>", kSucceeded = "<E1>";

// What a marker in plain text begins with after the zero byte that tells it from a real one.
constexpr std::string_view kShield("<E\0", 3);
constexpr std::size_t kShieldedBytes = 2;

bool BeginsMarker(std::string_view held) {
    return kFailed.starts_with(held) || kSucceeded.starts_with(held) || kShield.starts_with(held);
}

}  // namespace

std::string ShieldText(std::string_view bytes) {
    std::string shielded(bytes);
    if (bytes == kFailed || bytes == kSucceeded) return shielded;
    for (const std::string_view marker : {kFailed, kSucceeded})
        for (std::size_t at = 0; (at = shielded.find(marker, at)) != shielded.npos;)
            shielded.insert(at + kShieldedBytes, 1, '\0');
    return shielded;
}

void MarkerFilter::pass(std::string_view bytes, std::string& shown) {
    for (const char byte : bytes) {
        held_ += byte;
        if (!BeginsMarker(held_)) {
            // Only its first character can begin a marker, so what was held before this byte is text.
            shown.append(held_, 0, held_.size() - 1);
            held_.assign(1, byte);
            if (!BeginsMarker(held_)) flush(shown);
        }
        if (held_ == kFailed || held_ == kSucceeded) {
            lastResult_ = held_ == kSucceeded;
            held_.clear();
        } else if (held_ == kShield) {
            shown.append(kShield, 0, kShieldedBytes);
            held_.clear();
        }
    }
}

void MarkerFilter::flush(std::string& shown) {
    shown += held_;
    held_.clear();
}

}  // namespace tovlark

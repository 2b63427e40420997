#include "platform/MarkerFilter.h"

namespace tovlark {

namespace {

constexpr std::string_view kFailed = "<E0>", kSucceeded = "<E1>";

bool BeginsMarker(std::string_view held) { return kFailed.starts_with(held) || kSucceeded.starts_with(held); }

}  // namespace

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
        }
    }
}

void MarkerFilter::flush(std::string& shown) {
    shown += held_;
    held_.clear();
}

}  // namespace tovlark

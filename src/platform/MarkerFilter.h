#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tovlark {

/// Output on its way to a front end. Text that merely holds the words of a marker, a file's name for one, comes out of
/// the filter as it was; bytes that are a marker and nothing else are one.
std::string ShieldText(std::string_view bytes);

/// Takes the markers "<E0>" and "<E1>" out of a stream of bytes, wherever the stream is cut.
class MarkerFilter {
public:
    /// Appends to `shown` what people are to see; the beginning of what may become a marker is held back.
    void pass(std::string_view bytes, std::string& shown);
    /// Nothing more is coming soon: what was held back is no marker.
    void flush(std::string& shown);
    bool holdsBack() const { return !held_.empty(); }
    /// Meaning of the last marker: true for "<E1>"; nothing when there was none.
    std::optional<bool> lastResult() const { return lastResult_; }

private:
    std::string held_;
    std::optional<bool> lastResult_;
};

}  // namespace tovlark

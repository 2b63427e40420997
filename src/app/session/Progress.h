#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "base/Text.h"

namespace tovlark {

/// What a step counts.
enum class ProgressUnit : std::uint8_t { Bytes, Files, Milliseconds };

/// The one record of how far a step is: console, events and windows all read it.
struct Progress {
    static constexpr std::uint64_t kUnknownTotal = std::numeric_limits<std::uint64_t>::max();
    /// How often the speed is measured, and thereby how often progress is told.
    static constexpr std::uint64_t kMeasureMilliseconds = 250;

    Text step;
    ProgressUnit unit = ProgressUnit::Bytes;
    std::uint64_t done = 0, total = 0;  // total: 0 or `kUnknownTotal` when nobody knows it
    std::uint64_t perSecond = 0;        // over the last seconds; 0: not measured yet, or it stands still

    void begin(TextView title, std::uint64_t stepTotal, ProgressUnit stepUnit, std::uint64_t nowMilliseconds);
    /// True when the speed was measured anew.
    bool advance(std::uint64_t position, std::uint64_t stepTotal, std::uint64_t nowMilliseconds);
    /// All is done; the speed becomes the mean of the whole step.
    void finish(std::uint64_t nowMilliseconds);

    bool isTotalKnown() const { return total != 0 && total != kUnknownTotal; }
    std::optional<std::uint64_t> remainingSeconds() const;

private:
    std::uint64_t began_ = 0, measured_ = 0, doneThen_ = 0;
};

}  // namespace tovlark

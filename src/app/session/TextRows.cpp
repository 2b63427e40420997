#include "app/session/TextRows.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "app/session/CommandTextRows.h"
#include "app/session/DriveTextRows.h"
#include "app/session/ImageTextRows.h"

namespace tovlark {

namespace {

constexpr auto kTexts = [] {
    std::array<TextRow, static_cast<std::size_t>(TextId::Count)> rows{};
    auto end = std::copy(std::begin(kCommandTextRows), std::end(kCommandTextRows), rows.begin());
    end = std::copy(std::begin(kImageTextRows), std::end(kImageTextRows), end);
    std::copy(std::begin(kDriveTextRows), std::end(kDriveTextRows), end);
    return rows;
}();

constexpr bool InOrder() {
    for (std::size_t index = 0; index < kTexts.size(); ++index)
        if (kTexts[index].id != static_cast<TextId>(index)) return false;
    for (std::size_t index = 1; index < kTexts.size(); ++index)
        if (kTexts[index].number <= kTexts[index - 1].number) return false;
    return true;
}
static_assert(InOrder());

}  // namespace

std::span<const TextRow> AllTexts() { return kTexts; }

}  // namespace tovlark

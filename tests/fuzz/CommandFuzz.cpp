#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "app/command/Grammars.h"
#include "optical/DriveMap.h"

// Words of the command line: what is accepted keeps to the bounds that the engines rely on.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tovlark;
    Text word;
    for (std::size_t index = 0; index < size; ++index) word += static_cast<char16_t>(data[index]);

    if (const auto speed = ParseSpeed(word))
        if (!std::isfinite(speed->factor) || speed->factor <= 0 || speed->media == SpeedMedia::NotGiven) std::abort();
    if (const auto volume = ParseVolumeSize(word)) {
        const bool isUnlimited = *volume == std::numeric_limits<std::uint64_t>::max();
        if (!isUnlimited && (*volume < 128 * 1024 || *volume > std::uint64_t{8} << 40)) std::abort();
    }
    if (const auto drive = ParseDrive(word))
        if (*drive < u'D' || *drive > u'Z') std::abort();
    static_cast<void>(ParseWindowHandle(word));
    static_cast<void>(ParseLeadingNumber(word));
    return 0;
}

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "base/Dates.h"

using namespace tovlark;

// A date from the command line is refused or is a real day, which survives the way to seconds and back.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto date = ParseDateTime(FromUtf8(std::string_view(reinterpret_cast<const char*>(data), size)));
    if (date && ToCalendar(ToSeconds(*date)) != *date) std::abort();
    return 0;
}

// The bytes are a CUE sheet: it is refused, or gives a disc whose tracks lie in order.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "image/CueSheet.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tovlark;
    static const CodePage codePage(932);
    DiscLayout layout;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (ParseCueSheet(bytes, u"folder", codePage, ShortPregaps::Keep, layout)) return 0;
    if (layout.tracks.empty() || layout.tracks.size() > kMaximumTracks || layout.sessions.empty()) std::abort();
    std::uint64_t last = 0;
    for (std::size_t index = 0; index < layout.tracks.size(); ++index) {
        const bool isSameFile = index > 0 && layout.tracks[index].file == layout.tracks[index - 1].file;
        const std::uint64_t offset = DataOffsetOf(layout, index);
        if (isSameFile && offset <= last) std::abort();
        last = offset;
    }
    return 0;
}

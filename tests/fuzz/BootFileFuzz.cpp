#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "authoring/BootDescription.h"
#include "base/Checksum.h"
#include "base/Stored.h"

// A boot information file without its checksum, which is put behind: what is taken is written back the same, and every
// image of it can be examined and placed in a catalog.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tovlark;
    const auto input = std::as_bytes(std::span(data, size));
    std::vector<std::byte> bytes(input.begin(), input.end());
    const Little32 checksum(Crc32(bytes));
    const auto end = std::as_bytes(std::span(&checksum, 1));
    bytes.insert(bytes.end(), end.begin(), end.end());
    BootDescription boot;
    if (!FromBootFile(bytes, boot)) return boot.images.empty() ? 0 : (std::abort(), 0);
    if (boot.images.empty() || boot.images.size() > kMostBootImages || ToBootFile(boot) != bytes) std::abort();
    std::uint32_t sector = 20;
    for (BootImage& image : boot.images) {
        image.firstSector = sector++;
        WriteBootInfoTable(image, 16);
        const BootImage examined = ExamineBootImage(image.bytes, image.hasInfoTable);
        if (examined.bytes != image.bytes) std::abort();
        if (image.hasInfoTable && !HasBootInfoTable(image.bytes)) std::abort();
    }
    if (ToBootCatalog(boot, nullptr).size() > 2048) std::abort();
    return 0;
}

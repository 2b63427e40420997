#include "authoring/BootImport.h"

#include <algorithm>
#include <unordered_map>

#include "authoring/BootSelection.h"
#include "authoring/NodeData.h"
#include "base/BootBytes.h"
#include "base/Format.h"
#include "readers/BootCatalog.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kBootSectorSize = 512;  // El Torito counts in these

std::uint64_t OffsetOf(const BootCatalogEntry& entry) { return std::uint64_t{entry.firstSector} * kSectorSize; }

std::uint64_t FloppySize(BootMedia media) {
    switch (media) {
        case BootMedia::Floppy1200: return 1200 * 1024;
        case BootMedia::Floppy1440: return 1440 * 1024;
        case BootMedia::Floppy2880: return 2880 * 1024;
        case BootMedia::None:
        case BootMedia::HardDisk: break;
    }
    return 0;
}

class BootImporter {
public:
    BootImporter(Task& task, ImageBuildContext& context, SourceImage& image)
        : task_(task), context_(context), image_(image), source_(image.opened.source) {}

    void run() {
        std::optional<VolumeFault> fault;
        const std::optional<BootCatalog> catalog = ReadBootCatalog(source_, fault);
        if (fault) report(DescribeFault(task_.session.texts(), *fault));
        if (!catalog || catalog->entries.empty()) return;
        findFiles();
        BootDescription boot;
        for (const BootCatalogEntry& entry : catalog->entries) take(entry, boot);
        if (boot.images.empty()) return;
        context_.boot = std::move(boot);
        leaveUefiToTheTree(*catalog);
        if (isFoundInTheTree()) context_.boot.reset();
    }

private:
    void report(const Text& line) {
        image_.isIncomplete = true;
        ReportError(task_, line);
    }

    void findFiles() {
        std::vector<const CompilationNode*> pending{context_.root};
        while (!pending.empty()) {
            const CompilationNode& folder = *pending.back();
            pending.pop_back();
            for (const CompilationNode* child : folder.folder->children) {
                if (child->isFolder()) pending.push_back(child);
                if (child->inImage == nullptr || child->inImage->extents.empty()) continue;
                starts_.push_back(child->inImage->extents.front().offset);
                sizes_.try_emplace(starts_.back(), child->sizeBytes);
            }
        }
        std::ranges::sort(starts_);
    }

    /// The catalog tells only how much of an image is loaded at first. Its whole length is that of the file at its
    /// place, or stands in its boot information table, or follows from the medium that it emulates.
    std::uint64_t sizeOf(const BootCatalogEntry& entry) const {
        const std::uint64_t offset = OffsetOf(entry), rest = source_.sizeBytes - std::min(offset, source_.sizeBytes);
        if (const auto file = sizes_.find(offset); file != sizes_.end()) return file->second;
        if (const std::uint64_t size = FloppySize(static_cast<BootMedia>(entry.mediaType)); size > 0)
            return std::min(size, rest);
        BootInfoTable table;
        std::size_t readCount = 0;
        const bool isRead = !source_
                                 .readAt(source_.self, offset + BootInfoTable::kOffset,
                                         std::as_writable_bytes(std::span(&table, 1)), readCount)
                                 .failed() &&
                            readCount == sizeof table;
        if (isRead && table.imageSector == entry.firstSector && table.imageBytes <= rest) return table.imageBytes;
        if (entry.sectorCount > 0) return std::min<std::uint64_t>(entry.sectorCount * kBootSectorSize, rest);
        const auto next = std::ranges::upper_bound(starts_, offset);
        return next == starts_.end() ? rest : *next - offset;
    }

    void take(const BootCatalogEntry& entry, BootDescription& boot) {
        const std::uint64_t size = sizeOf(entry);
        BootImage image;
        if (size <= kLargestBootImage) image.bytes.resize(static_cast<std::size_t>(size));
        std::size_t readCount = 0;
        const SystemError error = source_.readAt(source_.self, OffsetOf(entry), image.bytes, readCount);
        if (size == 0 || error.failed() || readCount != size || boot.images.size() == kMostBootImages) {
            report(task_.session.texts().format(TextId::EditBootImageLost, {entry.firstSector}));
            return;
        }
        image.platform = static_cast<BootPlatform>(entry.platform);
        image.media = static_cast<BootMedia>(entry.mediaType);
        image.isBootable = entry.isBootable;
        image.hasInfoTable = image.media == BootMedia::None && HasBootInfoTable(image.bytes);
        image.systemType = entry.systemType;
        image.loadSegment = entry.loadSegment;
        image.sectorCount = entry.sectorCount;
        boot.images.push_back(std::move(image));
    }

    /// A second image that is the file which the writer makes a UEFI section of.
    void leaveUefiToTheTree(const BootCatalog& catalog) {
        std::vector<BootImage>& images = context_.boot->images;
        if (images.size() != 2 || catalog.entries.size() != 2 || images[1].platform != BootPlatform::Uefi) return;
        BootImage uefi = std::move(images[1]);
        images.pop_back();
        const CompilationNode* file = FindUefiImage(context_);
        const bool isSame = file != nullptr && file->inImage != nullptr &&
                            file->inImage->extents.front().offset == OffsetOf(catalog.entries[1]);
        if (!isSame) images.push_back(std::move(uefi));
    }

    /// True when the only boot image is what the writer would pick up, but for the table that it writes into it.
    bool isFoundInTheTree() const {
        const CompilationNode* file = context_.autoBootImage ? FindWellKnownBootImage(context_) : nullptr;
        const BootImage& image = context_.boot->images.front();
        if (file == nullptr || context_.boot->images.size() != 1 || file->sizeBytes != image.bytes.size()) return false;
        std::vector<std::byte> bytes(image.bytes.size());
        std::size_t readCount = 0;
        NodeData data;
        if (data.open(*file).failed() || data.readAt(0, bytes, bytes.size(), readCount).failed()) return false;
        const std::size_t skipped = std::min<std::size_t>(BootInfoTable::kSummedFrom, bytes.size());
        return readCount == bytes.size() &&
               std::ranges::equal(std::span(bytes).subspan(skipped), std::span(image.bytes).subspan(skipped));
    }

    Task& task_;
    ImageBuildContext& context_;
    SourceImage& image_;
    const ByteSource& source_;
    std::vector<std::uint64_t> starts_;                       // of the files' data, ascending
    std::unordered_map<std::uint64_t, std::uint64_t> sizes_;  // by start
};

}  // namespace

void ImportBootImages(Task& task, ImageBuildContext& context, SourceImage& image) {
    BootImporter(task, context, image).run();
}

}  // namespace tovlark

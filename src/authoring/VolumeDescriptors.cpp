#include <algorithm>

#include "authoring/ImageLayout.h"
#include "authoring/IsoDates.h"
#include "base/IsoBytes.h"

namespace tovlark {

namespace {

/// The narrow form, filled up with spaces and cut at the field's width, never inside a double-byte character.
void FillNarrow(std::span<char> field, TextView text, const CodePage& codePage) {
    std::fill(field.begin(), field.end(), ' ');
    std::size_t used = 0;
    for (std::size_t position = 0; position < text.size();) {
        std::string bytes;
        if (!codePage.encode(NextCodePoint(text, position), bytes)) bytes = "_";
        if (bytes.size() > field.size() - used) return;
        std::copy(bytes.begin(), bytes.end(), field.begin() + static_cast<std::ptrdiff_t>(used));
        used += bytes.size();
    }
}

/// The big-endian form, filled up with spaces and cut at the field's width, never inside a surrogate pair. A field of
/// odd width ends in a space of one byte.
void FillJoliet(std::span<char> field, TextView text) {
    text = text.substr(0, field.size() / 2);
    if (!text.empty() && IsHighSurrogate(text.back())) text.remove_suffix(1);
    for (std::size_t unit = 0; unit < field.size() / 2; ++unit) {
        const char16_t value = unit < text.size() ? text[unit] : u' ';
        field[2 * unit] = static_cast<char>(value >> 8);
        field[2 * unit + 1] = static_cast<char>(value & 0xFF);
    }
    if (field.size() % 2 != 0) field.back() = ' ';
}

/// Calls `fill(field, text)` for each of the nine text fields.
template <typename Fill>
void FillTexts(VolumeDescriptor& descriptor, const ImageBuild& build, const Fill& fill) {
    const auto text = [&](VolumeField field) -> TextView {
        return build.context.volumeFields[static_cast<std::size_t>(field)];
    };
    fill(descriptor.volumeIdentifier, build.label);
    fill(descriptor.systemIdentifier, text(VolumeField::System));
    fill(descriptor.volumeSetIdentifier, text(VolumeField::VolumeSet));
    fill(descriptor.publisherIdentifier, text(VolumeField::Publisher));
    fill(descriptor.dataPreparerIdentifier, text(VolumeField::DataPreparer));
    fill(descriptor.applicationIdentifier, text(VolumeField::Application));
    fill(descriptor.copyrightFile, text(VolumeField::Copyright));
    fill(descriptor.abstractFile, text(VolumeField::Abstract));
    fill(descriptor.bibliographicFile, text(VolumeField::Bibliographic));
}

/// Everything but the type, the escape sequence and the text fields.
VolumeDescriptor DescriptorOf(const ImageBuild& build, const DirectoryTree& tree) {
    const CompilationNode& root = *build.context.root;
    const auto date = [&](VolumeDate which) {
        return ToVolumeDate(build.task.clock, build.context.volumeDates[static_cast<std::size_t>(which)]);
    };
    VolumeDescriptor descriptor;
    descriptor.spaceSize = static_cast<std::uint32_t>(build.sectorCount);
    descriptor.setSize = 1;
    descriptor.sequenceNumber = 1;
    descriptor.blockSize = kSectorSize;
    descriptor.pathTableSize = static_cast<std::uint32_t>(tree.pathTableBytes);
    descriptor.pathTableL = tree.pathTableL;
    descriptor.pathTableM = tree.pathTableM;
    descriptor.root.length = sizeof(DirectoryRecordHead) + 1;
    descriptor.root.extent = tree.placeOf(root).extent;
    descriptor.root.dataLength = tree.placeOf(root).sizeBytes;
    descriptor.root.date = ToRecordDate(build.task.clock, RecordedDateOf(build.context, root));
    descriptor.root.flags = DirectoryRecordHead::kFolder;
    descriptor.creation = date(VolumeDate::Creation);
    descriptor.modification = date(VolumeDate::Modification);
    descriptor.expiration = date(VolumeDate::Expiration);
    descriptor.effective = date(VolumeDate::Effective);
    return descriptor;
}

}  // namespace

void EmitPrimaryDescriptor(const ImageBuild& build, const Extent&, SectorStream& stream) {
    VolumeDescriptor descriptor = DescriptorOf(build, build.iso);
    FillTexts(descriptor, build,
              [&](std::span<char> field, TextView text) { FillNarrow(field, text, build.context.codePage); });
    stream.writeStructure(descriptor);
}

void EmitJolietDescriptor(const ImageBuild& build, const Extent&, SectorStream& stream) {
    static constexpr char kLevelLetters[] = {'@', 'C', 'E'};  // UCS-2 levels 1 to 3
    VolumeDescriptor descriptor = DescriptorOf(build, build.joliet);
    descriptor.type = VolumeDescriptor::kSupplementary;
    descriptor.escapeSequences[0] = '%';
    descriptor.escapeSequences[1] = '/';
    descriptor.escapeSequences[2] = kLevelLetters[std::clamp<int>(build.context.jolietLevel, 1, 3) - 1];
    FillTexts(descriptor, build, [](std::span<char> field, TextView text) { FillJoliet(field, text); });
    stream.writeStructure(descriptor);
}

void EmitTerminator(const ImageBuild&, const Extent&, SectorStream& stream) {
    VolumeDescriptor descriptor;
    descriptor.type = VolumeDescriptor::kTerminator;
    stream.write(std::as_bytes(std::span(&descriptor, 1)).first(offsetof(VolumeDescriptor, flags)));
    stream.padToSector();
}

}  // namespace tovlark

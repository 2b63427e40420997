#include "authoring/OpenForEditing.h"

#include <algorithm>

#include "app/session/Settings.h"
#include "authoring/Adding.h"
#include "authoring/BootImport.h"
#include "base/Format.h"
#include "base/IsoBytes.h"
#include "base/Sectors.h"
#include "base/TextFile.h"
#include "readers/IsoVolume.h"
#include "readers/TreeWalk.h"
#include "readers/UdfVolume.h"

namespace tovlark {

namespace {

constexpr std::size_t kSystemAreaSectors = 16;  // ECMA-119 6.2.1
constexpr std::uint8_t kIsoNameLengths[] = {12, 30, 221}, kJolietNameLengths[] = {64, 110};

NodeKind KindOf(EntryKind kind) {
    switch (kind) {
        case EntryKind::Folder: return NodeKind::Folder;
        case EntryKind::SymbolicLink: return NodeKind::SymbolicLink;
        case EntryKind::File:
        case EntryKind::Other: break;
    }
    return NodeKind::File;
}

/// A name that the tree can hold: not empty, "." or "..", no separator, not too long.
Text NodeName(TextView recorded) {
    Text name(recorded.substr(0, kMaximumNameUnits));
    std::ranges::replace_if(
        name, [](char16_t unit) { return unit == u'/' || unit == u'\0'; }, u'_');
    return name.empty() || name == u"." || name == u".." ? u"_" : name;
}

/// The same, numbered while the folder has it already.
Text FreeName(const CompilationNode& folder, TextView recorded) {
    const Text name = NodeName(recorded);
    Text free = name;
    for (std::uint32_t number = 0; FindChild(folder, free) != nullptr; ++number)
        free = name.substr(0, kMaximumNameUnits - 11) + FormatText(u"~%u", {number});
    return free;
}

/// ISO 9660 does not say what its bytes beyond ASCII mean: UTF-8 where they are that, else the narrow code page.
Text FromNarrow(const ImageBuildContext& context, const Text& recorded) {
    const std::string bytes = ToUtf8(recorded);
    return IsUtf8(bytes) ? recorded : context.codePage.decode(bytes);
}

template <std::size_t count>
std::uint8_t LengthFor(const std::uint8_t (&lengths)[count], std::size_t longest) {
    for (const std::uint8_t length : lengths)
        if (longest <= length) return length;
    return lengths[count - 1];
}

/// Turns the entries of a volume into nodes.
class Importer {
public:
    Importer(Task& task, ImageBuildContext& context, SourceImage& image)
        : task_(task), context_(context), image_(image), volume_(*image.opened.volume) {}

    void run() {
        const VolumeEntry root = volume_.root();
        takeAttributes(*context_.root, root);
        folders_.push_back(context_.root);
        const TreeVisitor visitor{
            .enter = {},
            .item =
                [this](const WalkedFolder& folder, const VolumeEntry& entry, std::uint64_t& tag, bool&) {
                    task_.session.tick();
                    add(*folders_[folder.tag], folder.path, entry);
                    tag = folders_.size() - 1;
                    return !task_.flags.cancel;
                },
            .leave = {},
            .fault =
                [this](const VolumeFault& fault) {
                    report(fault);
                    return true;
                },
        };
        WalkTree(volume_, {u"/", root, 0}, visitor);
    }

private:
    void add(CompilationNode& parent, const Text& folderPath, const VolumeEntry& entry) {
        const Text path = (folderPath == u"/" ? Text() : folderPath) + u'/' + entry.name;
        std::vector<DataExtent> extents;
        if (entry.kind == EntryKind::Other) {
            image_.isIncomplete = true;
            ReportError(task_, task_.session.texts().format(TextId::EditKindLeftOut, {ToPrintable(path)}));
            return;
        }
        if (entry.kind == EntryKind::File) {
            if (auto fault = volume_.locate(entry, extents)) {
                fault->subject = path;
                report(*fault);
                return;
            }
        }
        const Text name = volume_.kind() == VolumeKind::Iso ? FromNarrow(context_, entry.name) : entry.name;
        CompilationNode& node = context_.newNode(KindOf(entry.kind), parent, FreeName(parent, name));
        takeAttributes(node, entry);
        if (entry.kind == EntryKind::SymbolicLink) node.linkTarget = context_.store(entry.linkTarget);
        if (entry.kind == EntryKind::Folder) folders_.push_back(&node);
        if (entry.kind == EntryKind::File && entry.sizeBytes > 0) takeData(node, entry, extents);
    }

    void takeAttributes(CompilationNode& node, const VolumeEntry& entry) const {
        if (entry.date) node.date = *entry.date;
        if (!entry.hasAttributes) return;
        node.mode = entry.mode;
        node.owner = entry.owner;
        node.group = entry.group;
        node.links = entry.links;
    }

    void takeData(CompilationNode& node, const VolumeEntry& entry, const std::vector<DataExtent>& extents) {
        node.sizeBytes = entry.sizeBytes;
        node.inImage = &context_.imageSource(image_, extents);
        // Other programs split such a file over several ISO 9660 records; here it stands in UDF.
        if (entry.sizeBytes > kLargestIsoFile && !context_.udfEnabled) AdmitLargeFile(context_);
    }

    void report(const VolumeFault& fault) {
        image_.isIncomplete = true;
        ReportError(task_, DescribeFault(task_.session.texts(), fault));
    }

    Task& task_;
    ImageBuildContext& context_;
    SourceImage& image_;
    Volume& volume_;
    std::vector<CompilationNode*> folders_;  // by the tag of the walk
};

std::size_t LongestName(const CompilationNode& root) {
    std::size_t longest = 0;
    std::vector<const CompilationNode*> pending{&root};
    while (!pending.empty()) {
        const CompilationNode& folder = *pending.back();
        pending.pop_back();
        for (const CompilationNode* child : folder.folder->children) {
            longest = std::max(longest, child->longName.size());
            if (child->isFolder()) pending.push_back(child);
        }
    }
    return longest;
}

bool HasLowerCase(const CompilationNode& folder) {
    return std::ranges::any_of(folder.folder->children, [](const CompilationNode* child) {
        return UpperCase(child->longName) != child->longName || (child->isFolder() && HasLowerCase(*child));
    });
}

/// Switches on what the image has, so that it keeps its kind.
void TakeFileSystems(ImageBuildContext& context, const IsoVolumeFacts& facts, const std::vector<VolumeKind>& kinds) {
    const auto has = [&](VolumeKind kind) { return std::ranges::find(kinds, kind) != kinds.end(); };
    context.isoEnabled = has(VolumeKind::Iso);
    context.jolietEnabled = has(VolumeKind::Joliet);
    context.udfEnabled = has(VolumeKind::Udf);
    if (!has(VolumeKind::RockRidge))
        context.rockRidge = RockRidgeChoice::Off;
    else if (context.rockRidge == RockRidgeChoice::Off)
        context.rockRidge = RockRidgeChoice::Automatic;
    if (facts.jolietLevel != 0) context.jolietLevel = facts.jolietLevel;
}

/// An image keeps its revision of UDF, or the nearer one of the two that are written, unless a setting tells another.
void TakeUdfRevision(const SettingsStore& settings, ImageBuildContext& context, const ByteSource& source) {
    constexpr std::uint32_t kNotSet = 0;
    if (settings.getInt(kUdfRevision.name, kNotSet, kUdfRevision.minimum, kUdfRevision.maximum) != kNotSet) return;
    if (const auto revision = ReadUdfRevision(source)) context.udfRevision = *revision < 0x0200 ? 0x0102 : 0x0201;
}

/// Limits that the names of the tree itself keep to.
void TakeNameLengths(ImageBuildContext& context, VolumeKind kind) {
    if (kind == VolumeKind::Iso) {
        context.isoNameLength = LengthFor(kIsoNameLengths, LongestName(*context.root));
        context.lowerCaseAllowed = HasLowerCase(*context.root);
    }
    if (kind == VolumeKind::Joliet)
        context.jolietNameLength = LengthFor(kJolietNameLengths, LongestName(*context.root));
}

/// The longest form of the label that the image has. Joliet has every character, but only 16 of them.
Text LabelOf(const ImageBuildContext& context, const IsoVolumeFacts& facts, const Volume& volume) {
    constexpr auto kLabel = static_cast<std::size_t>(IsoField::Volume);
    if (volume.kind() == VolumeKind::Udf || !facts.iso) return volume.label();
    Text label = FromNarrow(context, facts.iso->fields[kLabel]);
    return facts.joliet && facts.joliet->fields[kLabel].size() >= label.size() ? facts.joliet->fields[kLabel] : label;
}

void TakeVolumeFields(ImageBuildContext& context, const IsoVolumeFacts& facts, const Volume& volume) {
    if (facts.iso) {
        for (std::size_t index = 0; index < std::size(facts.iso->fields); ++index)
            context.volumeFields[index] = FromNarrow(context, facts.iso->fields[index]);
        for (std::size_t index = 0; index < std::size(facts.iso->dates); ++index)
            context.volumeDates[index] = facts.iso->dates[index].value_or(0);
        // What is written now was modified now, if the image tells of that at all.
        UnixSeconds& modified = context.volumeDates[static_cast<std::size_t>(VolumeDate::Modification)];
        if (modified != 0) modified = context.now();
    }
    context.volumeFields[static_cast<std::size_t>(VolumeField::Volume)] = LabelOf(context, facts, volume);
    context.labelSet = true;
}

/// The system area belongs to whatever made the image bootable from other media: nothing here could keep it right.
bool HasSystemArea(const SourceImage& image) {
    std::vector<std::byte> bytes(kSystemAreaSectors * kSectorSize);
    std::size_t readCount = 0;
    if (image.opened.file.readAt(0, bytes, readCount).failed()) return false;
    return std::ranges::any_of(bytes, [](std::byte byte) { return byte != std::byte{0}; });
}

void Tell(Task& task, const Text& line) {
    task.session.printLine(line);
    task.log.append(line);
}

}  // namespace

Status OpenForEditing(Task& task, ImageBuildContext& context, const Text& path) {
    const Texts& texts = task.session.texts();
    SourceImage& image = context.sourceImages.emplace_back();
    image.path = path;
    if (!OpenImage(task, path, image.opened)) return Status::Failed;
    FileInfo info;
    if (!image.opened.file.examine(info).failed()) image.identity = info.identity;
    std::optional<VolumeFault> fault;
    const std::vector<VolumeKind> kinds = FindVolumes(image.opened.source, fault);
    if (fault) ReportError(task, DescribeFault(texts, *fault));
    image.isIncomplete = fault.has_value();
    const IsoVolumeFacts facts = ReadIsoFacts(image.opened.source);

    TakeFileSystems(context, facts, kinds);
    TakeUdfRevision(task.settings, context, image.opened.source);
    task.session.printAndMark(texts.format(TextId::EditOpening, {path}));
    Importer(task, context, image).run();
    if (!task.flags.cancel) task.session.printDone();
    TakeNameLengths(context, image.opened.volume->kind());
    TakeVolumeFields(context, facts, *image.opened.volume);
    ImportBootImages(task, context, image);
    if (HasSystemArea(image)) Tell(task, texts.format(TextId::EditSystemArea, {path}));
    return Status::Ok;
}

}  // namespace tovlark

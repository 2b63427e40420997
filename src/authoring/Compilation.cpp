#include "authoring/Compilation.h"

#include <algorithm>
#include <functional>
#include <new>
#include <random>
#include <type_traits>

#include "app/session/Settings.h"
#include "base/Dates.h"
#include "base/Format.h"
#include "platform/Paths.h"
#include "platform/SystemClock.h"

namespace tovlark {

namespace {

static_assert(std::is_trivially_destructible_v<CompilationNode>);

// Below this many children a plain search is as fast as the index.
constexpr std::size_t kIndexedFrom = 16;

// POSIX file-type bits (IEEE Std 1003.1, <sys/stat.h>).
constexpr std::uint32_t DefaultMode(NodeKind kind) {
    switch (kind) {
        case NodeKind::Folder: return 0040755;
        case NodeKind::SymbolicLink: return 0120777;
        default: return 0100644;
    }
}

std::size_t SlotOf(const FolderContents& folder, TextView longName) {
    return std::hash<TextView>()(longName) & (folder.slots.size() - 1);
}

void Index(FolderContents& folder, CompilationNode& node) {
    std::size_t slot = SlotOf(folder, node.longName);
    while (folder.slots[slot] != nullptr) slot = (slot + 1) & (folder.slots.size() - 1);
    folder.slots[slot] = &node;
}

void IndexAgain(FolderContents& folder) {
    std::size_t slotCount = 4 * kIndexedFrom;
    while (slotCount < 2 * folder.children.size()) slotCount *= 2;
    folder.slots.assign(slotCount, nullptr);
    for (CompilationNode* child : folder.children) Index(folder, *child);
}

/// A copy of a view that lives as long as the compilation.
template <typename View>
View Copy(std::pmr::monotonic_buffer_resource& storage, View view) {
    using Item = typename View::value_type;
    if (view.empty()) return {};
    Item* copy = static_cast<Item*>(storage.allocate(view.size() * sizeof(Item), alignof(Item)));
    std::copy(view.begin(), view.end(), copy);
    return {copy, view.size()};
}

CompilationNode& MakeNode(ImageBuildContext& context, NodeKind kind, TextView longName) {
    void* place = context.storage.allocate(sizeof(CompilationNode), alignof(CompilationNode));
    CompilationNode& node = *new (place) CompilationNode;
    node.kind = kind;
    node.longName = context.store(longName);
    node.mode = DefaultMode(kind);
    if (kind == NodeKind::Folder) node.folder = &context.folders.emplace_back();
    return node;
}

}  // namespace

ImageBuildContext::ImageBuildContext() : root(&MakeNode(*this, NodeKind::Folder, {})) {
    volumeFields[static_cast<std::size_t>(VolumeField::System)] = u"Win32";
    volumeFields[static_cast<std::size_t>(VolumeField::Application)] = u"Tovlark";
}

bool ImageBuildContext::rockRidgeEnabled() const {
    if (!isoEnabled || rockRidge == RockRidgeChoice::Off) return false;
    return rockRidge == RockRidgeChoice::On || !isoNameLengthFixed || isoNameLength == 12;
}

UnixSeconds ImageBuildContext::dateOf(const CompilationNode& node) const {
    return fixedDate == kNoDate && node.date != kNoDate ? node.date : now();
}

CompilationNode& ImageBuildContext::newNode(NodeKind nodeKind, CompilationNode& parent, TextView longName) {
    CompilationNode& node = MakeNode(*this, nodeKind, longName);
    Link(parent, node);
    return node;
}

const SourceFolder& ImageBuildContext::sourceFolder(TextView path) {
    const auto [place, isNew] = sourceFolders_.try_emplace(Text(path));
    if (isNew) place->second.path = path;
    return place->second;
}

const ImageSource& ImageBuildContext::imageSource(const SourceImage& image, std::span<const DataExtent> extents) {
    void* place = storage.allocate(sizeof(ImageSource), alignof(ImageSource));
    return *new (place) ImageSource{&image, Copy(storage, extents)};
}

TextView ImageBuildContext::store(TextView text) { return Copy(storage, text); }

std::string_view ImageBuildContext::store(std::string_view bytes) { return Copy(storage, bytes); }

void InitialiseCompilation(const Task& task, ImageBuildContext& context) {
    const SettingsStore& settings = task.settings;
    const std::uint32_t fixedSeconds = settings.getInt(kTimeFixed);
    if (fixedSeconds != 0)
        context.fixedDate = fixedSeconds;
    else
        context.runIdentifier = std::random_device{}();
    context.startedAt = task.clock.now(task.clock.self);
    context.udfRevision = settings.getInt(kUdfRevision) == kUdfRevision.maximum ? 0x0201 : 0x0102;
    context.useCreationTime = settings.getInt(kUseFileCreationTime) != 0;
    context.rockRidge = static_cast<RockRidgeChoice>(settings.getInt(kRockRidge));
    context.rationalAttributes = settings.getInt(kRockRidgeRational) != 0;
    context.keepSymbolicLinks = settings.getInt(kKeepSymbolicLinks) != 0;
    context.autoBootImage = settings.getInt(kAutoBootImage) != 0;
    context.codePage = CodePage(NarrowCodePageNumber(settings.getInt(kLanguage)));
}

Text VolumeFieldText(const ImageBuildContext& context, VolumeField field, const Clock& clock) {
    if (field != VolumeField::Volume || context.labelSet) return context.volumeFields[static_cast<std::size_t>(field)];
    const CalendarTime date = ToLocal(clock, context.now());
    const Text pattern = ShortDatePattern();
    Text label;
    for (std::size_t position = 0; position < pattern.size();) {
        const char16_t letter = pattern[position];
        const std::size_t end = std::min(pattern.find_first_not_of(letter, position), pattern.size());
        if (letter == u'y')
            label += FormatText(u"%04d", {date.year});
        else if (letter == u'm' || letter == u'd')
            label += FormatText(u"%02d", {letter == u'm' ? date.month : date.day});
        else
            label.append(pattern, position, end - position);
        position = end;
    }
    return label;
}

Text SourcePath(const CompilationNode& node) {
    if (node.inImage != nullptr) return node.inImage->image->path + u':' + PathInImage(node);
    return node.sourceFolder == nullptr ? Text() : JoinPath(node.sourceFolder->path, node.sourceName);
}

Text PathInImage(const CompilationNode& node) {
    std::vector<TextView> names;
    for (const CompilationNode* step = &node; step->parent != nullptr; step = step->parent)
        names.push_back(step->longName);
    if (names.empty()) return u"/";
    Text path;
    for (auto name = names.rbegin(); name != names.rend(); ++name) path.append(1, u'/').append(*name);
    return path;
}

void Link(CompilationNode& folder, CompilationNode& node) {
    FolderContents& contents = *folder.folder;
    node.parent = &folder;
    contents.children.push_back(&node);
    if (contents.children.size() < kIndexedFrom) return;
    if (2 * contents.children.size() > contents.slots.size())
        IndexAgain(contents);
    else
        Index(contents, node);
}

void Unlink(CompilationNode& node) {
    FolderContents& contents = *node.parent->folder;
    std::erase(contents.children, &node);
    if (!contents.slots.empty()) IndexAgain(contents);
    node.parent = nullptr;
}

CompilationNode* FindChild(const CompilationNode& folder, TextView longName) {
    const FolderContents& contents = *folder.folder;
    if (contents.slots.empty()) {
        for (CompilationNode* child : contents.children)
            if (child->longName == longName) return child;
        return nullptr;
    }
    std::size_t slot = SlotOf(contents, longName);
    for (; contents.slots[slot] != nullptr; slot = (slot + 1) & (contents.slots.size() - 1))
        if (contents.slots[slot]->longName == longName) return contents.slots[slot];
    return nullptr;
}

CompilationNode* FindNode(const ImageBuildContext& context, TextView path) {
    CompilationNode* node = context.root;
    for (std::size_t start = 0; start < path.size() && node != nullptr;) {
        const std::size_t end = std::min(path.find(u'/', start), path.size());
        if (end > start) node = node->isFolder() ? FindChild(*node, path.substr(start, end - start)) : nullptr;
        start = end + 1;
    }
    return node;
}

}  // namespace tovlark

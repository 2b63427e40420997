#include "authoring/BootSelection.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "authoring/Adding.h"
#include "authoring/NodeData.h"
#include "base/BootBytes.h"

namespace tovlark {

namespace {

struct WellKnownImage {
    TextView path;
    bool hasInfoTable;  // does not boot without, whatever is in its place at first
};
constexpr WellKnownImage kWellKnownImages[] = {
    {u"isolinux/isolinux.bin", true}, {u"boot/grub/i386-pc/eltorito.img", true}, {u"boot/etfsboot.com", false}};

constexpr TextView kUefiImages[] = {u"efi/microsoft/boot/efisys.bin", u"boot/grub/efi.img", u"images/efiboot.img"};

constexpr TextView kBootFileExtension = u".bif";
constexpr std::uint64_t kLargestBootFile = 2 * kLargestBootImage;

/// The file at a path without regard to case, the exact name first; null where there is none.
CompilationNode* FindFile(const ImageBuildContext& context, TextView path) {
    CompilationNode* node = context.root;
    while (!path.empty() && node != nullptr && node->isFolder()) {
        const TextView name = path.substr(0, path.find(u'/'));
        path.remove_prefix(std::min(path.size(), name.size() + 1));
        const CompilationNode& folder = *node;
        node = FindChild(folder, name);
        if (node != nullptr) continue;
        for (CompilationNode* child : folder.folder->children)
            if (EqualsIgnoringCase(child->longName, name) && (node == nullptr || child->longName < node->longName))
                node = child;
    }
    return path.empty() && node != nullptr && node->kind == NodeKind::File && node->sizeBytes > 0 ? node : nullptr;
}

/// The whole file, empty when it is longer than the limit.
SystemError ReadFile(const CompilationNode& file, std::uint64_t limitBytes, std::vector<std::byte>& bytes) {
    if (file.sizeBytes > limitBytes) return {};
    if (file.memory != nullptr) {
        bytes.assign(file.memory->data.begin(), file.memory->data.end());
        return {};
    }
    NodeData data;
    if (const SystemError error = data.open(file); error.failed()) return error;
    bytes.resize(static_cast<std::size_t>(file.sizeBytes));
    std::size_t readCount = 0;
    const SystemError error = data.readAt(0, bytes, bytes.size(), readCount);
    bytes.resize(readCount);
    return error;
}

void Say(Task& task, const Text& line) {
    task.session.printLine(line);
    task.log.append(line);
}

void Refuse(ImageBuildContext& context, const CompilationNode& file, BuildError error, SystemError systemError = {}) {
    context.error = error;
    context.errorSubject = PathInImage(file);
    context.systemError = systemError;
}

void TakeBootFile(ImageBuildContext& context) {
    CompilationNode* found = nullptr;
    for (CompilationNode* child : context.root->folder->children) {
        const TextView name = child->longName;
        if (child->kind != NodeKind::File || name.size() < kBootFileExtension.size() ||
            !EqualsIgnoringCase(name.substr(name.size() - kBootFileExtension.size()), kBootFileExtension))
            continue;
        if (found != nullptr) return Refuse(context, *child, BuildError::SecondBootFile);
        found = child;
    }
    if (found == nullptr) return;
    std::vector<std::byte> bytes;
    const SystemError error = ReadFile(*found, kLargestBootFile, bytes);
    BootDescription boot;
    if (error.failed() || !FromBootFile(bytes, boot))
        return Refuse(context, *found, BuildError::InvalidBootFile, error);
    context.boot = std::move(boot);
    DeleteNode(context, *found);
}

/// False when the file cannot be what its name says.
bool TakeWellKnown(Task& task, ImageBuildContext& context, const CompilationNode& file, bool hasInfoTable) {
    std::vector<std::byte> bytes;
    const SystemError error = ReadFile(file, kLargestBootImage, bytes);
    const std::size_t least = hasInfoTable ? BootInfoTable::kSummedFrom : 0;
    const Texts& texts = task.session.texts();
    if (error.failed() || bytes.size() <= least) {
        const Text reason = error.failed() ? DescribeError(error) : Text(texts[TextId::InvalidBootImageFile]);
        Say(task, texts.format(TextId::BootImageNotUsed, {PathInImage(file), reason}));
        return false;
    }
    context.boot.emplace().images.push_back(ExamineBootImage(std::move(bytes), hasInfoTable));
    Say(task, texts.format(TextId::BootsFrom, {PathInImage(file)}));
    return true;
}

}  // namespace

void SelectBootImage(Task& task, ImageBuildContext& context) {
    if (!context.boot) TakeBootFile(context);
    if (!context.boot && context.error == BuildError::None && context.autoBootImage)
        for (const WellKnownImage& known : kWellKnownImages) {
            const CompilationNode* file = FindFile(context, known.path);
            if (file != nullptr && TakeWellKnown(task, context, *file, known.hasInfoTable)) break;
        }
    if (context.boot) context.isoEnabled = true;
}

const CompilationNode* FindWellKnownBootImage(const ImageBuildContext& context) {
    for (const WellKnownImage& known : kWellKnownImages)
        if (const CompilationNode* file = FindFile(context, known.path)) return file;
    return nullptr;
}

const CompilationNode* FindUefiImage(const ImageBuildContext& context) {
    if (!context.boot || context.boot->images.size() != 1) return nullptr;
    if (context.boot->images.front().platform == BootPlatform::Uefi) return nullptr;
    for (const TextView path : kUefiImages)
        if (const CompilationNode* file = FindFile(context, path)) return file;
    return nullptr;
}

}  // namespace tovlark

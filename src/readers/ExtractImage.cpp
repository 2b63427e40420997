#include "readers/ExtractImage.h"

#include <algorithm>
#include <array>
#include <unordered_set>

#include "platform/Paths.h"
#include "readers/OpenedImage.h"
#include "readers/TreeWalk.h"

namespace tovlark {

namespace {

constexpr std::size_t kBufferBytes = 1 << 20;
constexpr std::uint64_t kKernelCopyBytes = 32 << 20;  // at once, between looks at the cancel flag
constexpr std::uint32_t kDeepest = 1000;              // levels of folders
constexpr std::uint32_t kNewFileMode = 0666, kNewFolderMode = 0777;

/// A folder of the image that is one on disk.
struct LocalFolder {
    std::uint32_t parent;  // index of it; the output folder, the first, is its own
    std::uint32_t depth;
    Text name;
    bool isNew;
    std::uint32_t mode;
    std::optional<UnixSeconds> date;
};

struct LocalLink {
    std::uint32_t folder;
    Text name, target;
    std::optional<UnixSeconds> date;
};

class Extraction {
public:
    Extraction(Task& task, OpenedImage& image)
        : task_(task), session_(task.session), texts_(task.session.texts()), image_(image), volume_(*image.volume) {}

    Status run(const VolumeEntry& entry, const Text& innerPath, const Text& outputFolder);

private:
    void report(const Text& line);
    void report(TextId text, std::initializer_list<FormatArgument> arguments) {
        report(texts_.format(text, arguments));
    }
    void reportLocal(TextView name, SystemError error) {
        report(TextId::CannotCreateOutput, {ToPrintable(localPath(current_, name)), DescribeError(error)});
    }
    Text localPath(std::uint32_t folder, TextView name) const;

    bool openOutput(const Text& outputFolder);
    bool enter(std::uint32_t folder);
    std::uint64_t measure(const WalkedFolder& start);
    void extract(const WalkedFolder& folder, const VolumeEntry& entry, std::uint64_t& tag, bool& isEntered);
    Text takeName(const VolumeEntry& entry);
    bool mayReplace(TextView name);
    bool makeFolder(const Text& path, const Text& name, const VolumeEntry& entry, std::uint64_t& tag);
    void writeFile(const Text& path, const Text& name, const VolumeEntry& entry);
    bool copy(const Text& path, const DataExtent& extent, NewFile& file, SystemError& writeError);
    SystemError copyPiece(const DataExtent& extent, std::uint64_t offset, NewFile& file, std::uint64_t& count,
                          SystemError& readError);
    void makeLinks();
    void finishFolders();
    bool isStopped() const { return task_.flags.cancel || isHopeless_; }

    Task& task_;
    ConsoleSession& session_;
    const Texts& texts_;
    OpenedImage& image_;
    Volume& volume_;
    Text outputFolder_;
    OpenFolder output_, folder_;  // the output folder; the one that is being filled
    bool isOpen_ = false;         // the latter
    std::uint32_t current_ = 0;   // its index
    std::vector<LocalFolder> folders_;
    std::vector<LocalLink> links_;
    std::unordered_set<Text> used_;  // names of the current folder, as keys
    std::vector<DataExtent> extents_;
    std::vector<std::byte> buffer_;
    std::optional<bool> answerToAll_;
    std::uint32_t errorCount_ = 0;
    bool isHopeless_ = false;
};

void Extraction::report(const Text& line) {
    session_.print(u"\r\n");
    ReportError(task_, line);
    ++errorCount_;
}

Text Extraction::localPath(std::uint32_t folder, TextView name) const {
    Text path(name);
    for (; folder != 0; folder = folders_[folder].parent) path = JoinPath(folders_[folder].name, path);
    return JoinPath(outputFolder_, path);
}

bool Extraction::openOutput(const Text& outputFolder) {
    outputFolder_ = outputFolder;
    folders_.push_back({.parent = 0, .depth = 0, .name = {}, .isNew = false, .mode = 0, .date = {}});
    SystemError error = CreateFolders(outputFolder);
    if (!error.failed()) error = output_.open(outputFolder);
    if (error.failed())
        ReportError(task_, texts_.format(TextId::CannotCreateOutput, {outputFolder, DescribeError(error)}));
    return !error.failed();
}

/// Makes a folder the current one, reached from the output folder step by step so that no link is followed.
bool Extraction::enter(std::uint32_t folder) {
    std::vector<std::uint32_t> chain;
    for (std::uint32_t index = folder; index != 0; index = folders_[index].parent) chain.push_back(index);
    used_.clear();
    current_ = folder;
    SystemError error = folder_.open(output_, u".");
    while (!error.failed() && !chain.empty()) {
        error = folder_.open(folder_, folders_[chain.back()].name);
        chain.pop_back();
    }
    isOpen_ = !error.failed();
    if (error.failed()) reportLocal({}, error);
    return isOpen_;
}

std::uint64_t Extraction::measure(const WalkedFolder& start) {
    std::uint64_t totalBytes = 0;
    const auto add = [&](const WalkedFolder&, const VolumeEntry& entry, std::uint64_t&, bool&) {
        if (entry.kind == EntryKind::File) totalBytes += entry.sizeBytes;
        return !task_.flags.cancel;
    };
    WalkTree(volume_, start, {.enter = {}, .item = add, .leave = {}, .fault = {}});
    return totalBytes;
}

Status Extraction::run(const VolumeEntry& entry, const Text& innerPath, const Text& outputFolder) {
    if (!openOutput(outputFolder)) return Status::Failed;
    WalkedFolder start{innerPath, entry, 0};
    const bool isFolder = entry.kind == EntryKind::Folder;
    session_.beginStep(texts_[TextId::Extracting], isFolder ? measure(start) : entry.sizeBytes);
    bool isEntered = true;
    if (innerPath != u"/" && enter(0)) {
        const WalkedFolder above{Text(innerPath.substr(0, innerPath.rfind(u'/'))), {}, 0};
        extract(above, entry, start.tag, isEntered);
    }
    const TreeVisitor visitor{
        .enter =
            [this](const WalkedFolder& folder) {
                enter(static_cast<std::uint32_t>(folder.tag));
                return !isStopped();
            },
        .item =
            [this](const WalkedFolder& folder, const VolumeEntry& item, std::uint64_t& tag, bool& goesIn) {
                goesIn = isOpen_;
                if (isOpen_) extract(folder, item, tag, goesIn);
                return !isStopped();
            },
        .leave = {},
        .fault =
            [this](const VolumeFault& fault) {
                report(DescribeFault(texts_, fault));
                return !isStopped();
            }};
    if (isFolder && isEntered && !isStopped()) WalkTree(volume_, start, visitor);
    makeLinks();
    finishFolders();
    if (isStopped()) {
        session_.print(u"\r\n");
        return Status::Failed;
    }
    if (errorCount_ > 0) {
        session_.print(u"\r\n");
        TellError(task_, TextId::ExtractedInPart, {errorCount_});
        return Status::Failed;
    }
    session_.finishStep();
    session_.printDone();
    return Status::Ok;
}

void Extraction::extract(const WalkedFolder& folder, const VolumeEntry& entry, std::uint64_t& tag, bool& isEntered) {
    const Text path = (folder.path == u"/" ? Text() : folder.path) + u'/' + entry.name;
    const Text name = takeName(entry);
    if (name != entry.name)
        task_.log.append(
            texts_.format(TextId::ExtractedAs, {ToPrintable(path), ToPrintable(localPath(current_, name))}));
    switch (entry.kind) {
        case EntryKind::Folder: isEntered = makeFolder(path, name, entry, tag); break;
        case EntryKind::File: writeFile(path, name, entry); break;
        case EntryKind::SymbolicLink: links_.push_back({current_, name, entry.linkTarget, entry.date}); break;
        case EntryKind::Other:
            session_.print(u"\r\n");
            session_.printLine(TextId::LeftOut, {ToPrintable(path)});
            break;
    }
}

/// A harmless name that no other item of the folder has.
Text Extraction::takeName(const VolumeEntry& entry) {
    constexpr std::size_t kLongestStem = 200;  // bytes, which leaves room for a number and an extension
    const Text name = LocalName(entry.name);
    if (used_.insert(LocalNameKey(name)).second) return name;
    Text end;
    if (const TextView extension = ExtensionOf(name); !extension.empty() && extension.size() + 1 < name.size())
        end = Text(u".") + Text(CutName(extension, 255 - kLongestStem - 20));
    const TextView stem =
        CutName(TextView(name).substr(0, name.size() - std::min(name.size(), end.size())), kLongestStem);
    for (std::uint32_t number = 2;; ++number) {
        const Text numbered = LocalName(FormatText(u"%s (%u)%s", {stem, number, end}));
        if (used_.insert(LocalNameKey(numbered)).second) return numbered;
    }
}

/// True when nothing has the name, or what has it may be replaced by a file.
bool Extraction::mayReplace(TextView name) {
    FileInfo existing;
    if (folders_[current_].isNew || folder_.examine(name, existing).failed()) return true;
    const Text path = ToPrintable(localPath(current_, name));
    if (existing.kind == FileKind::Folder || existing.kind == FileKind::Other) {
        report(existing.kind == FileKind::Folder ? TextId::OutputIsFolder : TextId::OutputIsNoFile, {path});
        return false;
    }
    if (!answerToAll_) {
        session_.print(u"\r\n");
        const OverwriteAnswer answer =
            session_.promptOverwrite(texts_[TextId::OverwriteCaption], texts_.format(TextId::OverwriteFile, {path}));
        if (answer == OverwriteAnswer::Yes || answer == OverwriteAnswer::Cancel) return answer == OverwriteAnswer::Yes;
        if (answer != OverwriteAnswer::No) answerToAll_ = answer == OverwriteAnswer::YesToAll;
        if (answer == OverwriteAnswer::YesToAll) return true;
    }
    if (!answerToAll_ || !*answerToAll_) task_.log.append(texts_.format(TextId::OutputKept, {path}));
    return answerToAll_ && *answerToAll_;
}

bool Extraction::makeFolder(const Text& path, const Text& name, const VolumeEntry& entry, std::uint64_t& tag) {
    const std::uint32_t depth = folders_[current_].depth + 1;
    if (depth > kDeepest) {
        report(TextId::FolderTooDeep, {ToPrintable(path)});
        return false;
    }
    const std::uint32_t mode = entry.hasAttributes ? entry.mode : kNewFolderMode;
    const SystemError error = folder_.createFolder(name, mode);
    FileInfo existing;
    const bool isThere =
        error.failed() && !folder_.examine(name, existing).failed() && existing.kind == FileKind::Folder;
    if (error.failed() && !isThere) {
        reportLocal(name, error);
        return false;
    }
    tag = folders_.size();
    folders_.push_back({current_, depth, name, !isThere, mode, entry.date});
    return true;
}

/// Copies the first bytes of an extent from `offset` on: as many as are done at once.
SystemError Extraction::copyPiece(const DataExtent& extent, std::uint64_t offset, NewFile& file, std::uint64_t& count,
                                  SystemError& readError) {
    const std::uint64_t rest = extent.sizeBytes - offset;
    const ByteSource& source = image_.source;
    if (extent.offset != DataExtent::kZeros && source.file != nullptr && rest > kBufferBytes) {
        const SystemError error =
            file.append(*source.file, extent.offset + offset, std::min(rest, kKernelCopyBytes), count);
        if (!error.failed()) return {};
        // Whose fault it was, only the source can tell.
        std::array<std::byte, 1> probe;
        std::size_t readCount = 0;
        readError = source.readAt(source.self, extent.offset + offset + count, probe, readCount);
        return readError.failed() ? SystemError{} : error;
    }
    buffer_.resize(kBufferBytes);
    const auto piece = std::span(buffer_).first(static_cast<std::size_t>(std::min<std::uint64_t>(rest, kBufferBytes)));
    std::size_t readCount = piece.size();
    if (extent.offset == DataExtent::kZeros)
        std::ranges::fill(piece, std::byte{0});
    else
        readError = source.readAt(source.self, extent.offset + offset, piece, readCount);
    if (readError.failed()) return {};
    count = readCount;
    return file.write(piece.first(readCount));
}

/// False when the extent could not be read (after a message), not be written or the cancel flag is up.
bool Extraction::copy(const Text& path, const DataExtent& extent, NewFile& file, SystemError& writeError) {
    for (std::uint64_t offset = 0; offset < extent.sizeBytes;) {
        std::uint64_t count = 0;
        SystemError readError;
        writeError = copyPiece(extent, offset, file, count, readError);
        if (readError.failed())
            report(TextId::DataUnreadable, {ToPrintable(path), DescribeError(readError)});
        else if (count == 0 && !writeError.failed())
            report(TextId::DataEndsEarly, {ToPrintable(path)});
        if (count == 0 || readError.failed() || writeError.failed() || task_.flags.cancel) return false;
        offset += count;
        session_.addProgress(count);
    }
    return true;
}

void Extraction::writeFile(const Text& path, const Text& name, const VolumeEntry& entry) {
    if (!mayReplace(name)) return;
    if (const auto fault = volume_.locate(entry, extents_)) return report(DescribeFault(texts_, *fault));
    NewFile file;
    const std::uint32_t mode = entry.hasAttributes ? entry.mode : kNewFileMode;
    if (const SystemError error = file.create(folder_, name, mode); error.failed()) return reportLocal(name, error);
    SystemError writeError;
    for (const DataExtent& extent : extents_) {
        if (copy(path, extent, file, writeError)) continue;
        if (!writeError.failed()) return;
        // A disk that takes no more of this file takes none of the next.
        isHopeless_ = true;
        return reportLocal(name, writeError);
    }
    if (const SystemError error = file.put(entry.date); error.failed()) reportLocal(name, error);
}

void Extraction::makeLinks() {
    for (const LocalLink& link : links_) {
        if (isStopped()) return;
        const bool isReady = isOpen_ && current_ == link.folder;
        if ((!isReady && !enter(link.folder)) || !mayReplace(link.name)) continue;
        if (const SystemError error = folder_.createLink(link.name, link.target, link.date); error.failed())
            reportLocal(link.name, error);
    }
}

/// The deepest first, so that what is done to a folder still finds the ones above it usable.
void Extraction::finishFolders() {
    for (std::size_t index = folders_.size(); index-- > 1;) {
        const LocalFolder& folder = folders_[index];
        if (!folder.isNew) continue;
        if ((!isOpen_ || current_ != folder.parent) && !enter(folder.parent)) continue;
        if (const SystemError error = folder_.finishFolder(folder.name, folder.mode, folder.date); error.failed())
            reportLocal(folder.name, error);
    }
}

}  // namespace

Status ExtractImage(Task& task, const ExtractRequest& request) {
    OpenedImage image;
    if (!OpenImage(task, request.image, image)) return Status::Failed;
    const Texts& texts = task.session.texts();
    std::optional<VolumeFault> fault;
    const std::optional<VolumeEntry> entry = FindEntry(*image.volume, request.innerPath, fault);
    if (fault) ReportError(task, DescribeFault(texts, *fault));
    if (!entry) {
        ReportError(task, texts.format(TextId::ObjectNotFound, {ToPrintable(request.innerPath)}));
        return Status::Failed;
    }
    return Extraction(task, image).run(*entry, NormalInnerPath(request.innerPath), request.outputFolder);
}

}  // namespace tovlark

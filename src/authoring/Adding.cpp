#include "authoring/Adding.h"

#include <utility>

#include "base/Format.h"
#include "base/IsoBytes.h"
#include "platform/Files.h"
#include "platform/Paths.h"

namespace tovlark {

namespace {

constexpr std::size_t kPathLimit = 1024;
constexpr std::uint32_t kReadableByAll = 0444;

/// What keeps a file or folder from taking the place of `existing`; `Count` when nothing does.
TextId ClashWith(const CompilationNode& existing, NodeKind added) {
    const bool isFolder = added == NodeKind::Folder;
    if (existing.isFolder()) return isFolder ? TextId::Count : TextId::FolderNameTaken;
    if (isFolder) return TextId::FileNameTaken;
    return existing.isSpecial() ? TextId::SpecialEntryPresent : TextId::Count;
}

enum class Replacing : std::uint8_t { Yes, No, Cancelled };

Replacing AskToReplace(Task& task, const CompilationNode& existing) {
    const Texts& texts = task.session.texts();
    switch (task.session.promptOverwrite(texts[TextId::ReplaceFile],
                                         texts.format(TextId::ReplaceFileQuestion, {PathInImage(existing)}))) {
        case OverwriteAnswer::Yes:
        case OverwriteAnswer::YesToAll: return Replacing::Yes;
        case OverwriteAnswer::No:
        case OverwriteAnswer::NoToAll: return Replacing::No;
        case OverwriteAnswer::Cancel: break;
    }
    return Replacing::Cancelled;
}

/// True for a path that ends in a separator and ".": only what the folder holds is meant.
bool MeansContents(TextView path) {
    while (!path.empty() && IsPathSeparator(path.back())) path.remove_suffix(1);
    return path.size() >= 2 && path.back() == u'.' && IsPathSeparator(path[path.size() - 2]);
}

/// One walk of the disk. Folders are listed one at a time, so that a deep tree keeps one of them open.
class Adder {
public:
    Adder(Task& task, ImageBuildContext& context) : task_(task), context_(context), texts_(task.session.texts()) {}

    AddResult add(const Text& localPath, CompilationNode& target) {
        if (localPath.empty()) return AddResult::NotFound;
        const Text path = FullPath(localPath);
        const bool isContents = MeansContents(localPath) || IsRootPath(path);
        FileInfo info;
        const SystemError error = isContents ? GetTargetInfo(path, info) : GetFileInfo(path, info);
        if (IsNotFound(error) || (!error.failed() && isContents && info.kind != FileKind::Folder))
            return AddResult::NotFound;
        if (error.failed())
            askToContinue(path, error);
        else if (isContents)
            pending_.push_back({&target, path});
        else
            addNamed(target, path, info);
        while (!pending_.empty() && !task_.flags.cancel) {
            const Pending next = std::move(pending_.back());
            pending_.pop_back();
            addContents(next);
        }
        if (leftOutCount_ > 0) tell(texts_.format(TextId::SpecialFilesLeftOut, {leftOutCount_, firstLeftOut_}));
        return AddResult::Done;
    }

private:
    struct Pending {
        CompilationNode* folder;
        Text path;
    };

    /// Where an entry stands on the disk; the full path is put together only when it is needed.
    struct Place {
        const Text& folderPath;
        TextView name;

        Text path() const { return JoinPath(folderPath, name); }
    };

    /// The path that the user named: what the walk passes over in silence gets a word here.
    void addNamed(CompilationNode& target, const Text& path, const FileInfo& info) {
        const Text folderPath(FolderOf(path));
        const Place place{folderPath, FileName(path)};
        if (info.kind == FileKind::SymbolicLink && !context_.keepSymbolicLinks)
            refuse(path, texts_[TextId::SymbolicLinkSkipped]);
        else if (info.kind == FileKind::Other)
            refuse(path, texts_[TextId::NeitherFileNorFolder]);
        else
            addEntry(target, place, info);
    }

    void addContents(const Pending& pending) {
        const SystemError error = ListFolder(pending.path, [&](const FolderEntry& entry) {
            task_.session.tick();
            const Place place{pending.path, entry.name};
            if (!entry.error.failed())
                addEntry(*pending.folder, place, entry.info);
            else
                refuse(place.path(), DescribeError(entry.error));
            return !task_.flags.cancel;
        });
        if (error.failed()) askToContinue(pending.path, error);
    }

    void addEntry(CompilationNode& target, const Place& place, const FileInfo& info) {
        if (place.folderPath.size() + 1 + place.name.size() >= kPathLimit) {
            task_.log.append(texts_.format(TextId::PathTooLong, {place.path()}));
            return;
        }
        switch (info.kind) {
            case FileKind::Folder: addFolder(target, place, info); break;
            case FileKind::Regular: addFile(target, place, info); break;
            case FileKind::SymbolicLink:
                if (context_.keepSymbolicLinks) addLink(target, place, info);
                break;
            case FileKind::Other:
                task_.log.append(texts_.format(TextId::LeftOut, {place.path()}));
                if (leftOutCount_++ == 0) firstLeftOut_ = place.path();
                break;
        }
    }

    void addFolder(CompilationNode& target, const Place& place, const FileInfo& info) {
        CompilationNode* node = FindChild(target, place.name);
        if (node == nullptr) {
            node = &context_.newNode(NodeKind::Folder, target, place.name);
            takeAttributes(*node, info);
        } else if (const TextId clash = ClashWith(*node, NodeKind::Folder); clash != TextId::Count) {
            refuse(place.path(), texts_[clash]);
            return;
        }
        pending_.push_back({node, place.path()});
    }

    void addFile(CompilationNode& target, const Place& place, const FileInfo& info) {
        if (info.sizeBytes > kLargestIsoFile && !admitsLargeFile(place, info)) return;
        CompilationNode* existing = FindChild(target, place.name);
        if (existing != nullptr && !mayReplace(*existing, place)) return;
        if ((info.mode & kReadableByAll) != kReadableByAll && !opens(place)) return;
        CompilationNode& node = fresh(target, existing, place, NodeKind::File);
        takeAttributes(node, info);
        node.sizeBytes = info.sizeBytes;
        node.sourceFolder = &context_.sourceFolder(place.folderPath);
        node.sourceName = node.longName;
    }

    void addLink(CompilationNode& target, const Place& place, const FileInfo& info) {
        Text linkTarget;
        if (const SystemError error = ReadSymbolicLink(place.path(), linkTarget); error.failed()) {
            refuse(place.path(), DescribeError(error));
            return;
        }
        CompilationNode* existing = FindChild(target, place.name);
        if (existing != nullptr && !mayReplace(*existing, place)) return;
        CompilationNode& node = fresh(target, existing, place, NodeKind::SymbolicLink);
        takeAttributes(node, info);
        node.linkTarget = context_.store(linkTarget);
    }

    bool admitsLargeFile(const Place& place, const FileInfo& info) {
        if (RuleForLargeFile(context_) != LargeFileRule::Refuse) {
            AdmitLargeFile(context_);
            return true;
        }
        startLine();
        ReportError(task_, texts_.format(TextId::LargeFileRefused,
                                         {place.path(), FormatSize(info.sizeBytes), texts_[TextId::LargeFileReason]}));
        TellError(task_, TextId::LargeFileAdvice);
        return false;
    }

    bool mayReplace(const CompilationNode& existing, const Place& place) {
        if (const TextId clash = ClashWith(existing, NodeKind::File); clash != TextId::Count) {
            refuse(place.path(), texts_[clash]);
            return false;
        }
        startLine();
        const Replacing answer = AskToReplace(task_, existing);
        if (answer == Replacing::No) refuse(place.path(), texts_[TextId::NotReplaced]);
        return answer == Replacing::Yes;
    }

    bool opens(const Place& place) {
        InputFile file;
        const SystemError error = file.open(place.path());
        if (error.failed()) askToContinue(place.path(), error);
        return !error.failed();
    }

    /// A new node, or the one that is replaced with everything forgotten that it was.
    CompilationNode& fresh(CompilationNode& target, CompilationNode* existing, const Place& place, NodeKind kind) {
        if (existing == nullptr) return context_.newNode(kind, target, place.name);
        CompilationNode blank;
        blank.parent = existing->parent;
        blank.longName = existing->longName;
        blank.kind = kind;
        return *existing = blank;
    }

    void takeAttributes(CompilationNode& node, const FileInfo& info) const {
        node.date = context_.useCreationTime ? info.created : info.modified;
        node.mode = info.mode;
        node.owner = info.owner;
        node.group = info.group;
        node.links = info.links;
    }

    void askToContinue(const Text& path, SystemError error) {
        startLine();
        ReportError(task_, texts_.format(TextId::CannotRead, {path, DescribeError(error)}));
        const Text question = texts_.format(
            TextId::OpenFailedQuestion, {texts_[TextId::OpenFileFailed], path, texts_[TextId::DoYouWantToContinue]});
        if (task_.session.prompt(question, Answer::Yes | Answer::No) != Answer::Yes) task_.flags.cancel = true;
        isLineOpen_ = true;
    }

    void refuse(const Text& path, TextView reason) {
        startLine();
        ReportError(task_, texts_.format(TextId::CannotCopy, {path, reason}));
    }

    void tell(const Text& line) {
        startLine();
        task_.session.printLine(line);
    }

    /// The caller's "Adding ..." and an answer leave their line open.
    void startLine() {
        if (std::exchange(isLineOpen_, false)) task_.session.print(u"\r\n");
    }

    Task& task_;
    ImageBuildContext& context_;
    const Texts& texts_;
    std::vector<Pending> pending_;
    std::uint64_t leftOutCount_ = 0;
    Text firstLeftOut_;
    bool isLineOpen_ = true;
};

bool IsAtOrBelow(const CompilationNode& node, const CompilationNode& folder) {
    for (const CompilationNode* step = &node; step != nullptr; step = step->parent)
        if (step == &folder) return true;
    return false;
}

/// Checks a move or copy and makes room for it; says why not with the words of `refusal`.
bool MakeRoom(Task& task, ImageBuildContext& context, const CompilationNode& node, CompilationNode& target,
              TextId refusal) {
    CompilationNode* existing = nullptr;
    TextId reason = TextId::Count;
    if (IsAtOrBelow(target, node))
        reason = TextId::DestinationIsSubfolder;
    else if (node.parent == &target)
        reason = TextId::DestinationIsSameFolder;
    else if (existing = FindChild(target, node.longName); existing != nullptr) {
        reason = node.isFolder() && existing->isFolder() ? TextId::FolderNameTaken : ClashWith(*existing, node.kind);
        if (reason == TextId::Count) {
            const Replacing answer = AskToReplace(task, *existing);
            if (answer == Replacing::Cancelled) return false;
            if (answer == Replacing::No) reason = TextId::NotReplaced;
        }
    }
    if (reason != TextId::Count) {
        const Texts& texts = task.session.texts();
        ReportError(task, texts.format(refusal, {PathInImage(node), texts[reason]}));
        return false;
    }
    if (existing != nullptr) DeleteNode(context, *existing);
    return true;
}

CompilationNode& CopyOne(ImageBuildContext& context, const CompilationNode& node, CompilationNode& target) {
    CompilationNode& copy = context.newNode(node.kind, target, node.longName);
    CompilationNode filled = node;
    filled.parent = copy.parent;
    filled.folder = copy.folder;
    filled.longName = copy.longName;
    return copy = filled;
}

}  // namespace

CompilationNode* MakeFolders(Task& task, ImageBuildContext& context, TextView path) {
    const Texts& texts = task.session.texts();
    CompilationNode* folder = context.root;
    for (std::size_t start = 0; start < path.size();) {
        const std::size_t end = std::min(path.find(u'/', start), path.size());
        const TextView name = path.substr(start, end - start);
        start = end + 1;
        if (name.empty()) continue;
        if (name == u"." || name == u".." || name.size() > kMaximumNameUnits) {
            ReportError(task, texts.format(TextId::BadFolderName, {name}));
            return nullptr;
        }
        CompilationNode* child = FindChild(*folder, name);
        if (child != nullptr && !child->isFolder()) {
            ReportError(task, texts.format(TextId::CannotCopy, {path, texts[TextId::FileNameTaken]}));
            return nullptr;
        }
        folder = child != nullptr ? child : &context.newNode(NodeKind::Folder, *folder, name);
    }
    return folder;
}

AddResult AddFromDisk(Task& task, ImageBuildContext& context, const Text& localPath, CompilationNode& folder) {
    return Adder(task, context).add(localPath, folder);
}

LargeFileRule RuleForLargeFile(const ImageBuildContext& context) {
    if (!context.isoEnabled) return LargeFileRule::Allowed;
    if (context.fileSystemsFixed) return LargeFileRule::Refuse;
    const bool needsIso = context.boot.has_value() || context.rockRidge == RockRidgeChoice::On;
    return needsIso ? LargeFileRule::KeepInUdfTreeOnly : LargeFileRule::SwitchToUdf;
}

void AdmitLargeFile(ImageBuildContext& context) {
    const LargeFileRule rule = RuleForLargeFile(context);
    if (rule == LargeFileRule::Allowed) return;
    if (rule == LargeFileRule::SwitchToUdf) context.isoEnabled = false;
    context.udfEnabled = true;
    context.jolietEnabled = false;
}

void DeleteNode(ImageBuildContext& context, CompilationNode& node) {
    if (node.parent == nullptr) return;
    std::erase_if(context.priority, [&](const CompilationNode* file) { return IsAtOrBelow(*file, node); });
    Unlink(node);
}

Status MoveNode(Task& task, ImageBuildContext& context, CompilationNode& node, CompilationNode& target) {
    if (!MakeRoom(task, context, node, target, TextId::CannotMove)) return Status::Failed;
    Unlink(node);
    Link(target, node);
    return Status::Ok;
}

Status CopyNode(Task& task, ImageBuildContext& context, const CompilationNode& node, CompilationNode& target) {
    if (!MakeRoom(task, context, node, target, TextId::CannotCopy)) return Status::Failed;
    std::vector<std::pair<const CompilationNode*, CompilationNode*>> pending{{&node, &CopyOne(context, node, target)}};
    while (!pending.empty()) {
        const auto [from, to] = pending.back();
        pending.pop_back();
        if (!from->isFolder()) continue;
        for (const CompilationNode* child : from->folder->children)
            pending.emplace_back(child, &CopyOne(context, *child, *to));
    }
    return Status::Ok;
}

}  // namespace tovlark

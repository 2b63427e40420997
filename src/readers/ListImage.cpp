#include "readers/ListImage.h"

#include "base/Dates.h"
#include "readers/OpenedImage.h"
#include "readers/TreeWalk.h"

namespace tovlark {

namespace {

constexpr TextView kFolderLine = u"%-18s  %-18s  %s\r\n", kFileLine = u"%-18s  %18s  %s\r\n";
constexpr TextView kFolderMark = u"<DIR>", kTotal = u"  %s %s\r\n\r\n";

class Listing {
public:
    explicit Listing(Task& task) : task_(task), session_(task.session), texts_(task.session.texts()) {}

    Status run(Volume& volume, const WalkedFolder& start, bool isRecursive) {
        const TreeVisitor visitor{
            .enter = [this](const WalkedFolder& folder) { return begin(folder); },
            .item =
                [this, isRecursive](const WalkedFolder&, const VolumeEntry& entry, std::uint64_t&, bool& isEntered) {
                    isEntered = isRecursive;
                    return print(entry);
                },
            .leave = [this](const WalkedFolder&) { return finish(); },
            .fault =
                [this](const VolumeFault& fault) {
                    hasFault_ = true;
                    ReportError(task_, DescribeFault(texts_, fault));
                    return true;
                }};
        const bool isWhole = WalkTree(volume, start, visitor);
        session_.print({});  // flushes
        return isWhole && !hasFault_ ? Status::Ok : Status::Failed;
    }

private:
    bool begin(const WalkedFolder& folder) {
        fileCount_ = folderCount_ = totalBytes_ = 0;
        session_.printRaw(texts_.format(TextId::ObjectsIn, {ToPrintable(folder.path)}));
        return !task_.flags.cancel;
    }

    bool print(const VolumeEntry& entry) {
        const bool isFolder = entry.kind == EntryKind::Folder;
        const Text date = entry.date ? localTime(*entry.date) : Text();
        const Text name = ToPrintable(entry.name);
        if (isFolder) {
            ++folderCount_;
            session_.printRaw(FormatText(kFolderLine, {date, kFolderMark, name}));
        } else {
            ++fileCount_;
            totalBytes_ += entry.sizeBytes;
            session_.printRaw(FormatText(kFileLine, {date, FormatGrouped(entry.sizeBytes), name}));
        }
        return !task_.flags.cancel;
    }

    bool finish() {
        session_.printRaw(texts_.format(TextId::FilesAndFolders, {fileCount_, folderCount_}));
        session_.printRaw(FormatText(kTotal, {FormatGrouped(totalBytes_), texts_[TextId::Bytes]}));
        return !task_.flags.cancel;
    }

    Text localTime(UnixSeconds when) const {
        const CalendarTime time = ToLocal(task_.clock, when);
        return FormatText(u"%04d-%02d-%02d %02d:%02d", {time.year, time.month, time.day, time.hour, time.minute});
    }

    Task& task_;
    ConsoleSession& session_;
    const Texts& texts_;
    std::uint64_t fileCount_ = 0, folderCount_ = 0, totalBytes_ = 0;  // of the folder being listed
    bool hasFault_ = false;
};

}  // namespace

Status ListImage(Task& task, const ListRequest& request) {
    OpenedImage image;
    if (!OpenImage(task, request.image, image)) return Status::Failed;
    const Texts& texts = task.session.texts();
    std::optional<VolumeFault> fault;
    const std::optional<VolumeEntry> folder = FindEntry(*image.volume, request.innerPath, fault);
    if (fault) ReportError(task, DescribeFault(texts, *fault));
    if (!folder || folder->kind != EntryKind::Folder) {
        ReportError(task, texts.format(TextId::FolderNotFound));
        TellError(task, TextId::NoSuchFolder, {request.image, ToPrintable(NormalInnerPath(request.innerPath))});
        return Status::Failed;
    }
    return Listing(task).run(*image.volume, {NormalInnerPath(request.innerPath), *folder}, request.isRecursive);
}

}  // namespace tovlark

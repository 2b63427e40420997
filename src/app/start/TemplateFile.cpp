#include <span>

#include "app/session/Texts.h"
#include "app/start/Start.h"
#include "platform/Files.h"
#include "platform/Paths.h"
#include "platform/Process.h"

namespace tovlark {

namespace {

constexpr TextView kUsualName = u"Template.ini";
// The delay lets this process end first.
constexpr TextView kElevatedWords = u"/sleep=3000 create_lang_file";

bool MayReplace(Task& task, const Text& path) {
    FileInfo info;
    if (GetTargetInfo(path, info).failed()) return true;
    if (info.kind != FileKind::Regular) {
        TellError(task, info.kind == FileKind::Folder ? TextId::OutputIsFolder : TextId::OutputIsNoFile, {path});
        return false;
    }
    const Texts& texts = task.session.texts();
    const OverwriteAnswer answer =
        task.session.promptOverwrite(texts[TextId::OverwriteCaption], texts.format(TextId::OverwriteFile, {path}));
    if (answer == OverwriteAnswer::Yes || answer == OverwriteAnswer::YesToAll) return true;
    TellNote(task, TextId::TemplateNotWritten, {path});
    return false;
}

SystemError WriteTemplateFile(const Text& path) {
    const std::string bytes = ToUtf8(LanguageTemplate());
    NewFile file;
    SystemError error = file.create(path);
    if (!error.failed()) error = file.write(std::as_bytes(std::span(bytes)));
    if (!error.failed()) error = file.commit();
    return error;
}

}  // namespace

Status WriteLanguageTemplate(Task& task, const Text& path) {
    const bool isUsualPlace = path.empty();
    const Text target = isUsualPlace ? JoinPath(LanguageFolder(), kUsualName) : FullPath(path);
    // The usual file is ours; one that the user named may not be.
    if (!isUsualPlace && !MayReplace(task, target)) return Status::Failed;
    SystemError error = isUsualPlace ? CreateFolders(LanguageFolder()) : SystemError{};
    if (!error.failed()) error = WriteTemplateFile(target);
    if (!error.failed()) {
        task.session.printLine(TextId::LanguageTemplateWritten, {target});
        return Status::Ok;
    }
    if (isUsualPlace && IsAccessDenied(error) && !IsAdministrator() &&
        !RestartElevated(Text(kElevatedWords)).failed()) {
        task.session.printLine(TextId::RestartsElevated);
        return Status::Ok;
    }
    TellError(task, TextId::CannotWriteLanguageTemplate, {target, DescribeError(error)});
    ExplainMissingFolder(task, target, error);
    return Status::Failed;
}

}  // namespace tovlark

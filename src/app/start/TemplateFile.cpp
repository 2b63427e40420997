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
    if (const auto reason = isUsualPlace ? std::nullopt : WhatKeepsFile(task, target)) {
        TellError(task, *reason, {target});
        return Status::Failed;
    }
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

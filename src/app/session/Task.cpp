#include "app/session/Task.h"

#include "platform/Files.h"
#include "platform/Paths.h"

namespace tovlark {

void TellNote(Task& task, TextId text, std::initializer_list<FormatArgument> arguments) {
    const Text line = task.session.texts().format(text, arguments);
    task.session.printLine(line);
    task.log.append(line);
}

void TellError(Task& task, const Text& line) {
    task.session.printError(line);
    task.log.append(line);
}

void TellError(Task& task, TextId text, std::initializer_list<FormatArgument> arguments) {
    TellError(task, task.session.texts().format(text, arguments));
}

void ReportError(Task& task, const Text& line) {
    TellError(task, line);
    task.flags.error = true;
}

std::optional<TextId> WhatKeepsFile(Task& task, const Text& path) {
    FileInfo info;
    if (GetTargetInfo(path, info).failed()) return std::nullopt;
    if (info.kind == FileKind::Folder) return TextId::OutputIsFolder;
    if (info.kind != FileKind::Regular) return TextId::OutputIsNoFile;
    const Texts& texts = task.session.texts();
    const OverwriteAnswer answer =
        task.session.promptOverwrite(texts[TextId::OverwriteCaption], texts.format(TextId::OverwriteFile, {path}));
    const bool isGivenUp = answer == OverwriteAnswer::Yes || answer == OverwriteAnswer::YesToAll;
    return isGivenUp ? std::nullopt : std::optional(TextId::OutputKept);
}

void ExplainMissingFolder(Task& task, const Text& path, SystemError error) {
    if (!IsNotFound(error)) return;
    const Text folder(FolderOf(FullPath(path)));
    FileInfo info;
    if (IsNotFound(GetTargetInfo(folder, info))) TellError(task, TextId::FolderMissing, {folder});
}

}  // namespace tovlark

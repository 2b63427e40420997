#include "app/command/Grammars.h"
#include "app/command/Handlers.h"
#include "app/command/SourceImage.h"
#include "authoring/OpenForEditing.h"
#include "platform/Paths.h"

namespace tovlark {

namespace {

bool HasCommand(const CommandContext& context) { return context.request.command != CommandKind::None; }

std::size_t TakeImageAndPath(CommandContext& context, Words words, CommandKind kind) {
    if (HasCommand(context) || words.size() < 3) return 0;
    context.request.source = ToLocalSource(words[1]);
    context.request.innerPath = ToPathInImage(words[2]);
    context.request.command = kind;
    return 3;
}

/// For words that work on an image while the line is still being parsed.
std::size_t RefuseWorkOnImage(CommandContext& context, Words words, TextId cannotOpen, std::size_t taken) {
    context.isDoomed = true;
    if (CanOpenImage(context.task, words[1], cannotOpen)) TellError(context.task, TextId::NotInThisBuild, {words[0]});
    return taken;
}

}  // namespace

std::size_t Refuse(CommandContext& context, TextId reason, std::initializer_list<FormatArgument> arguments) {
    TellError(context.task, reason, arguments);
    return 0;
}

std::size_t Reject(CommandContext&, Words) { return 0; }

std::size_t AcceptWithoutEffect(CommandContext&, Words) { return 1; }

std::size_t ListCommand(CommandContext& context, Words words) {
    return TakeImageAndPath(context, words, CommandKind::List);
}

std::size_t ExtractCommand(CommandContext& context, Words words) {
    return TakeImageAndPath(context, words, CommandKind::Extract);
}

std::size_t RipCommand(CommandContext& context, Words words) {
    // A drive alone says nothing about where the tracks go.
    if (HasCommand(context) || words.size() < 3) return 0;
    context.request.source = ToLocalSource(words[1]);
    context.request.command = CommandKind::Rip;
    return 2;
}

std::size_t UnmountCommand(CommandContext& context, Words words) {
    if (HasCommand(context) || words.size() < 2) return 0;
    const bool isAll = EqualsIgnoringCase(words[1], u"all");
    if (!isAll) context.request.target = words[1];
    context.request.command = isAll ? CommandKind::UnmountAll : CommandKind::Unmount;
    return 2;
}

std::size_t CreateCommand(CommandContext& context, Words words) {
    if (HasCommand(context) || words.size() < 2) return 0;
    context.request.source = words[1];  // parsed again: it is the next switch
    context.request.command = CommandKind::Create;
    return 1;
}

std::size_t EditCommand(CommandContext& context, Words words) {
    if (HasCommand(context) || words.size() < 2) return 0;
    context.request.source = FullPath(words[1]);
    if (!context.compilation.root->folder->children.empty()) return Refuse(context, TextId::EditComesFirst);
    if (OpenForEditing(context.task, context.compilation, context.request.source) == Status::Ok)
        context.request.command = CommandKind::Edit;
    else
        context.isDoomed = true;
    return 2;
}

std::size_t ShowCommentCommand(CommandContext& context, Words words) {
    if (words.size() < 2) return Refuse(context, TextId::ShowCommentUsage);
    return RefuseWorkOnImage(context, words, TextId::CannotOpenFile, 2);
}

std::size_t ExtractCommentCommand(CommandContext& context, Words words) {
    if (words.size() < 3) return Refuse(context, TextId::ExtractCommentUsage);
    return RefuseWorkOnImage(context, words, TextId::CannotOpenFile, 3);
}

}  // namespace tovlark

#include <algorithm>
#include <array>

#include "app/command/Grammars.h"
#include "app/command/Handlers.h"
#include "platform/Files.h"

namespace tovlark {

namespace {

constexpr std::size_t kLongestPassword = 64;  // characters
constexpr std::size_t kLongestComment = 131'072;

/// As much of the text as fits whole characters into the limit; what the code page does not have becomes "?".
std::string ToNarrow(const CodePage& codePage, TextView text, std::size_t limitBytes) {
    std::string bytes;
    for (std::size_t position = 0; position < text.size();) {
        std::string character;
        if (!codePage.encode(NextCodePoint(text, position), character)) character = "?";
        if (bytes.size() + character.size() > limitBytes) break;
        bytes += character;
    }
    return bytes;
}

}  // namespace

std::size_t AssumeYesSwitch(CommandContext& context, Words) {
    context.request.set(Switch::AssumeYes);
    context.task.session.assumeYes();
    return 1;
}

std::size_t OutputTypeSwitch(CommandContext& context, Words words) {
    const auto type = words.size() < 2 ? std::nullopt : ParseOutputType(words[1]);
    if (!type) return 0;
    context.request.outputType = *type;
    return 2;
}

std::size_t RipToSingleFileSwitch(CommandContext& context, Words) {
    context.request.ripToSingleFile = true;
    return 1;
}

std::size_t SpeedSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    const auto speed = ParseSpeed(words[1]);
    if (!speed) return Refuse(context, TextId::InvalidSpeed);
    context.request.speedMedia = speed->media;
    context.request.speedFactor = speed->factor;
    return 2;
}

std::size_t PasswordSwitch(CommandContext& context, Words words) {
    if (words.size() < 2 || words[1].size() > CommandRequest::kLongestWord) return 0;
    context.request.password = words[1];
    return 2;
}

std::size_t NewPasswordSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    const Text& password = words[1];
    std::string bytes;
    for (std::size_t position = 0; position < password.size();)
        if (!context.compilation.codePage.encode(NextCodePoint(password, position), bytes))
            return Refuse(context, TextId::PasswordNotInCodePage, {context.compilation.codePage.number()});
    if (password.empty() || password.size() > kLongestPassword || bytes.size() > ImageOptions::kPasswordBytes)
        return Refuse(context, TextId::PasswordLength);
    context.request.imageOptions.newPassword = bytes;
    context.request.imageOptions.newPasswordSet = true;
    return 2;
}

std::size_t VolumeSizeSwitch(CommandContext& context, Words words) {
    const auto size = words.size() < 2 ? std::nullopt : ParseVolumeSize(words[1]);
    if (!size) return 0;
    context.request.imageOptions.volumeSizeBytes = *size;
    context.request.imageOptions.volumeSizeSet = true;
    return 2;
}

std::size_t MethodSwitch(CommandContext& context, Words words) {
    constexpr std::array<TextView, 3> kLevels{u"normal", u"better", u"best"};  // levels 1, 2, 3
    if (words.size() < 2) return 0;
    const auto level = std::ranges::find_if(kLevels, [&](TextView word) { return EqualsIgnoringCase(word, words[1]); });
    if (level == kLevels.end()) return 0;
    context.psa.level = static_cast<std::uint32_t>(level - kLevels.begin()) + 1;
    return 2;
}

std::size_t CommentSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return Refuse(context, TextId::CommentUsage);
    context.request.imageOptions.comment = ToNarrow(
        context.compilation.codePage, TextView(words[1]).substr(0, kLongestComment), ImageOptions::kCommentBytes);
    return 2;
}

std::size_t CommentFromFileSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    std::string comment(ImageOptions::kCommentBytes, '\0');
    std::size_t readCount = 0;
    InputFile file;
    SystemError error = file.open(words[1]);
    if (!error.failed()) error = file.readAt(0, std::as_writable_bytes(std::span(comment)), readCount);
    if (error.failed()) {
        Refuse(context, TextId::CommentFileFailed, {words[1]});
        return Refuse(context, TextId::CannotOpenImage, {words[1], DescribeError(error)});
    }
    comment.resize(readCount);
    context.request.imageOptions.comment = std::move(comment);
    return 2;
}

std::size_t BootModeSwitch(CommandContext& context, Words words) {
    return words.size() >= 2 && ApplyBootMode(words[1], context.usbBoot) ? 2 : 0;
}

std::size_t PartitionStyleSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    const auto style = ParsePartitionStyle(words[1]);
    if (!style) return Refuse(context, TextId::PartitionStyleUsage);
    context.usbBoot.style = *style;
    return 2;
}

std::size_t PartitionTypeSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    const auto type = ParsePartitionType(words[1]);
    if (!type) return Refuse(context, TextId::PartitionTypeUsage);
    context.usbBoot.type = *type;
    return 2;
}

}  // namespace tovlark

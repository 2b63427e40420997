#include "app/command/Grammars.h"
#include "app/command/Handlers.h"
#include "app/session/Settings.h"
#include "platform/Files.h"

namespace tovlark {

namespace {

/// One letter of -OO; with a number after it or without.
struct TuningRow {
    char16_t letter;
    bool takesNumber;
    void (*apply)(PsaTuning& tuning, std::uint32_t number);
};

constexpr TuningRow kTuning[] = {
    {u'A', true, [](PsaTuning& tuning, std::uint32_t number) { tuning.a = number; }},
    {u'B', true, [](PsaTuning& tuning, std::uint32_t number) { tuning.b = number; }},
    {u'C', false, [](PsaTuning& tuning, std::uint32_t) { tuning.c = true; }},
    {u'E', false, [](PsaTuning& tuning, std::uint32_t) { tuning.e = true; }},
    {u'H', false, [](PsaTuning& tuning, std::uint32_t) { tuning.h = false; }},
    {u'I', true, [](PsaTuning& tuning, std::uint32_t number) { tuning.i = number; }},
    {u'L', true, [](PsaTuning& tuning, std::uint32_t number) { tuning.level = number; }},
    {u'M', false, [](PsaTuning& tuning, std::uint32_t) { tuning.m = true; }},
    {u'N', false, [](PsaTuning& tuning, std::uint32_t) { tuning.n = true; }},
    {u'S', true, [](PsaTuning& tuning, std::uint32_t number) { tuning.sizeBytes = std::uint64_t{number} * 1024; }},
    {u'Z', false, [](PsaTuning& tuning, std::uint32_t) { tuning.z = true; }},
};

}  // namespace

std::size_t CurrentFolderSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    const SystemError error = words[1].empty() ? SystemError{} : SetCurrentFolder(words[1]);
    return error.failed() ? Refuse(context, TextId::CannotOpenImage, {words[1], DescribeError(error)}) : 2;
}

std::size_t WindowSwitch(CommandContext& context, Words words) {
    const auto handle = words.size() < 2 ? std::nullopt : ParseWindowHandle(words[1]);
    if (!handle) return 0;
    context.request.callerWindow = *handle;
    return 2;
}

std::size_t EventSwitch(CommandContext& context, Words words) {
    if (words.size() < 2 || words[1].size() > CommandRequest::kLongestWord) return 0;
    context.request.eventName = words[1];
    return 2;
}

std::size_t TuningSwitch(CommandContext& context, Words words) {
    if (words.size() < 2 || words[1].size() != 1) return 0;
    for (const TuningRow& row : kTuning) {
        if (row.letter != words[1][0]) continue;
        if (row.takesNumber && words.size() < 3) return 0;
        row.apply(context.psa, row.takesNumber ? ParseLeadingNumber(words[2]) : 0);
        return row.takesNumber ? 3 : 2;
    }
    return 0;
}

std::size_t ShellIntegrationSwitch(CommandContext& context, Words) {
    SettingsStore& settings = context.task.settings;
    std::uint32_t bits = settings.getInt(kShellIntegration);
    const Text choice = settings.getString(u"Status1", {});
    if (choice.starts_with(u'2')) bits |= 1;
    if (choice.starts_with(u'1')) bits &= ~1u;
    // The installer that asks looks at the setting, not at the status: the process ends with 0 in any case.
    static_cast<void>(settings.setShellIntegration(bits));
    context.endStatus = Status::Ok;
    return 1;
}

}  // namespace tovlark

#include "platform/Main.h"

#include "app/session/Settings.h"
#include "app/session/Texts.h"
#include "platform/ConsoleStreams.h"
#include "platform/FrontEnd.h"

namespace tovlark {

namespace {

Text Describe(const FrontEndNotice& notice) {
    const Texts texts(LoadLanguage(SettingsStore(OpenSettings()).getInt(kLanguage)));
    const Text reason = notice.error.failed() ? DescribeError(notice.error) : Text();
    switch (notice.event) {
        case FrontEndEvent::ProgramMissing: return texts.format(TextId::ProgramMissing, {notice.subject});
        case FrontEndEvent::CannotStart: return texts.format(TextId::CannotStartProgram, {notice.subject, reason});
        case FrontEndEvent::NoRunFolder: return texts.format(TextId::NoRunFolder, {notice.subject, reason});
        case FrontEndEvent::RunFolderNotPrivate: return texts.format(TextId::RunFolderNotPrivate, {notice.subject});
        case FrontEndEvent::EndedEarly: return texts.format(TextId::ProgramEndedEarly, {notice.subject});
        case FrontEndEvent::EndedBySignal: return texts.format(TextId::ProgramEndedBySignal, {notice.number});
        case FrontEndEvent::EndedByException: return texts.format(TextId::ProgramEndedByException, {notice.number});
        case FrontEndEvent::ReaderGone: return texts.format(TextId::ReaderGone, {reason});
        case FrontEndEvent::StoppedAtOnce: return texts.format(TextId::StoppedAtOnce);
        case FrontEndEvent::StepFailed: return texts.format(TextId::StepFailed);
    }
    return {};
}

}  // namespace

int ProgramMain(const std::vector<Text>& words) {
    return RunConsoleProgram(words, [](const FrontEndNotice& notice) { WriteErrorLine(Describe(notice)); });
}

}  // namespace tovlark

#include "app/session/Texts.h"

#include <iterator>

namespace tovlark {

namespace {

struct TextRow {
    TextId id;
    std::uint32_t number;
    TextView words;
};

constexpr TextRow kTexts[] = {
    // Session
    {TextId::Version, 16, u"Version"},
    {TextId::StepDone, 17, u" done."},
    {TextId::InputEnded, 18, u"The input ended before the question was answered."},
    {TextId::CannotAnswerYes, 19, u"This question cannot be answered with \"Yes\" (-y): %s"},
    {TextId::ConfirmReset, 20, u"Are you sure you want to reset the application to the default configuration?"},
    // Commands
    {TextId::NoParameters, 100, u"No parameters."},
    // Authoring
    {TextId::CannotCopy, 400, u"Cannot copy %s: %s"},
    {TextId::CannotMove, 401, u"Cannot move %s: %s"},
    {TextId::FolderNameTaken, 402,
     u"A folder with the name you specified already exists. Please specify a different folder name."},
    {TextId::FileNameTaken, 403,
     u"A file with the name you specified already exists. Please specify a different file name."},
    {TextId::SpecialEntryPresent, 404, u"A special entry already present on the target location."},
    {TextId::OpenFailedQuestion, 405, u"%s\r\n\r\n%s\r\n\r\n%s"},
    {TextId::OpenFileFailed, 406, u"Open file failed."},
    {TextId::DoYouWantToContinue, 407, u"Do you want to continue?"},
    {TextId::LargeFileRefused, 408, u"%s (%s)\r\n\r\n%s"},
    {TextId::LargeFileReason, 409, u"The maximum allowed file size on disc is 4GB if ISO 9660 is enabled."},
    {TextId::LargeFileNeedsUdf, 410, u"A file of 4 GB or more needs UDF, which this build cannot write yet."},
    {TextId::DestinationIsSameFolder, 411, u"The destination folder is the same as the source folder."},
    {TextId::DestinationIsSubfolder, 412, u"The destination folder is a subfolder of the source folder."},
    {TextId::ReplaceFile, 413, u"Replace file"},
    {TextId::ReplaceFileQuestion, 414, u"%s already exists in the image. Do you want to replace it? "},
    {TextId::NotReplaced, 415, u"The file in the image was kept."},
    {TextId::SymbolicLinkSkipped, 416, u"Symbolic links are not followed."},
    {TextId::NeitherFileNorFolder, 417, u"It is neither a file nor a folder."},
    {TextId::SpecialFilesLeftOut, 418, u"Sockets, devices and pipes left out: %u, the first is %s"},
    {TextId::LeftOut, 419, u"Left out, neither file nor folder: %s"},
    {TextId::PathTooLong, 420, u"Skipped, the path has 1024 characters or more: %s"},
    {TextId::BadFolderName, 421, u"A folder in the image cannot have this name: %s"},
    {TextId::NamesWillBeTruncated, 422,
     u"Due to file system limitation, the following file name or folder name will be truncated. Do you want to "
     u"continue?"},
    {TextId::FileNameWillChange, 423, u"The file name will be changed to:"},
    {TextId::FolderNameWillChange, 424, u"The folder name will be changed to:"},
    {TextId::NameChange, 425, u"%s -> %s"},
    {TextId::MoreNamesWillChange, 426, u"%u more names will be changed."},
    {TextId::ScanningFiles, 427, u"Scanning and optimizing files layout..."},
    {TextId::ScannedFiles, 428, u"Total %d files, Finished %d files"},
    {TextId::OutputLeftOut, 429, u"The image file is left out of its own image: %s"},
    {TextId::CannotRead, 430, u"Cannot read %s: %s"},
    // Image writer
    {TextId::WritingImage, 500, u"Writing the image"},
    {TextId::SourceUnreadable, 501, u"%s cannot be read from byte %u of %u on: %s. The image holds zeros instead."},
    {TextId::SourceShorter, 502, u"%s ended early, at byte %u of %u: the image holds zeros instead of the rest."},
    {TextId::SourceLonger, 503,
     u"%s became longer than the %u bytes that it had, %u now: the image holds its beginning."},
    {TextId::OverwriteCaption, 504, u"File exists"},
    {TextId::OverwriteFile, 505, u"Do you want to replace %s? "},
    {TextId::OutputKept, 506, u"%s was not made: the file that exists is kept."},
    {TextId::OutputIsFolder, 507, u"%s cannot be written: it is a folder."},
    {TextId::OutputIsNoFile, 508, u"%s cannot be written: it is not an ordinary file."},
    {TextId::CannotCreateOutput, 509, u"%s cannot be written: %s."},
    {TextId::ErrorWritingData, 520, u"Error writing data."},
    {TextId::BuildCancelled, 521, u"Cancelled: the image was not made."},
    {TextId::BuildOpenFailed, 522, u"Open file failed."},
    {TextId::BuildNoUniqueName, 523, u"No unique name is left for this file or folder in its folder of the image."},
    {TextId::BuildTooManyFolders, 524,
     u"More than 65,535 folders do not fit an ISO 9660 image. Add fewer folders, or pack some of them into one file."},
    {TextId::BuildPathTooDeep, 525, u"The folders of the image lie too deep."},
    {TextId::BuildImageTooLarge, 526, u"The image would have more sectors than ISO 9660 can count."},
    {TextId::BuildFileTooLarge, 527, u"The maximum allowed file size on disc is 4GB if ISO 9660 is enabled."},
    {TextId::BuildNamesRefused, 528, u"The image was not made, because its changed names were not agreed to."},
    {TextId::BuildNotSupported, 529, u"This build cannot write UDF or boot images yet: the image was not made."},
    {TextId::BuildOutOfMemory, 530, u"Out of memory. Program abort."},
    // Start and front end
    {TextId::StartedWithoutConsole, 600,
     u"Tovlark has no windows yet: please use the console front end, for example \"tvcmd -?\"."},
    {TextId::LanguageTemplateWritten, 601, u"The language template was written to %s."},
    {TextId::CannotWriteLanguageTemplate, 602, u"Cannot write the language template %s: %s."},
    {TextId::RestartsElevated, 603, u"Writing the language template needs administrative rights; asking for them."},
    {TextId::TemplateNotWritten, 604, u"%s was not written."},
    {TextId::CannotSignalEvent, 605, u"Cannot signal the event %s: %s."},
    {TextId::OutOfMemory, 606, u"There is not enough memory to go on."},
    {TextId::ProgramMissing, 610, u"Cannot find the program: %s is missing."},
    {TextId::CannotStartProgram, 611, u"Cannot start %s: %s."},
    {TextId::NoRunFolder, 612, u"Cannot make the console pipes in %s: %s."},
    {TextId::RunFolderNotPrivate, 613,
     u"Cannot make the console pipes: %s is not a folder that belongs to this user alone."},
    {TextId::ProgramEndedEarly, 614, u"tovlark ended before it had opened its console pipes."},
    {TextId::ProgramEndedBySignal, 615, u"tovlark ended by signal %u."},
    {TextId::ProgramEndedByException, 616, u"tovlark ended by exception %08x."},
    {TextId::ReaderGone, 617, u"Cannot write to standard output: %s. The command is cancelled."},
    {TextId::StoppedAtOnce, 618, u"Stopped at once, without tidying up."},
    {TextId::StepFailed, 619, u"The program reported that a step failed."},
    // Settings tool
    {TextId::TvsetPurpose, 700, u"Shows and changes the settings of Tovlark."},
    {TextId::TvsetList, 701, u"Show every setting with its value, its default and what it accepts"},
    {TextId::TvsetGet, 702, u"Show the value of one setting"},
    {TextId::TvsetSet, 703, u"Change one setting"},
    {TextId::TvsetReset, 704, u"Put the burning options and the window's place back to their defaults"},
    {TextId::TvsetJson, 705, u"Print an array of objects"},
    {TextId::TvsetName, 706, u"Name of the setting, in any case"},
    {TextId::TvsetValue, 707, u"The new value"},
    {TextId::TvsetYes, 708, u"Do not ask"},
    {TextId::ColumnName, 709, u"NAME"},
    {TextId::ColumnValue, 710, u"VALUE"},
    {TextId::ColumnDefault, 711, u"DEFAULT"},
    {TextId::ColumnAccepted, 712, u"ACCEPTS"},
    {TextId::ColumnMeaning, 713, u"MEANING"},
    {TextId::AcceptsAnyNumber, 714, u"any number"},
    {TextId::AcceptsNumbers, 715, u"%u-%u"},
    {TextId::AcceptsOneOrNumbers, 716, u"%u or %u-%u"},
    {TextId::AcceptsText, 717, u"text"},
    {TextId::AcceptsLongerText, 718, u"text of %u characters or more"},
    {TextId::AcceptsBytes, 719, u"hexadecimal bytes"},
    {TextId::AcceptsSomeBytes, 720, u"%u hexadecimal bytes"},
    {TextId::NoSuchSetting, 721, u"There is no setting \"%s\": \"tvset list\" shows all."},
    {TextId::SettingRefused, 722, u"%s accepts %s, not \"%s\"."},
    {TextId::SettingNotKept, 723,
     u"%s was not changed: the store cannot be written, or cannot keep this value as it is."},
    {TextId::ResetNotKept, 724, u"Not all settings were reset: the store cannot be written."},
};

constexpr bool InOrder() {
    for (std::size_t index = 0; index < std::size(kTexts); ++index)
        if (kTexts[index].id != static_cast<TextId>(index)) return false;
    for (std::size_t index = 1; index < std::size(kTexts); ++index)
        if (kTexts[index].number <= kTexts[index - 1].number) return false;
    return std::size(kTexts) == static_cast<std::size_t>(TextId::Count);
}
static_assert(InOrder());

const TextRow& RowOf(TextId id) { return kTexts[static_cast<std::size_t>(id)]; }

Text Escaped(TextView words) {
    Text escaped;
    for (const char16_t unit : words) {
        switch (unit) {
            case u'\r': escaped += u"\\r"; break;
            case u'\n': escaped += u"\\n"; break;
            case u'\t': escaped += u"\\t"; break;
            case u'\\': escaped += u"\\\\"; break;
            default: escaped += unit;
        }
    }
    const TextView ends = u" \"'";
    const bool needsQuotes = ends.find(words.front()) != ends.npos || ends.find(words.back()) != ends.npos;
    return needsQuotes ? u'"' + escaped + u'"' : escaped;
}

}  // namespace

std::uint32_t NumberOf(TextId id) { return RowOf(id).number; }

TextView BuiltInText(TextId id) { return RowOf(id).words; }

TextView Texts::operator[](TextId id) const {
    const TextRow& row = RowOf(id);
    const TextView translated = language_.string(row.number);
    return translated.data() != nullptr && HaveSameConversions(translated, row.words) ? translated : row.words;
}

Text Texts::format(TextId id, std::initializer_list<FormatArgument> arguments) const {
    return FormatText((*this)[id], arguments);
}

Text LanguageTemplate() {
    Text text =
        u"; Id is the Windows language identifier of the translation. Keep the % conversions of every text as they "
        u"are\r\n"
        u"; and in their order: a text whose conversions differ is not used. \\r, \\n, \\t and \\\\ are a line end, a "
        u"tab and\r\n"
        u"; a backslash. Save as UTF-8, or as UTF-16 with a byte order mark.\r\n"
        u"[Language]\r\nId=1033\r\nName=English\r\n\r\n[String]\r\n";
    for (const TextRow& row : kTexts) text += FormatText(u"%u=", {row.number}) + Escaped(row.words) + u"\r\n";
    return text;
}

}  // namespace tovlark

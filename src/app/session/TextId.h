#pragma once

#include <cstdint>

namespace tovlark {

/// One name for every text that people see, log lines included. Numbers and words stand in Texts.cpp, row by row in
/// this order. Each room has its own range of numbers; a number, once given, keeps its meaning, because language files
/// hold it.
enum class TextId : std::uint16_t {
    // Session: 1-99
    Version,
    StepDone,
    InputEnded,
    CannotAnswerYes,
    ConfirmReset,
    // Commands: 100-399
    NoParameters,
    // Authoring: 400-599
    CannotCopy,
    CannotMove,
    FolderNameTaken,
    FileNameTaken,
    SpecialEntryPresent,
    OpenFailedQuestion,
    OpenFileFailed,
    DoYouWantToContinue,
    LargeFileRefused,
    LargeFileReason,
    LargeFileNeedsUdf,
    DestinationIsSameFolder,
    DestinationIsSubfolder,
    ReplaceFile,
    ReplaceFileQuestion,
    NotReplaced,
    SymbolicLinkSkipped,
    NeitherFileNorFolder,
    SpecialFilesLeftOut,
    LeftOut,
    PathTooLong,
    BadFolderName,
    NamesWillBeTruncated,
    FileNameWillChange,
    FolderNameWillChange,
    NameChange,
    MoreNamesWillChange,
    ScanningFiles,
    ScannedFiles,
    OutputLeftOut,
    CannotRead,
    // Image writer: 500-599
    WritingImage,
    SourceUnreadable,
    SourceShorter,
    SourceLonger,
    OverwriteCaption,
    OverwriteFile,
    OutputKept,
    OutputIsFolder,
    OutputIsNoFile,
    CannotCreateOutput,
    ErrorWritingData,
    BuildCancelled,
    BuildOpenFailed,
    BuildNoUniqueName,
    BuildTooManyFolders,
    BuildPathTooDeep,
    BuildImageTooLarge,
    BuildFileTooLarge,
    BuildNamesRefused,
    BuildNotSupported,
    BuildOutOfMemory,
    // Start and front end: 600-699
    StartedWithoutConsole,
    LanguageTemplateWritten,
    CannotWriteLanguageTemplate,
    RestartsElevated,
    TemplateNotWritten,
    CannotSignalEvent,
    OutOfMemory,
    ProgramMissing,
    CannotStartProgram,
    NoRunFolder,
    RunFolderNotPrivate,
    ProgramEndedEarly,
    ProgramEndedBySignal,
    ProgramEndedByException,
    ReaderGone,
    StoppedAtOnce,
    StepFailed,
    // Counts the rows
    Count,
};

}  // namespace tovlark

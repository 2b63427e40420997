#include "app/session/Texts.h"

#include <iterator>

namespace tovlark {

namespace {

struct TextRow {
    TextId id;
    std::uint32_t number;
    TextView words;
};

/// Line of the usage text, from 0.
constexpr TextId Usage(int line) { return static_cast<TextId>(static_cast<int>(TextId::UsageFirst) + line); }

constexpr TextRow kTexts[] = {
    // Session
    {TextId::Version, 16, u"Version"},
    {TextId::StepDone, 17, u" done."},
    {TextId::InputEnded, 18, u"The input ended before the question was answered."},
    {TextId::CannotAnswerYes, 19, u"This question cannot be answered with \"Yes\" (-y): %s"},
    {TextId::ConfirmReset, 20, u"Are you sure you want to reset the application to the default configuration?"},
    {TextId::EventsNotWritten, 21, u"Events cannot be written to %s (TOVLARK_EVENTS): %s"},
    {TextId::NoLanguageFile, 22, u"No language file in %s can be used for language %u: the texts are English."},
    {TextId::SettingsUnusable, 23, u"The settings in %s cannot be used: %s. The defaults count."},
    {TextId::SettingsNotText, 24, u"it is not a text file in UTF-8"},
    {TextId::FolderMissing, 25, u"There is no folder %s: make it first."},
    // Commands
    {TextId::NoParameters, 100, u"No parameters."},
    {TextId::UnrecognizedParameter, 101, u"Unrecognized parameter: %s"},
    {TextId::BadParameter, 102, u"Bad parameter: %s"},
    {TextId::PasswordLength, 103, u"The password must be between 1-64 characters in length"},
    {TextId::PasswordNotInCodePage, 104, u"The password has a character that code page %u does not have."},
    {TextId::InvalidSpeed, 105, u"Invalid speed settings."},
    {TextId::ItemNotFound, 106, u"Can't find the specified item: %s\r\n"},
    {TextId::RootCannotBeDeleted, 107, u"The root folder of the image cannot be deleted."},
    {TextId::JolietLevelUsage, 108, u"Jolitet level must be from 0 tp 3.\r\n"},
    {TextId::UdfUsage, 109, u"Usage: -udf on | off\r\n"},
    {TextId::IsoNameLengthUsage, 110, u"Usage: -iso-name-len 12 | 30 | 221\r\n"},
    {TextId::JolietNameLengthUsage, 111, u"Usage: -joliet-name-len 64 | 110\r\n"},
    {TextId::DateUsage, 112, u"Usage: %s mm-dd-yyyy:hh:mm:ss\r\n"},
    {TextId::CommentUsage, 113, u"Usage: -comment <string>\r\n"},
    {TextId::CommentFileFailed, 114, u"open file %s failed.\r\n"},
    {TextId::ShowCommentUsage, 115, u"Usage: show-comment <image file>\r\n"},
    {TextId::ExtractCommentUsage, 116, u"Usage: extract-comment-to-file <image file> <comment file>\r\n"},
    {TextId::CannotOpenFile, 117, u"Can't open file: %s\r\n"},
    {TextId::PartitionStyleUsage, 118, u"The part style can be BIOS or GPT.\r\n"},
    {TextId::PartitionTypeUsage, 119, u"The part type can be NTFS, FAT32, FAT12, or FAT16.\r\n"},
    {TextId::Adding, 120, u"Adding %s "},
    {TextId::CannotFindLocal, 121, u"\r\nCannot find file or folder: %s\r\n"},
    {TextId::CannotOpenImage, 122, u"Cannot open %s: %s"},
    {TextId::NotInThisBuild, 123, u"This build of Tovlark cannot do this yet: %s"},
    {TextId::SpecifyBurner, 124, u"Please specify a valid burner drive."},
    {TextId::SpecifyImageFile, 125, u"Please specify an iamge file name."},
    {TextId::SpecifySourceDrive, 126, u"Please specify a valid source drive."},
    {TextId::SpecifyImagingDrive, 127, u"Please specify valid source drive."},
    {TextId::SpecifyOutputFile, 128, u"Please specify output file name."},
    {TextId::UnknownOutputFormat, 129, u"Unknown output image format."},
    {TextId::SpecifyExtractFolder, 130, u"Please specify extract output directory."},
    {TextId::SpecifyRipFile, 131, u"Please specify rip output file (-o)."},
    {TextId::SpecifyRipFolder, 132, u"Please specify rip output directory (-od)."},
    {TextId::SpecifyRipType, 133, u"The output type (-ot) should be mp3, flac, ape, wma, ogg, or wav."},
    {TextId::NeedsAdministrator, 134, u"Please run the program with system administrative privilege.\r\n"},
    {TextId::NotUsbDrive, 135, u"%s is not a valid USB drive."},
    {TextId::SpecifyUsbDrive, 136, u"Please specify a valid USB drive.\r\n"},
    {TextId::NoSuchDrive, 137, u"There is no drive %s:"},
    {TextId::UnpackBeforeBurning, 138,
     u"The selected file can't be burned to the optical disc. Please unpack the file, then write the unpacked files to "
     u"the optical disc."},
    {TextId::ImageOptionsUnused, 139, u"-volsize, -setpassword and -comment have no effect on an image of this type."},
    {TextId::BootSourceFile, 140, u"Source file: %s\r\n"},
    {TextId::BootDestination, 141, u"Destination drive: %s\r\n"},
    {TextId::BootPartitionStyle, 142, u"Partition scheme: %s\r\n"},
    {TextId::BootPartitionType, 143, u"Partition type: %s\r\n"},
    {TextId::SwitchMissing, 170, u"It is given with %s."},
    {TextId::LookedFor, 177, u"Looked for: %s"},
    {TextId::DriveWord, 178, u"\"%s\" is no drive: a drive is a letter from D to Z and a colon, for example F:"},
    {TextId::ImageFormats, 179, u"An image can be: %s. The suffix of the output file tells which, or -ot."},
    {TextId::NoCommand, 181, u"The command line has no command."},
    {TextId::DidYouMean, 190, u"Did you mean %s?"},
    {TextId::SeeUsage, 191, u"tvcmd -? lists the commands and switches."},
    {TextId::SyntaxOf, 192, u"Usage: %s %s"},
    {TextId::OneCommandOnly, 193, u"A line has one command only, and there is one already."},
    {TextId::NotOnCommandLine, 194, u"%s cannot be used on the command line."},
    {TextId::WrittenAsIso, 195, u"%s is written as an ISO image, whatever its name says."},
    {TextId::EditComesFirst, 199, u"edit opens an image: put it before the switches that add files."},
    {Usage(0), 200, u"Usage:    tvcmd <command> [parameters] [-switches]"},
    {Usage(1), 201, u"<Commands>"},
    {Usage(2), 202, u" convert       Convert image file to other format."},
    {Usage(3), 203, u"     Example:  Convert d:\\test.dmg to d:\\test.iso "},
    {Usage(4), 204, u"     Command:  tvcmd convert d:\\test.dmg -o d:\\test.iso"},
    {Usage(5), 205, u" create        Create image file from files or folders."},
    {Usage(6), 206, u"     Example:  Create d:\\test.iso from d:\\test and d:\\test.zip."},
    {Usage(7), 207, u"     Command:  tvcmd create -o d:\\test.iso -add d:\\test / -add d:\\test.zip / "},
    {Usage(8), 208, u" burn-image    Burn image to a writable disc."},
    {Usage(9), 209, u"     Example:  Burn d:\\test.iso to disc in drive F:"},
    {Usage(10), 210, u"     Command:  tvcmd burn-image d:\\test.iso F: "},
    {Usage(11), 211, u" copy-disc     Copy source disc to destination disc."},
    {Usage(12), 212, u"     Example:  Copy disc in drive F: to disc in drive G:"},
    {Usage(13), 213, u"     Command:  tvcmd copy-disc F: G:"},
    {Usage(14), 214, u" erase-disc    Erase a re-writable disc."},
    {Usage(15), 215, u"     Example:  Erase disc in drive F:"},
    {Usage(16), 216, u"     Command:  tvcmd erase-disc F: "},
    {Usage(17), 217, u" make-image    Make image file from CD/DVD/BD disc."},
    {Usage(18), 218, u"     Example:  Make iso image from F:, and save the image to d:\\test.iso"},
    {Usage(19), 219, u"     Command:  tvcmd make-image F: -o d:\\test.iso"},
    {Usage(20), 220, u" rip           Rip Audio tracks to mp3, flac, ape, wma, or wav files."},
    {Usage(21), 221, u"     Example:  Rip Audio CD in drive F: to mp3 files, and save to d:\\mp3"},
    {Usage(22), 222, u"     Command:  tvcmd rip F: -od d:\\mp3 -ot mp3"},
    {Usage(23), 223, u"<Switches>"},
    {Usage(24), 224, u" -y            Assume Yes on all queries."},
    {Usage(25), 225, u" -o            Specify output file name."},
    {Usage(26), 226, u" -od           Specify output folder."},
    {Usage(27), 227, u" -ot <iso | bin | mp3 | flac | ape | wma | wav>"},
    {Usage(28), 228, u"               Specify output file type. If not specified, "},
    {Usage(29), 229, u"               the file type will be determined by file name suffix."},
    {Usage(30), 230, u" -verify       Verify written data after burning."},
    {Usage(31), 231, u" -eject        Eject disc after burning."},
    {Usage(32), 232, u" -speed <nn>   Set the burning speed. For example, -speed cd10x, "},
    {Usage(33), 233, u"               -speed dvd8x, or -speed bd2x"},
    {Usage(34), 234, u" -full-erase   Perform a full erase."},
    {Usage(35), 235, u" -create-temp-file-for-copy"},
    {Usage(36), 236, u"               Create temporary file to cache source disc before copying disc."},
    {Usage(37), 237, u" -rip-to-single-file"},
    {Usage(38), 238, u"               Rip all tracks in the disc to a single media file."},
    {Usage(39), 239, u" -add <local dir/file name> <dir in image file>"},
    {Usage(40), 240, u"               Add local file or directory to image file."},
    {Usage(41), 241, u" -label <vol label>   Set volume label for output image file. "},
    {Usage(42), 242, u"                Example: -label BACKUP"},
    {Usage(43), 243, u" -joliet <1|2|3>   Set joliet level for output image file. "},
    {Usage(44), 244, u"                Example: -joliet 3"},
    {Usage(45), 245, u" -udf <on|off>   Enable or disable UDF option for output image file. "},
    {Usage(46), 246, u"                Example: -udf on"},
    {Usage(47), 247, u" -iso-name-len <12|30|221>  Set iso9660 file name length for output image file."},
    {Usage(48), 248, u"                Example: -iso-name-len 221"},
    {Usage(49), 249, u" -joliet-name-len <64|110>  Set joliet file name length for output image file."},
    {Usage(50), 250, u"                Example: -joliet-name-len 110"},
    {Usage(51), 251, u" -allow-lower-case-iso-name   Allow lower case iso9660 file name for output "},
    {Usage(52), 252, u"                image file."},
    {Usage(53), 253, u" -disable-optimization   Disable file space optimization for output image file."},
    {Usage(54), 254, u" -file-datetime <mm-dd-yyyy-hh:mm:ss> Set file date time for output image file."},
    {Usage(55), 255, u"                Example: -file-datetime 12-20-2008-08:00:00"},
    {Usage(56), 256, u" -vol-creation-datetime <mm-dd-yyyy-hh:mm:ss>     Set volume creation date time"},
    {Usage(57), 257, u"                for output image file. "},
    {Usage(58), 258, u" -vol-modification-datetime <mm-dd-yyyy-hh:mm:ss> Set volume modification date"},
    {Usage(59), 259, u"                time for output image file."},
    {Usage(60), 260, u" -vol-effective-datetime <mm-dd-yyyy-hh:mm:ss>    Set volume effective date "},
    {Usage(61), 261, u"                time for output image file."},
    {Usage(62), 262, u" -vol-expiration-datetime <mm-dd-yyyy-hh:mm:ss>   Set volume expiration date "},
    {Usage(63), 263, u"                time for output image file."},
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
    {TextId::LargeFileAdvice, 410,
     u"Leave out -joliet, -iso-name-len, -joliet-name-len and -allow-lower-case-iso-name: UDF is used then, and takes "
     u"larger files."},
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
    {TextId::BuildNoUniqueName, 523, u"No unique name is left for this file or folder in its folder of the image."},
    {TextId::BuildTooManyFolders, 524,
     u"More than 65,535 folders do not fit an ISO 9660 image. Add fewer folders, or pack some of them into one file."},
    {TextId::BuildImageTooLarge, 526, u"The image would have more sectors than ISO 9660 can count."},
    {TextId::BuildNamesRefused, 528, u"The image was not made, because its changed names were not agreed to."},
    {TextId::BuildOutOfMemory, 530, u"Out of memory. Program abort."},
    {TextId::BuildNoFileSystem, 531, u"The image was not made: neither ISO 9660 nor UDF is on."},
    {TextId::BuildFileTooLargeForUdf, 532, u"A file of 234 GB or more cannot be recorded in UDF."},
    {TextId::LinkNotInUdf, 533, u"The symbolic link %s was left out of UDF: its target is too long."},
    {TextId::InvalidBootImageFile, 540, u"Invalid boot image file."},
    {TextId::SecondBootFile, 541, u"Only one boot information file can be used, and this is a second one:"},
    {TextId::BootImageNotUsed, 542, u"The image is made without a boot image, for %s cannot be used: %s"},
    {TextId::BootsFrom, 543, u"The image boots from %s."},
    {TextId::UpdatingChecksum, 544, u"Updating md5 checksum..."},
    {TextId::ImplantNoPrimary, 545, u"%s has no ISO 9660 file system that could hold a checksum: none is implanted."},
    {TextId::ImplantUnreadable, 546, u"No checksum is implanted in %s: %s."},
    {TextId::ImplantTooShort, 547, u"No checksum is implanted in %s: it is shorter than its file system says."},
    {TextId::ImplantCancelled, 548, u"Cancelled: no checksum is implanted in %s."},
    {TextId::NamesCutOrNumbered, 560, u"Names cut or numbered: %s."},
    {TextId::RockRidgeHasAllNames, 561, u"Rock Ridge has them in full."},
    {TextId::EditOpening, 579, u"Opening %s "},
    {TextId::EditKindLeftOut, 582, u"%s of the image is neither file, folder nor symbolic link: it was left out."},
    {TextId::EditSystemArea, 583,
     u"The first 32 KB of %s hold a boot record for USB drives. It does not fit the new image and is left out."},
    {TextId::EditDamaged, 585, u"%s is damaged and stays as it is: name another file with -o for what can be saved."},
    {TextId::EditBootImageLost, 586, u"The boot image at sector %u of the image cannot be taken over."},
    // Start and front end
    {TextId::StartedWithoutConsole, 600,
     u"Tovlark has no windows yet: please use the console front end, for example \"tvcmd -?\"."},
    {TextId::LanguageTemplateWritten, 601, u"The language template was written to %s."},
    {TextId::CannotWriteLanguageTemplate, 602, u"Cannot write the language template %s: %s."},
    {TextId::RestartsElevated, 603, u"Writing the language template needs administrative rights; asking for them."},
    {TextId::TemplateNotWritten, 604, u"%s was not written."},
    {TextId::CannotSignalEvent, 605, u"Cannot signal the event %s: %s."},
    {TextId::OutOfMemory, 606, u"There is not enough memory to go on."},
    {TextId::MessageLogNotKept, 607, u"The message log cannot be added to %s: %s."},
    {TextId::ProgramMissing, 610, u"Cannot find the program: %s is missing. Put it beside tvcmd."},
    {TextId::CannotStartProgram, 611, u"Cannot start %s: %s."},
    {TextId::NoRunFolder, 612, u"Cannot make the console pipes in %s: %s."},
    {TextId::RunFolderNotPrivate, 613,
     u"Cannot make the console pipes: %s is not a folder that belongs to this user alone. Remove it and try again."},
    {TextId::ProgramEndedEarly, 614,
     u"%s ended before it had opened its console pipes. It must be of the same version as tvcmd."},
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
    {TextId::OutputNotWritten, 725, u"Cannot write to standard output."},
    {TextId::TvsetUsage, 726, u"Usage: tvset list | get NAME | set NAME VALUE | reset"},
    {TextId::SettingsNotWritten, 727, u"%s cannot be written: %s"},
    // Readers of file systems
    {TextId::DescriptorDamaged, 730, u"The volume descriptor of %s is damaged."},
    {TextId::NoSuchTree, 731, u"The image does not have this file system."},
    {TextId::FolderDamaged, 732, u"The folder \"%s\" of the image is damaged: not all of it can be read."},
    {TextId::FolderBeyondEnd, 733, u"The folder \"%s\" lies beyond the end of the image."},
    {TextId::FileBeyondEnd, 734, u"The file \"%s\" lies beyond the end of the image."},
    {TextId::FileDamaged, 735, u"The entry of the file \"%s\" in the image is damaged."},
    {TextId::FileUnsupported, 736, u"The file \"%s\" is stored in the image in a way that is not supported."},
    {TextId::AttributesDamaged, 737, u"The Rock Ridge entries of \"%s\" are damaged."},
    {TextId::FolderShared, 738, u"The folder \"%s\" of the image overlaps another one and is not entered."},
    {TextId::TooManyEntries, 739, u"The image claims more files and folders than can be read."},
    {TextId::BootCatalogDamaged, 740, u"The boot catalog of the image is damaged."},
    {TextId::UdfBadDescriptor, 741, u"The UDF file system is damaged: no valid %s."},
    {TextId::NoFileSystem, 760,
     u"%s holds no file system that can be read (looked for: ISO 9660 with Rock Ridge or Joliet, UDF)."},
    {TextId::ObjectsIn, 761, u"Objects in %s:\r\n\r\n"},
    {TextId::FilesAndFolders, 762, u"%d Files, %d Folders"},
    {TextId::Bytes, 763, u"bytes"},
    {TextId::FolderNotFound, 764, u"The folder cannot be found!"},
    {TextId::ObjectNotFound, 765, u"Cannot find the object: %s\r\n"},
    {TextId::Extracting, 766, u"Extracting"},
    {TextId::ExtractedAs, 767, u"\"%s\" of the image is extracted as \"%s\"."},
    {TextId::FolderTooDeep, 768, u"The folder \"%s\" lies too deep in the image and is left out."},
    {TextId::DataUnreadable, 769, u"The data of \"%s\" in the image cannot be read: %s."},
    {TextId::DataEndsEarly, 770, u"The image ends within the data of \"%s\"."},
    {TextId::CueFaultInLine, 780, u"%s, line %u: %s"},
    {TextId::CueUnreadable, 781, u"The CUE sheet %s cannot be read: %s."},
    {TextId::CueFaultInSheet, 782, u"%s: %s"},
    {TextId::CueNoTrack, 783, u"The CUE sheet has no track."},
    {TextId::CueNoFile, 784, u"A TRACK line stands before the first FILE line."},
    {TextId::CueBadFile, 785, u"FILE needs a name and BINARY, MOTOROLA, AIFF, WAVE or MP3, not \"%s\"."},
    {TextId::CueTooManyFiles, 786, u"There are more than 99 FILE lines."},
    {TextId::CueTrackOrder, 787, u"Tracks are numbered 01, 02, 03 and so on: \"%s\" is not the next one."},
    {TextId::CueBadTrackType, 788,
     u"\"%s\" is not a kind of track: AUDIO, MODE1/2048, MODE1/2336, MODE1/2352, MODE2/2336 and MODE2/2352 are."},
    {TextId::CueTooManyWords, 789, u"Nothing may follow here: \"%s\"."},
    {TextId::CueNoStart, 790, u"Track %s has no INDEX 01."},
    {TextId::CueIndexOrder, 791,
     u"INDEX \"%s\" does not belong here: a track has INDEX 00 or 01 first, then 02, 03 and so on."},
    {TextId::CueBadPosition, 792, u"\"%s\" is not a position (mm:ss:ff, at most 99:59:74) behind the one before it."},
    {TextId::CueSessionOrder, 793, u"Sessions are numbered 01, 02 and so on: \"%s\" is not the next one."},
    // Optical drives
    {TextId::LogCommandBlock, 820, u"CDB=%s"},
    {TextId::LogCommandRefused, 821, u"C1 ERROR"},
    {TextId::LogCommandNoMemory, 822, u"C2 ERROR"},
    {TextId::LogCommandFailed, 823, u"C3 ERROR[%d]"},
    {TextId::LogSense, 824, u"Sense=%s"},
    {TextId::LogDataOut, 825, u"Out=%s"},
    {TextId::LogDataIn, 826, u"In=%s"},
    {TextId::LogLockVolume, 827, u"Lock Volume"},
    {TextId::LogUnlockVolume, 828, u"UnLock Volume"},
    {TextId::NoDisc, 830, u"No disc"},
    {TextId::UnknownDiscType, 831, u"Unknown Disc Type"},
    {TextId::InvalidOrBlankDisc, 832, u"Invalid or blank disc"},
    {TextId::DiscSummary, 833, u"Total %dMB, Free %dMB"},
    {TextId::DiscListHead, 834, u"Disc:"},
    {TextId::DiscListFirst, 835, u" [%s %s"},
    {TextId::DiscListNext, 836, u", %s"},
    {TextId::DriveName, 837, u"(%c:) %s"},
    {TextId::DriveUnnamed, 838, u"Optical drive"},
    {TextId::NextAddressUnreadable, 840, u"Reading next writable address failed(%08x)."},
    {TextId::NextAddressDiffers, 841, u"Reading next writable address failed(%d needed, %d available)."},
    {TextId::NotEnoughFreeBlocks, 842, u"There are not enough free blocks on media (%s needed, %s available)."},
    {TextId::MegabytesFine, 843, u"%.3fM"},
    {TextId::MegabytesCoarse, 844, u"%.1fM"},
    {TextId::SpeedMaximum, 845, u"Maximum"},
    {TextId::SpeedFraction, 846, u"%.1fx (%uKB/s)"},
    {TextId::SpeedWhole, 847, u"%dx (%uKB/s)"},
    {TextId::SettingSpeedFraction, 848, u"Setting the drive speed to %.1fx (%uKB/s)."},
    {TextId::SettingSpeedWhole, 849, u"Setting the drive speed to %dx (%uKB/s)."},
    {TextId::DriveErrorDash, 850, u"%s (%d-%08x)"},
    {TextId::DriveErrorSentence, 851, u"%s (%d, %08x)."},
    {TextId::DriveErrorClose, 852, u"%s(%d, %08x)"},
    {TextId::DriveErrorSectors, 853, u"%s (%d-%08x %08x)"},
    {TextId::DriveNotThere, 860, u"There is no optical drive %c:."},
    {TextId::DriveNotOptical, 861, u"Drive %c: is %s, which is not an optical drive."},
    {TextId::DriveNotOpened, 862, u"Drive %c: (%s) cannot be opened: %s."},
    {TextId::DriveNeedsGroup, 863,
     u"Drive %c: (%s) may be used by members of the group \"%s\" only: have yourself added to it and log in anew."},
    {TextId::DriveKindMissing, 864, u"Drive %c: is %s, a kind of drive that this program does not have."},
    {TextId::DriveMounted, 865, u"Drive %c: is in use: its disc is mounted at %s (%s)."},
    {TextId::DriveInUse, 866, u"Drive %c: (%s) is used by another program."},
    {TextId::DriveNotLocked, 867, u"Drive %c: (%s) cannot be locked: %s."},
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

#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "app/session/Task.h"
#include "base/Status.h"
#include "base/Text.h"
#include "simdrive/Faults.h"

namespace tovlark {

// What tvdrive does, a function for each verb. Facts go to standard output, reasons for failing to standard error. A
// `letter` is the word that the user typed ("F:").

enum class OutputForm : std::uint8_t { ForPeople, ForPrograms };

/// Every letter with its device, the drive's name and what is in it.
Status ListDriveLetters(Task& task, OutputForm form);

struct NewDrive {
    Text letter;
    Text model;  // "": the usual one
    bool isRealTime = false;
};
/// Makes the description of a simulated drive in the user's configuration folder and gives it the letter.
Status AddDrive(Task& task, const NewDrive& drive);
/// Gives the letter to a device; refused when that does not open as an optical drive.
Status MapDrive(Task& task, const Text& letter, const Text& device);
/// Takes the letter away; the description goes as well when `AddDrive` made it. Disc files stay.
Status RemoveDrive(Task& task, const Text& letter);

struct NewDisc {
    Text path, media;
    std::optional<std::uint32_t> blocks;
};
/// Makes the file of a blank disc; asks before it replaces a file.
Status MakeDisc(Task& task, const NewDisc& disc);
/// Puts a disc file or an image into a simulated drive, whose tray is shut then. `media`: the kind of pressed disc that
/// an image stands for, or empty.
Status InsertDisc(Task& task, const Text& letter, const Text& path, const Text& media);
/// Opens the tray; a simulated drive is empty afterwards.
Status EjectDisc(Task& task, const Text& letter);

Status ShowDrive(Task& task, const Text& letter, OutputForm form);

/// Faults to be planted, in the words of the command line: blocks are "100" or "100-199", operation codes "2A".
struct FaultWords {
    std::vector<Text> readErrors, slowBlocks, writeErrors, refusedOpcodes;
    BusyFault busy = BusyFault::None;
    std::uint32_t busyAfter = 0, transportError = 0, powerLoss = 0;
    bool clears = false;
};
/// Adds faults to those that a simulated drive has, or to none when `clears`, and shows what it has then.
Status PlantFaults(Task& task, const Text& letter, const FaultWords& words);

enum class LogAction : std::uint8_t { Show, On, Off, Clear };
/// Shows the commands that a simulated drive was sent while its log was on, or turns that on and off.
Status WorkOnLog(Task& task, const Text& letter, LogAction action, OutputForm form);

/// Writes what is on a disc to OUT.iso (2048 bytes a block), or to OUT.bin and OUT.cue (2352 bytes a sector of a CD).
/// What cannot be read becomes zeros, and is counted. Asks before it replaces a file.
Status ExportDisc(Task& task, const Text& disc, const Text& output);

}  // namespace tovlark

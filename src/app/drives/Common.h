#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/session/Task.h"
#include "base/Format.h"
#include "base/Status.h"
#include "simdrive/SimulatedDrive.h"

namespace tovlark {

/// A fact as a line of standard output, ended by LF.
void Print(Task& task, TextId text, std::initializer_list<FormatArgument> arguments);
/// Says on standard error what is wrong.
void Complain(Task& task, TextId text, std::initializer_list<FormatArgument> arguments);
/// The same as an outcome.
Status Refuse(Task& task, TextId text, std::initializer_list<FormatArgument> arguments);

/// The letter that a word of the command line stands for, else nothing after words that say so.
std::optional<char16_t> LetterOf(Task& task, const Text& word);

/// A letter that the settings give to a simulated drive, and that drive's description.
struct SimulatedLetter {
    char16_t letter = 0;
    Text path;
    DriveDescription description;
};

/// The faults that there are, by name and value.
std::vector<std::pair<std::string, std::string>> PlantedFaults(const DriveFaults& faults);

bool IsSimulated(Task& task, char16_t letter);
/// Nothing, after words that say why, for another letter or a description that cannot be read.
std::optional<SimulatedLetter> FindSimulated(Task& task, const Text& word);
/// Changes the description; false, after words that say why, when somebody uses the drive or the file stays as it is.
bool Describe(Task& task, const SimulatedLetter& drive, const DriveDescription& description);

}  // namespace tovlark

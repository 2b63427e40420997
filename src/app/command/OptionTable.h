#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "app/command/Handlers.h"
#include "base/Text.h"

namespace tovlark {

/// What a word behind a command or switch stands for, so that shells can complete it.
enum class Parameter : std::uint8_t {
    None,
    Path,    // a file, or a folder on the way to one
    Folder,  // a folder
    Choice,  // one of `OptionRow::choices`
    Other    // nothing that a shell could know
};

/// Rows that the usage text leaves out tell nothing about their parameters.
struct OptionRow {
    TextView word;
    TextView syntax;  // of what follows the word; empty where nothing does, or the handler itself tells it
    Handler handler;
    Parameter first = Parameter::None, second = Parameter::None;
    std::vector<Text> (*choices)() = nullptr;
};

/// True for the switches that say what is in the compilation or how it is laid out.
bool ChangesCompilation(const OptionRow& row);

/// Every word that the command line knows, commands and switches alike, in the order of search.
std::span<const OptionRow> AllOptions();

}  // namespace tovlark

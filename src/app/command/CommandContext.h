#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "app/command/CommandRequest.h"
#include "app/session/Task.h"
#include "authoring/Compilation.h"
#include "base/Status.h"

namespace tovlark {

enum class BootMode : std::uint8_t { Uefi = 1, Bios = 2, Raw = 4 };
enum class PartitionStyle : std::uint8_t { Mbr, Gpt };
enum class BootSystem : std::uint8_t { None = 0, FreeDos = 3, MsDos = 4 };
enum class PartitionType : std::uint8_t { Fat12 = 1, Fat16 = 2, Fat32 = 3, Ntfs = 4 };

/// How a bootable USB drive is made (-boot-mode, -part-style, -part-type).
struct UsbBootOptions {
    BootMode mode = BootMode::Bios;
    PartitionStyle style = PartitionStyle::Mbr;
    BootSystem system = BootSystem::None;
    PartitionType type = PartitionType::Fat32;

    bool operator==(const UsbBootOptions&) const = default;
};

/// Tuning of the packed archive writer (-method, -OO).
struct PsaTuning {
    std::uint32_t level = 1;  // 1 normal, 2 better, 3 best
    std::uint32_t a = 0, b = 0, i = 0;
    bool c = false, e = false, m = false, n = false, z = false;
    bool h = true;                // on unless switched off
    std::uint64_t sizeBytes = 0;  // letter S

    bool operator==(const PsaTuning&) const = default;
};

/// Everything that one command line reads and changes.
struct CommandContext {
    const std::vector<Text>& words;  // the program's name first
    CommandRequest& request;
    Task& task;
    ImageBuildContext& compilation;
    UsbBootOptions usbBoot{};
    PsaTuning psa{};

    /// A switch has changed the compilation, or was to.
    bool changesCompilation = false;
    /// Set by `create_lang_file`: the process goes on after the command.
    bool keepRunning = false;
    /// A word asked for work on an image that could not be done: the command is not run and fails.
    bool isDoomed = false;
    /// Set when the process is to end at once with this status, whatever the flags say.
    std::optional<Status> endStatus{};
};

}  // namespace tovlark

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "base/Text.h"
#include "platform/SystemError.h"

namespace tovlark {

/// Why a store cannot be read or written.
struct SettingsFault {
    Text path;
    SystemError error;  // success: the file holds no text that can be used
};

/// Where settings live: a registry key or an INI file. `key` names a key (section) below the root, with `\` between
/// its parts; empty means the root (section "Settings"). A read gives false when the value is missing,
/// of another type, or the store cannot be opened; a write gives false when it was not kept. A value of another
/// kind under that name is replaced.
struct SettingsBacking {
    virtual ~SettingsBacking() = default;
    /// What keeps the store from being read, or kept the last write from it; nothing when all is well.
    virtual std::optional<SettingsFault> fault() { return std::nullopt; }
    virtual bool readNumber(TextView key, TextView name, std::uint32_t& value) = 0;
    virtual bool readText(TextView key, TextView name, Text& value) = 0;
    virtual bool readBinary(TextView key, TextView name, std::vector<std::byte>& value) = 0;
    virtual bool writeNumber(TextView key, TextView name, std::uint32_t value) = 0;
    virtual bool writeText(TextView key, TextView name, TextView value) = 0;
    virtual bool writeBinary(TextView key, TextView name, const std::vector<std::byte>& value) = 0;
};

/// The store of this process: the portable INI file beside the program when that file says `PortableVersion=1`,
/// else the per-user store (registry `Software\Tovlark\`; elsewhere `tovlark.ini` in the configuration folder).
std::unique_ptr<SettingsBacking> OpenSettings();

/// A store over one INI file, whether or not it exists yet.
std::unique_ptr<SettingsBacking> OpenIniSettings(const Text& path);

}  // namespace tovlark

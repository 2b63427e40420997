#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <utility>

#include "base/Text.h"
#include "platform/SettingsBacking.h"

namespace tovlark {

/// A number's name, default and accepted range (unsigned comparison) travel together. Another reader with other bounds
/// is another constant.
struct IntSetting {
    TextView name;
    std::uint32_t fallback, minimum, maximum;
};

/// A text shorter than the minimum (in UTF-16 units) counts as missing.
struct TextSetting {
    TextView name, fallback;
    std::size_t minimumLength;
};

/// Named values that outlive the process. Every read goes to the store. Reads never fail: missing, mistyped and
/// out-of-range values give the default. Writes tell whether they were kept. Safe to use from several threads.
class SettingsStore {
public:
    explicit SettingsStore(std::unique_ptr<SettingsBacking> backing) : backing_(std::move(backing)) {}

    std::uint32_t getInt(const IntSetting& setting) const;
    std::uint32_t getInt(TextView name, std::uint32_t fallback, std::uint32_t minimum, std::uint32_t maximum) const;
    std::uint32_t getIntIn(TextView name, std::uint32_t fallback, TextView key) const;
    Text getString(TextView name, TextView fallback) const;
    Text getString(const TextSetting& setting) const;
    Text getStringIn(TextView name, TextView fallback, TextView key) const;
    /// Fills up to the buffer's size; returns the number of bytes read, 0 when missing.
    std::size_t getBinary(TextView name, std::span<std::byte> buffer) const;

    bool setInt(TextView name, std::uint32_t value, TextView key = {});
    bool setString(TextView name, TextView value, TextView key = {});
    bool setBinary(TextView name, std::span<const std::byte> bytes, TextView key = {});

    /// Writes "ShellIntegration" and registers (bit 0) or unregisters the shell extension TOVLSH.DLL beside the
    /// program.
    bool setShellIntegration(std::uint32_t bits);

    /// What keeps the store from being read, or kept the last write from it; nothing when all is well.
    std::optional<SettingsFault> fault() const;

private:
    mutable std::mutex lock_;
    std::unique_ptr<SettingsBacking> backing_;
};

class ConsoleSession;
class Texts;

/// The fault's reason in words.
Text ReasonOf(const Texts& texts, const SettingsFault& fault);

enum class ResetOutcome : std::uint8_t { Done, Declined, NotKept };

/// Asks, and on Yes puts the burning options and the window's place back to their defaults.
ResetOutcome ResetToDefaults(ConsoleSession& session, SettingsStore& settings);

}  // namespace tovlark

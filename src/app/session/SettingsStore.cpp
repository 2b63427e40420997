#include "app/session/SettingsStore.h"

#include <algorithm>
#include <vector>

#include "app/session/ConsoleSession.h"
#include "app/session/Settings.h"
#include "platform/Paths.h"
#include "platform/Process.h"

namespace tovlark {

Text ReasonOf(const Texts& texts, const SettingsFault& fault) {
    return fault.error.failed() ? DescribeError(fault.error) : Text(texts[TextId::SettingsNotText]);
}

std::uint32_t SettingsStore::getInt(const IntSetting& setting) const {
    return getInt(setting.name, setting.fallback, setting.minimum, setting.maximum);
}

std::uint32_t SettingsStore::getInt(TextView name, std::uint32_t fallback, std::uint32_t minimum,
                                    std::uint32_t maximum) const {
    const std::scoped_lock guard(lock_);
    std::uint32_t value = 0;
    return backing_->readNumber({}, name, value) && value >= minimum && value <= maximum ? value : fallback;
}

std::uint32_t SettingsStore::getIntIn(TextView name, std::uint32_t fallback, TextView key) const {
    const std::scoped_lock guard(lock_);
    std::uint32_t value = 0;
    return backing_->readNumber(key, name, value) ? value : fallback;
}

Text SettingsStore::getString(TextView name, TextView fallback) const { return getString({name, fallback, 0}); }

Text SettingsStore::getString(const TextSetting& setting) const {
    const std::scoped_lock guard(lock_);
    Text value;
    return backing_->readText({}, setting.name, value) && value.size() >= setting.minimumLength
               ? value
               : Text(setting.fallback);
}

Text SettingsStore::getStringIn(TextView name, TextView fallback, TextView key) const {
    const std::scoped_lock guard(lock_);
    Text value;
    return backing_->readText(key, name, value) ? value : Text(fallback);
}

std::size_t SettingsStore::getBinary(TextView name, std::span<std::byte> buffer) const {
    const std::scoped_lock guard(lock_);
    std::vector<std::byte> value;
    if (!backing_->readBinary({}, name, value)) return 0;
    const std::size_t count = std::min(buffer.size(), value.size());
    std::copy_n(value.begin(), count, buffer.begin());
    return count;
}

bool SettingsStore::setInt(TextView name, std::uint32_t value, TextView key) {
    const std::scoped_lock guard(lock_);
    return backing_->writeNumber(key, name, value);
}

bool SettingsStore::setString(TextView name, TextView value, TextView key) {
    const std::scoped_lock guard(lock_);
    return backing_->writeText(key, name, value);
}

bool SettingsStore::setBinary(TextView name, std::span<const std::byte> bytes, TextView key) {
    const std::scoped_lock guard(lock_);
    return backing_->writeBinary(key, name, {bytes.begin(), bytes.end()});
}

std::optional<SettingsFault> SettingsStore::fault() const {
    const std::scoped_lock guard(lock_);
    return backing_->fault();
}

bool SettingsStore::setShellIntegration(std::uint32_t bits) {
    const bool isKept = setInt(kShellIntegration.name, bits);
    const ShellExtension action = (bits & 1) != 0 ? ShellExtension::Register : ShellExtension::Unregister;
    return !SetShellExtension(action, JoinPath(ProgramFolder(), u"TOVLSH.DLL")).failed() && isKept;
}

ResetOutcome ResetToDefaults(ConsoleSession& session, SettingsStore& settings) {
    constexpr PromptRow kConfirm{TextId::ConfirmReset, Answer::Yes | Answer::No, Answer::No};
    if (session.prompt(kConfirm) != Answer::Yes) return ResetOutcome::Declined;
    bool isKept = true;
    for (const IntSetting& setting : {kVerifyData, kEjectAfterBurn, kBurnBuffer})
        isKept = settings.setInt(setting.name, setting.fallback) && isKept;
    isKept = settings.setBinary(kMainWindow, {}) && isKept;
    return isKept ? ResetOutcome::Done : ResetOutcome::NotKept;
}

}  // namespace tovlark

#include <windows.h>
#include <algorithm>
#include <cstring>
#include <span>

#include "base/Unique.h"
#include "platform/Paths.h"
#include "platform/SettingsBacking.h"
#include "platform/win32/Wide.h"

namespace tovlark {

namespace {

/// Programs of either width see one and the same key.
constexpr REGSAM kView = KEY_WOW64_64KEY;

struct KeyTraits {
    using Value = HKEY;
    static constexpr HKEY kInvalid = nullptr;
    static void close(HKEY key) { RegCloseKey(key); }
};
using Key = Unique<KeyTraits>;

Text PathOf(TextView key) { return u"Software\\Tovlark\\" + Text(key); }

Key OpenForReading(TextView key) {
    HKEY opened = nullptr;
    const LSTATUS error = RegOpenKeyExW(HKEY_CURRENT_USER, ToWide(PathOf(key)).c_str(), 0, KEY_READ | kView, &opened);
    return Key(error == ERROR_SUCCESS ? opened : nullptr);
}

bool ReadValue(TextView key, TextView name, DWORD type, std::vector<std::byte>& value) {
    const Key opened = OpenForReading(key);
    if (!opened) return false;
    const std::wstring valueName = ToWide(name);
    std::vector<std::byte> bytes(256);
    for (;;) {
        DWORD storedType = 0, size = static_cast<DWORD>(bytes.size());
        const LSTATUS error = RegQueryValueExW(opened.get(), valueName.c_str(), nullptr, &storedType,
                                               reinterpret_cast<BYTE*>(bytes.data()), &size);
        if (error == ERROR_MORE_DATA) {
            bytes.resize(bytes.size() < size ? size : bytes.size() * 2);
            continue;
        }
        if (error != ERROR_SUCCESS || storedType != type) return false;
        bytes.resize(size);
        value = std::move(bytes);
        return true;
    }
}

bool WriteValue(TextView key, TextView name, DWORD type, std::span<const std::byte> value) {
    HKEY opened = nullptr;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, ToWide(PathOf(key)).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_SET_VALUE | KEY_CREATE_SUB_KEY | kView, nullptr, &opened, nullptr) != ERROR_SUCCESS)
        return false;
    const Key owner(opened);
    const std::wstring valueName = ToWide(name);
    return RegSetValueExW(opened, valueName.c_str(), 0, type, reinterpret_cast<const BYTE*>(value.data()),
                          static_cast<DWORD>(value.size())) == ERROR_SUCCESS;
}

/// Values lie directly in `HKEY_CURRENT_USER\Software\Tovlark\` or in a key below it.
class RegistrySettings final : public SettingsBacking {
public:
    bool readNumber(TextView key, TextView name, std::uint32_t& value) override {
        std::vector<std::byte> bytes;
        if (!ReadValue(key, name, REG_DWORD, bytes) || bytes.size() != sizeof(value)) return false;
        std::memcpy(&value, bytes.data(), sizeof(value));
        return true;
    }

    bool readText(TextView key, TextView name, Text& value) override {
        std::vector<std::byte> bytes;
        if (!ReadValue(key, name, REG_SZ, bytes)) return false;
        value.resize(bytes.size() / sizeof(char16_t));
        std::memcpy(value.data(), bytes.data(), value.size() * sizeof(char16_t));
        value.resize(std::min(value.find(u'\0'), value.size()));
        return true;
    }

    bool readBinary(TextView key, TextView name, std::vector<std::byte>& value) override {
        return ReadValue(key, name, REG_BINARY, value);
    }

    bool writeNumber(TextView key, TextView name, std::uint32_t value) override {
        return WriteValue(key, name, REG_DWORD, std::as_bytes(std::span(&value, 1)));
    }

    bool writeText(TextView key, TextView name, TextView value) override {
        if (value.find(u'\0') != value.npos) return false;
        const Text text(value);
        return WriteValue(key, name, REG_SZ, std::as_bytes(std::span(text.c_str(), text.size() + 1)));
    }

    bool writeBinary(TextView key, TextView name, const std::vector<std::byte>& value) override {
        return WriteValue(key, name, REG_BINARY, value);
    }
};

}  // namespace

std::unique_ptr<SettingsBacking> OpenSettings() {
    std::unique_ptr<SettingsBacking> portable = OpenIniSettings(JoinPath(ProgramFolder(), u"tovlark.ini"));
    std::uint32_t version = 0;
    if (portable->readNumber({}, u"PortableVersion", version) && version == 1) return portable;
    return std::make_unique<RegistrySettings>();
}

}  // namespace tovlark

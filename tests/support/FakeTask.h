#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/session/Task.h"
#include "base/Text.h"

namespace tovlark {

/// Settings in memory.
class FakeSettings : public SettingsBacking {
public:
    bool readNumber(TextView key, TextView name, std::uint32_t& value) override {
        return find(numbers, key, name, value);
    }
    bool readText(TextView key, TextView name, Text& value) override { return find(texts, key, name, value); }
    bool readBinary(TextView key, TextView name, std::vector<std::byte>& value) override {
        return find(binaries, key, name, value);
    }
    bool writeNumber(TextView key, TextView name, std::uint32_t value) override {
        numbers[{Text(key), Text(name)}] = value;
        return true;
    }
    bool writeText(TextView key, TextView name, TextView value) override {
        texts[{Text(key), Text(name)}] = value;
        return true;
    }
    bool writeBinary(TextView key, TextView name, const std::vector<std::byte>& value) override {
        binaries[{Text(key), Text(name)}] = value;
        return true;
    }

    template <typename Value>
    using Values = std::map<std::pair<Text, Text>, Value>;
    Values<std::uint32_t> numbers;
    Values<Text> texts;
    Values<std::vector<std::byte>> binaries;

private:
    template <typename Value>
    static bool find(const Values<Value>& values, TextView key, TextView name, Value& value) {
        const auto place = values.find({Text(key), Text(name)});
        if (place == values.end()) return false;
        value = place->second;
        return true;
    }
};

/// A task whose console, clock and settings are plain data: `output` gathers what is printed, `input` is what the user
/// types, time stands still until it is moved.
struct FakeTask {
    std::string output;
    std::string input;
    std::uint64_t milliseconds = 0;
    UnixSeconds now = 1'700'000'000;  // 2023-11-14 22:13:20 UTC
    std::int32_t localOffsetSeconds = 0;

    Clock clock{this, [](void* self) { return static_cast<FakeTask*>(self)->milliseconds; },
                [](void* self, std::uint32_t duration) { static_cast<FakeTask*>(self)->milliseconds += duration; },
                [](void* self) { return static_cast<FakeTask*>(self)->now; },
                [](void* self, UnixSeconds) { return static_cast<FakeTask*>(self)->localOffsetSeconds; }};
    ConsoleStreams streams{this,
                           [](void* self, std::string_view bytes) {
                               static_cast<FakeTask*>(self)->output += bytes;
                               return true;
                           },
                           [](void* self) {
                               std::string& typed = static_cast<FakeTask*>(self)->input;
                               if (typed.empty()) return -1;
                               const auto byte = static_cast<unsigned char>(typed[0]);
                               typed.erase(0, 1);
                               return int{byte};
                           },
                           [](void*) {}};
    Texts texts;
    Flags flags;
    FakeSettings* backing = new FakeSettings;  // owned by `settings`
    SettingsStore settings{std::unique_ptr<SettingsBacking>(backing)};
    MessageLog log{clock};
    ConsoleSession session{streams, texts, clock, flags};
    Task task{session, settings, log, clock, flags};

    FakeTask() = default;
    FakeTask(const FakeTask&) = delete;
};

}  // namespace tovlark

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "app/session/Task.h"

namespace tovlark {

/// Time that stands still until somebody sleeps.
struct FakeClock {
    std::uint64_t elapsedMilliseconds = 0;
    UnixSeconds startOfTime = 1'700'000'000;
    std::int32_t offsetSeconds = 0;  // local time minus UTC
    std::vector<std::uint32_t> sleeps;

    Clock clock() {
        return {this, [](void* self) { return static_cast<FakeClock*>(self)->elapsedMilliseconds; },
                [](void* self, std::uint32_t milliseconds) {
                    static_cast<FakeClock*>(self)->elapsedMilliseconds += milliseconds;
                    static_cast<FakeClock*>(self)->sleeps.push_back(milliseconds);
                },
                [](void* self) {
                    const auto& fake = *static_cast<FakeClock*>(self);
                    return fake.startOfTime + static_cast<UnixSeconds>(fake.elapsedMilliseconds / 1000);
                },
                [](void* self, UnixSeconds) { return static_cast<FakeClock*>(self)->offsetSeconds; }};
    }
};

/// Standard streams in memory. Input ends after `input`.
struct FakeStreams {
    std::string output;
    std::string input;
    std::size_t inputPosition = 0;
    std::size_t promptCount = 0;
    std::size_t writeCount = 0;
    bool readerIsGone = false;

    ConsoleStreams streams() {
        return {this,
                [](void* self, std::string_view bytes) {
                    auto& fake = *static_cast<FakeStreams*>(self);
                    if (fake.readerIsGone) return false;
                    fake.output += bytes;
                    ++fake.writeCount;
                    return true;
                },
                [](void* self) {
                    auto& fake = *static_cast<FakeStreams*>(self);
                    if (fake.inputPosition == fake.input.size()) return -1;
                    return static_cast<int>(static_cast<unsigned char>(fake.input[fake.inputPosition++]));
                },
                [](void* self) { ++static_cast<FakeStreams*>(self)->promptCount; }};
    }
};

/// Settings in memory, shared by whoever holds a backing made from it.
struct FakeSettings {
    std::optional<SettingsFault> fault;

    using Value = std::variant<std::uint32_t, Text, std::vector<std::byte>>;

    std::map<std::pair<Text, Text>, Value> values;  // by key and name
    bool isReadOnly = false;

    void put(TextView name, Value value, TextView key = {}) { values[{Text(key), Text(name)}] = std::move(value); }
    const Value* find(TextView name, TextView key = {}) const {
        const auto found = values.find({Text(key), Text(name)});
        return found == values.end() ? nullptr : &found->second;
    }
    std::unique_ptr<SettingsBacking> backing() { return std::make_unique<Backing>(*this); }

private:
    struct Backing : SettingsBacking {
        explicit Backing(FakeSettings& owner) : settings(owner) {}
        std::optional<SettingsFault> fault() override { return settings.fault; }

        template <typename Kind>
        bool read(TextView key, TextView name, Kind& value) const {
            const Value* found = settings.find(name, key);
            if (found == nullptr || !std::holds_alternative<Kind>(*found)) return false;
            value = std::get<Kind>(*found);
            return true;
        }
        bool write(TextView key, TextView name, Value value) {
            if (!settings.isReadOnly) settings.put(name, std::move(value), key);
            return !settings.isReadOnly;
        }
        bool readNumber(TextView key, TextView name, std::uint32_t& value) override { return read(key, name, value); }
        bool readText(TextView key, TextView name, Text& value) override { return read(key, name, value); }
        bool readBinary(TextView key, TextView name, std::vector<std::byte>& value) override {
            return read(key, name, value);
        }
        bool writeNumber(TextView key, TextView name, std::uint32_t value) override { return write(key, name, value); }
        bool writeText(TextView key, TextView name, TextView value) override { return write(key, name, Text(value)); }
        bool writeBinary(TextView key, TextView name, const std::vector<std::byte>& value) override {
            return write(key, name, value);
        }

        FakeSettings& settings;
    };
};

/// A `Task` whose surroundings are all in memory. `fake.streams.output` is what people would have seen.
struct FakeSession {
    FakeStreams streams;
    FakeClock fakeClock;
    FakeSettings fakeSettings;
    Flags flags;
    Texts texts;
    Clock clock = fakeClock.clock();
    ConsoleSession session{streams.streams(), texts, clock, flags};
    SettingsStore settings{fakeSettings.backing()};
    MessageLog log{clock};
    Task task{session, settings, log, clock, flags};

    FakeSession() = default;
    FakeSession(const FakeSession&) = delete;
};

}  // namespace tovlark

#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <vector>

#include "optical/Drive.h"
#include "optical/SendCommand.h"
#include "support/FakeSession.h"

namespace tovlark {

using ByteList = std::vector<std::uint8_t>;

/// What a device answers to one command.
struct DriveAnswer {
    ByteList data = {};
    Sense sense = {};
    std::uint8_t status = 0;
    std::uint32_t error = 0;
};

inline DriveAnswer Refused(Sense sense) { return {.sense = sense, .status = 2}; }

/// An open drive whose device answers what a test says, and remembers what was sent.
struct FakeDrive {
    struct Sent {
        ByteList cdb, data;
        std::uint32_t timeoutSeconds;
        std::size_t senseBytes;
        DataDirection direction;
    };

    std::function<DriveAnswer(const Sent&)> answer = [](const Sent&) { return DriveAnswer{}; };
    std::vector<Sent> sent;
    std::vector<VolumeControl> controls;
    std::function<std::uint32_t(VolumeControl)> control = [](VolumeControl) { return 0u; };
    FakeSession around;
    OpenedDrive opened{DriveRecord{.device = {this, &send, &sendControl, nullptr}, .clock = &around.clock}};
    Drive drive = opened.get();

    static SystemError send(void* self, PassThrough& command) {
        FakeDrive& owner = *static_cast<FakeDrive*>(self);
        Sent sent{{}, {}, command.timeoutSeconds, command.sense.size(), command.direction};
        for (const std::byte byte : command.cdb) sent.cdb.push_back(std::to_integer<std::uint8_t>(byte));
        if (command.direction == DataDirection::Out)
            for (std::uint32_t index = 0; index < command.dataBytes; ++index)
                sent.data.push_back(std::to_integer<std::uint8_t>(command.data[index]));
        owner.sent.push_back(sent);
        const DriveAnswer answer = owner.answer(sent);
        command.scsiStatus = answer.status;
        if (answer.error != 0) return {answer.error};
        if (command.direction == DataDirection::In) {
            command.dataBytes = std::min(command.dataBytes, static_cast<std::uint32_t>(answer.data.size()));
            if (command.dataBytes != 0) std::memcpy(command.data, answer.data.data(), command.dataBytes);
        }
        if (answer.status == 2 && command.sense.size() >= 14) {
            command.sense[0] = std::byte{0x70};
            command.sense[2] = std::byte{answer.sense.key};
            command.sense[7] = std::byte{10};
            command.sense[12] = std::byte{answer.sense.code};
            command.sense[13] = std::byte{answer.sense.qualifier};
        }
        return {};
    }
    static SystemError sendControl(void* self, VolumeControl control) {
        static_cast<FakeDrive*>(self)->controls.push_back(control);
        return {static_cast<FakeDrive*>(self)->control(control)};
    }

    std::vector<Text> lines() const {
        std::vector<Text> texts;
        for (const MessageLog::Line& line : around.log.lines()) texts.push_back(line.text);
        return texts;
    }
};

}  // namespace tovlark

#pragma once

#include <map>
#include <optional>
#include <set>
#include <utility>

#include "base/IsoBytes.h"
#include "optical/FakeDrive.h"

namespace tovlark {

/// Replies of a drive with a disc, by what they tell. What is left out is refused.
struct ScriptedDisc {
    std::optional<std::uint16_t> profile = std::nullopt;
    std::set<std::uint16_t> currentFeatures = {};
    ByteList atip = {}, dvdStructure = {}, bdStructure = {}, discInformation = {}, formatCapacities = {};
    std::map<std::uint16_t, ByteList> tracks = {};  // by number
    ByteList volume = {};                           // block 16

    DriveAnswer operator()(const FakeDrive::Sent& sent) const {
        const ByteList& cdb = sent.cdb;
        const auto reply = [](const ByteList& data) {
            return data.empty() ? Refused({5, 0x24, 0}) : DriveAnswer{.data = data};
        };
        switch (static_cast<Opcode>(cdb[0])) {
            case Opcode::GetConfiguration: {
                const auto feature = static_cast<std::uint16_t>(cdb[2] << 8 | cdb[3]);
                if (cdb[1] == 2 && currentFeatures.contains(feature))
                    return {.data = {0, 0, 0, 12, 0, 0, 0, 0, cdb[2], cdb[3], 1, 4, 0, 0, 0, 0}};
                if (cdb[1] == 2 || !profile) return Refused({5, 0x24, 0});
                return {.data = {0, 0, 0, 4, 0, 0, static_cast<std::uint8_t>(*profile >> 8),
                                 static_cast<std::uint8_t>(*profile)}};
            }
            case Opcode::ReadToc: return reply(cdb[2] == 4 ? atip : ByteList());
            case Opcode::ReadDiscStructure: return reply(cdb[1] == 1 ? bdStructure : dvdStructure);
            case Opcode::ReadDiscInformation: return reply(discInformation);
            case Opcode::ReadFormatCapacities: return reply(formatCapacities);
            case Opcode::ReadTrackInformation: {
                const auto track = tracks.find(static_cast<std::uint16_t>(cdb[4] << 8 | cdb[5]));
                return reply(track == tracks.end() ? ByteList() : track->second);
            }
            case Opcode::Read10: return reply(cdb[5] == 16 ? volume : ByteList());
            default: return Refused({5, 0x20, 0});
        }
    }
};

}  // namespace tovlark

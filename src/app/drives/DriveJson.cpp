#include "app/drives/DriveJson.h"

#include <nlohmann/json.hpp>

namespace tovlark {

namespace {

Json DiscAsJson(const DriveFacts& facts) {
    constexpr const char* kStatusNames[] = {"blank", "appendable", "complete", "random"};
    Json json;
    json["status"] = kStatusNames[static_cast<std::size_t>(facts.disc->status)];
    json["erasable"] = facts.disc->isErasable;
    json["sessions"] = facts.disc->sessions;
    json["tracks"] = Json::array();
    for (const TrackInformation& track : facts.tracks) {
        Json item;
        item["session"] = track.session;
        item["number"] = track.number;
        item["audio"] = IsCd(facts.entry.mediaType) && track.isAudio();
        item["blank"] = track.isBlank;
        item["reserved"] = track.isReserved;
        item["first"] = static_cast<std::int32_t>(track.first);
        item["blocks"] = track.blocks;
        item["free"] = track.freeBlocks;
        if (track.next) item["next"] = static_cast<std::int32_t>(*track.next);
        json["tracks"].push_back(std::move(item));
    }
    return json;
}

}  // namespace

Json FactsAsJson(const Texts& texts, const DriveLetter& letter, const DriveFacts& facts) {
    const DriveEntry& entry = facts.entry;
    Json json;
    json["letter"] = std::string(1, static_cast<char>(letter.letter));
    json["device"] = ToUtf8(letter.target);
    json["vendor"] = ToUtf8(facts.identity.vendor);
    json["product"] = ToUtf8(facts.identity.product);
    json["revision"] = ToUtf8(facts.identity.revision);
    Json& medium = json["medium"];
    medium["code"] = static_cast<std::uint8_t>(entry.mediaType);
    medium["name"] = ToUtf8(MediaTypeName(texts, entry.mediaType));
    medium["blocks"] = entry.totalBlocks;
    medium["used"] = entry.usedBlocks;
    medium["free"] = entry.freeBlocks;
    if (facts.disc) json["disc"] = DiscAsJson(facts);
    json["writeSpeeds"] = facts.writeSpeeds;
    json["features"] = Json::array();
    for (const FeatureFacts& feature : facts.features) {
        Json item;
        item["code"] = feature.code;
        item["name"] = FeatureName(feature.code);
        item["current"] = feature.isCurrent;
        json["features"].push_back(std::move(item));
    }
    if (facts.underruns) json["underruns"] = *facts.underruns;
    for (const auto& [name, value] : facts.faults) json["faults"][name] = value;
    return json;
}

void PrintJson(ConsoleSession& session, const Json& json) {
    session.print(FromUtf8(json.dump(2, ' ', false, Json::error_handler_t::replace)) + u"\n");
}

}  // namespace tovlark

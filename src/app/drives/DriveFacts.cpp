#include "app/drives/DriveFacts.h"

#include <algorithm>
#include <array>

#include "app/drives/Table.h"
#include "base/Format.h"
#include "base/Sectors.h"
#include "optical/SendCommand.h"
#include "optical/Speeds.h"

namespace tovlark {

namespace {

struct NamedFeature {
    std::uint16_t code;
    std::string_view name;
};

// MMC-6 5.3
constexpr NamedFeature kFeatures[] = {
    {0x0000, "Profile List"},
    {0x0001, "Core"},
    {0x0002, "Morphing"},
    {0x0003, "Removable Medium"},
    {0x0004, "Write Protect"},
    {0x0010, "Random Readable"},
    {0x001D, "Multi-Read"},
    {0x001E, "CD Read"},
    {0x001F, "DVD Read"},
    {0x0020, "Random Writable"},
    {0x0021, "Incremental Streaming Writable"},
    {0x0022, "Sector Erasable"},
    {0x0023, "Formattable"},
    {0x0024, "Hardware Defect Management"},
    {0x0025, "Write Once"},
    {0x0026, "Restricted Overwrite"},
    {0x0027, "CD-RW CAV Write"},
    {0x0028, "MRW"},
    {0x0029, "Enhanced Defect Reporting"},
    {0x002A, "DVD+RW"},
    {0x002B, "DVD+R"},
    {0x002C, "Rigid Restricted Overwrite"},
    {0x002D, "CD Track at Once"},
    {0x002E, "CD Mastering"},
    {0x002F, "DVD-R/-RW Write"},
    {0x0030, "Double Density CD Read"},
    {0x0031, "Double Density CD-R Write"},
    {0x0032, "Double Density CD-RW Write"},
    {0x0033, "Layer Jump Recording"},
    {0x0034, "LJ Rigid Restricted Overwrite"},
    {0x0035, "Stop Long Operation"},
    {0x0037, "CD-RW Media Write Support"},
    {0x0038, "BD-R POW"},
    {0x003A, "DVD+RW Dual Layer"},
    {0x003B, "DVD+R Dual Layer"},
    {0x0040, "BD Read"},
    {0x0041, "BD Write"},
    {0x0042, "TSR"},
    {0x0050, "HD DVD Read"},
    {0x0051, "HD DVD Write"},
    {0x0052, "HD DVD-RW Fragment Recording"},
    {0x0080, "Hybrid Disc"},
    {0x0100, "Power Management"},
    {0x0101, "SMART"},
    {0x0102, "Embedded Changer"},
    {0x0103, "CD Audio External Play"},
    {0x0104, "Microcode Upgrade"},
    {0x0105, "Timeout"},
    {0x0106, "DVD CSS"},
    {0x0107, "Real Time Streaming"},
    {0x0108, "Drive Serial Number"},
    {0x010A, "Disc Control Blocks"},
    {0x010B, "DVD CPRM"},
    {0x010C, "Firmware Information"},
    {0x010D, "AACS"},
    {0x010E, "DVD CSS Managed Recording"},
    {0x0110, "VCPS"},
    {0x0113, "SecurDisc"},
    {0x0120, "BD CPS"},
    {0x0142, "OSSC"},
};
static_assert(std::ranges::is_sorted(kFeatures, {}, &NamedFeature::code));

std::vector<FeatureFacts> ReadFeatures(Drive drive) {
    constexpr std::size_t kHead = 8, kDescriptorHead = 4;
    std::vector<std::byte> buffer(4096);
    std::vector<FeatureFacts> features;
    ReplyView reply;
    const Cdb command = GetConfiguration(FeatureScope::All, 0, static_cast<std::uint16_t>(buffer.size()));
    if (!ReceiveData(drive, command, buffer, reply)) return features;
    for (std::size_t offset = kHead; reply.has(offset + kDescriptorHead);
         offset += kDescriptorHead + reply.u8(offset + 3))
        features.push_back({reply.be16(offset), reply.bit(offset + 2, 0)});
    return features;
}

TextId NameOf(DiscStatus status) {
    constexpr TextId kNames[] = {TextId::InfoBlank, TextId::InfoAppendable, TextId::InfoComplete, TextId::InfoRandom};
    return kNames[static_cast<std::size_t>(status)];
}

TextId KindOf(const TrackInformation& track, MediaType media) {
    if (track.isBlank) return track.isReserved ? TextId::TrackReserved : TextId::TrackBlank;
    if (IsCd(media) && track.isAudio()) return TextId::TrackAudio;
    return track.next ? TextId::TrackOpen : TextId::TrackData;
}

Text Blocks(const Texts& texts, std::uint64_t blocks) {
    return texts.format(TextId::InfoBlocks, {FormatGrouped(blocks), FormatSize(blocks * kSectorSize)});
}

Text SpeedList(const Texts& texts, const DriveFacts& facts) {
    std::vector<SpeedEntry> entries;
    std::uint32_t unit = kChooseUnit;
    for (const std::uint32_t speed : facts.writeSpeeds)
        AddSpeedEntry(texts, entries, speed, unit, facts.entry.mediaType);
    Text list;
    for (const SpeedEntry& entry : entries) list += (list.empty() ? u"" : u", ") + entry.label;
    return list;
}

Text TrackTable(const Texts& texts, const DriveFacts& facts) {
    Table table;
    table.addRow(texts, {TextId::ColumnSession, TextId::ColumnTrack, TextId::ColumnKind, TextId::ColumnFirst,
                         TextId::ColumnBlocks, TextId::InfoFree, TextId::ColumnNext});
    for (const TrackInformation& track : facts.tracks)
        table.addRow({FormatText(u"%u", {track.session}), FormatText(u"%u", {track.number}),
                      Text(texts[KindOf(track, facts.entry.mediaType)]),
                      FormatText(u"%d", {static_cast<std::int32_t>(track.first)}), FormatText(u"%u", {track.blocks}),
                      FormatText(u"%u", {track.freeBlocks}),
                      track.next ? FormatText(u"%d", {static_cast<std::int32_t>(*track.next)}) : Text(u"-")});
    return table.page(u"  ");
}

Text FeatureTable(const Texts& texts, const DriveFacts& facts) {
    Table table;
    for (const FeatureFacts& feature : facts.features)
        table.addRow({FormatText(u"%04Xh", {feature.code}), FromUtf8(FeatureName(feature.code)),
                      Text(feature.isCurrent ? texts[TextId::InfoCurrent] : TextView())});
    return table.page(u"  ");
}

}  // namespace

DriveFacts ReadDriveFacts(const Texts& texts, Drive drive) {
    DriveFacts facts;
    facts.identity = ReadDriveIdentity(drive);
    // Takes the word that the medium may have changed, which would answer the first question about it.
    static_cast<void>(SendPlain(drive, TestUnitReady()));
    ReadDiscSummary(texts, facts.entry, drive, SummaryParts::Everything);
    facts.disc = QueryDisc(drive);
    if (facts.disc) facts.tracks = QueryTracks(drive, *facts.disc);
    facts.writeSpeeds = ReadWriteSpeeds(drive);
    facts.features = ReadFeatures(drive);
    return facts;
}

std::string_view FeatureName(std::uint16_t code) {
    const auto* found = std::ranges::lower_bound(kFeatures, code, {}, &NamedFeature::code);
    return found != std::end(kFeatures) && found->code == code ? found->name : std::string_view();
}

Text DescribeFaults(const std::vector<std::pair<std::string, std::string>>& faults) {
    Table table;
    for (const auto& [name, value] : faults) table.addRow({FromUtf8(name), FromUtf8(value)});
    return table.page(u"  ");
}

Text DescribeFacts(const Texts& texts, const DriveFacts& facts, TextView target) {
    const auto& [vendor, product, revision] = facts.identity;
    const DriveEntry& entry = facts.entry;
    Table table;
    const auto add = [&](TextId label, const Text& value) {
        if (!value.empty()) table.addRow({Text(texts[label]), value});
    };
    add(TextId::ColumnDrive, JoinWords({vendor, product, revision}));
    add(TextId::InfoDevice, Text(target));
    add(TextId::InfoMedium,
        FormatText(u"%s (%u)", {MediaTypeName(texts, entry.mediaType), static_cast<std::uint8_t>(entry.mediaType)}));
    if (facts.disc)
        add(TextId::InfoState, texts.format(TextId::InfoSessions, {texts[NameOf(facts.disc->status)],
                                                                   facts.disc->sessions, facts.tracks.size()}));
    if (entry.totalBlocks != 0) {
        add(TextId::InfoCapacity, Blocks(texts, entry.totalBlocks));
        add(TextId::InfoUsed, Blocks(texts, entry.usedBlocks));
        add(TextId::InfoFree, Blocks(texts, entry.freeBlocks));
    }
    add(TextId::InfoSpeeds, SpeedList(texts, facts));
    if (facts.underruns) add(TextId::InfoUnderruns, FormatText(u"%u", {*facts.underruns}));
    Text page = table.page();
    if (!facts.tracks.empty()) page += Text(texts[TextId::InfoTracks]) + u"\n" + TrackTable(texts, facts);
    if (!facts.features.empty()) page += Text(texts[TextId::InfoFeatures]) + u"\n" + FeatureTable(texts, facts);
    if (!facts.faults.empty()) page += Text(texts[TextId::InfoFaults]) + u"\n" + DescribeFaults(facts.faults);
    return page;
}

}  // namespace tovlark

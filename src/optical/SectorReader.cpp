#include "optical/SectorReader.h"

#include <algorithm>

#include "optical/SendCommand.h"

namespace tovlark {
namespace {

constexpr std::uint32_t kLargestTransfer = 65536;
constexpr std::uint32_t kLongestStreak = 16;

struct FormRow {
    std::uint32_t bytes;
    CdSectorType type;
    std::uint8_t mainChannel;
};

constexpr FormRow kForms[] = {
    {2048, CdSectorType::Any, MainChannel::kUserData},
    {2352, CdSectorType::Any, MainChannel::kWholeSector},
    {2352, CdSectorType::Audio, MainChannel::kWholeSector},
    {2336, CdSectorType::Any, MainChannel::kSubHeader | MainChannel::kUserData | MainChannel::kEdcEcc},
    {2048, CdSectorType::Mode1, MainChannel::kUserData},
    {2048, CdSectorType::Mode2Form1, MainChannel::kUserData},
};
static_assert(std::size(kForms) == static_cast<std::size_t>(SectorForm::Mode2Form1) + 1);

const FormRow& RowOf(const SectorReader& reader) { return kForms[static_cast<std::size_t>(reader.form)]; }

bool NeedsReadCd(const SectorReader& reader) {
    return reader.form != SectorForm::Blocks || reader.subChannel != SubChannel::None;
}

bool ReadOnce(const SectorReader& reader, Lba first, std::uint32_t sectors, std::span<std::byte> buffer) {
    const FormRow& row = RowOf(reader);
    const Cdb cdb = NeedsReadCd(reader) ? ReadCd(first, sectors, row.type, row.mainChannel, reader.subChannel)
                                        : Read10(first, static_cast<std::uint16_t>(sectors));
    ReplyView reply;
    const bool isWhole = ReceiveData(reader.drive, cdb, buffer, reply) && reply.size() == buffer.size();
    std::uint32_t& streak = reader.drive.record->readErrorStreak;
    if (reader.shortensTimeouts) streak = isWhole ? 0 : std::min(streak + 1, kLongestStreak);
    return isWhole;
}

bool ReadPiece(const SectorReader& reader, Lba first, std::uint32_t sectors, std::span<std::byte> buffer) {
    while (!ReadOnce(reader, first, sectors, buffer)) {
        const ReadRecovery& recovery = reader.recovery;
        switch (recovery.decide != nullptr ? recovery.decide(recovery.self, first, sectors) : AfterReadError::Fail) {
            case AfterReadError::Fail: return false;
            case AfterReadError::Retry: break;
            case AfterReadError::LeaveZeros: std::ranges::fill(buffer, std::byte{0}); return true;
        }
    }
    return true;
}

}  // namespace

std::uint32_t SectorBytes(const SectorReader& reader) {
    const std::uint32_t bytes = RowOf(reader).bytes;
    switch (reader.subChannel) {
        case SubChannel::None: return bytes;
        case SubChannel::Q: return bytes + 16;
        case SubChannel::Raw:
        case SubChannel::RToW: return bytes + 96;
    }
    return bytes;
}

std::uint32_t SectorsPerCommand(const SectorReader& reader) { return kLargestTransfer / SectorBytes(reader); }

bool ReadSectors(const SectorReader& reader, Lba first, std::uint32_t sectors, std::span<std::byte> buffer) {
    const std::size_t bytes = SectorBytes(reader);
    for (std::uint32_t done = 0; done < sectors;) {
        const std::uint32_t count = std::min(sectors - done, SectorsPerCommand(reader));
        const Lba next{static_cast<std::int32_t>(static_cast<std::uint32_t>(first) + done)};
        if (!ReadPiece(reader, next, count, buffer.subspan(done * bytes, count * bytes))) return false;
        done += count;
    }
    return true;
}

}  // namespace tovlark

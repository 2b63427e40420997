// What Linux's driver of optical drives (sr, with cdrom and the block layer) answers to ioctl.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/cdrom.h>
#include <linux/fs.h>
#include <scsi/scsi.h>
#include <scsi/scsi_ioctl.h>
#include <scsi/sg.h>

#include "preload/Client.h"

namespace tovlark {

namespace {

constexpr int kSgVersion = 30527, kReservedBytes = 1 << 17, kTimeoutTicks = 6000;
constexpr std::size_t kBlockBytes = 2048;
constexpr unsigned char kCheckCondition = 2, kDriverSense = 8;

/// Hands out a value that the kernel writes where the argument points.
template <class Value>
int PutOut(void* argument, const Value& value) {
    return CopyOut(argument, &value, sizeof value) ? 0 : Fail(EFAULT);
}

std::uint64_t Big(const std::vector<std::byte>& bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t index = 0; index < count; ++index)
        value = value << 8 | (at + index < bytes.size() ? std::to_integer<std::uint64_t>(bytes[at + index]) : 0);
    return value;
}

/// The program's data: one buffer, or several one after the other.
struct Buffers {
    std::vector<sg_iovec_t> parts;

    bool read(const sg_io_hdr_t& header) {
        if (header.iovec_count == 0) {
            parts = {{header.dxferp, header.dxfer_len}};
            return true;
        }
        parts.resize(header.iovec_count);
        return CopyIn(parts.data(), header.dxferp, parts.size() * sizeof parts[0]);
    }
    /// Moves bytes from or to the parts.
    bool move(std::vector<std::byte>& bytes, bool isIn) const {
        std::size_t done = 0;
        for (const sg_iovec_t& part : parts) {
            const std::size_t count = std::min(part.iov_len, bytes.size() - done);
            if (isIn ? !CopyOut(part.iov_base, bytes.data() + done, count)
                     : !CopyIn(bytes.data() + done, part.iov_base, count))
                return false;
            done += count;
        }
        return done == bytes.size();
    }
};

/// SG_IO with the header of version 3.
int SendGeneric(int file, void* argument) {
    sg_io_hdr_t header;
    if (!CopyIn(&header, argument, sizeof header)) return Fail(EFAULT);
    std::array<std::byte, 16> cdb{};
    if (header.interface_id != 'S') return Fail(EINVAL);
    if (header.cmd_len == 0 || header.cmd_len > cdb.size()) return Fail(header.cmd_len == 0 ? EINVAL : EMSGSIZE);
    if (header.dxfer_len > kMostDataBytes) return Fail(EIO);
    if (!CopyIn(cdb.data(), header.cmdp, header.cmd_len)) return Fail(EFAULT);
    Buffers buffers;
    const bool goesOut = header.dxfer_direction == SG_DXFER_TO_DEV,
               comesIn = header.dxfer_direction == SG_DXFER_FROM_DEV || header.dxfer_direction == SG_DXFER_TO_FROM_DEV;
    if (header.dxfer_len > 0 && !goesOut && !comesIn) return Fail(EINVAL);
    if (header.dxfer_len > 0 && !buffers.read(header)) return Fail(EFAULT);
    SentCommand command;
    if (goesOut) command.data.resize(header.dxfer_len);
    if (goesOut && !buffers.move(command.data, false)) return Fail(EFAULT);
    const int error = SendDrive(file, std::span(cdb).first(header.cmd_len), command, comesIn ? header.dxfer_len : 0);
    if (error != 0) return Fail(error);

    const Answer& answer = command.answer;
    header.status = static_cast<unsigned char>(answer.status);
    header.masked_status = header.status >> 1 & 0x1F;
    header.msg_status = 0;
    header.host_status = 0;
    header.driver_status = header.status == kCheckCondition ? kDriverSense : 0;
    header.info = header.status != 0 ? SG_INFO_CHECK : 0;
    header.duration = 0;
    header.resid = static_cast<int>(header.dxfer_len - std::min(answer.dataBytes, header.dxfer_len));
    header.sb_len_wr = 0;
    if (header.status == kCheckCondition && header.sbp != nullptr) {
        header.sb_len_wr = static_cast<unsigned char>(std::min<std::size_t>(header.mx_sb_len, 18));
        if (!CopyOut(header.sbp, answer.sense.data(), header.sb_len_wr)) return Fail(EFAULT);
    }
    if (comesIn && !command.data.empty() && !buffers.move(command.data, true)) return Fail(EFAULT);
    return PutOut(argument, header);
}

/// CDROM_SEND_PACKET: a command block of 12 bytes.
int SendPacket(int file, void* argument) {
    cdrom_generic_command packet;
    if (!CopyIn(&packet, argument, sizeof packet)) return Fail(EFAULT);
    if (packet.buflen > kMostDataBytes) return Fail(EIO);
    SentCommand command;
    const bool goesOut = packet.data_direction == CGC_DATA_WRITE, comesIn = packet.data_direction == CGC_DATA_READ;
    if (!goesOut && !comesIn && packet.data_direction != CGC_DATA_NONE) return Fail(EINVAL);
    if (goesOut) command.data.resize(packet.buflen);
    if (goesOut && !CopyIn(command.data.data(), packet.buffer, packet.buflen)) return Fail(EFAULT);
    const int error = SendDrive(file, std::as_bytes(std::span(packet.cmd)), command, comesIn ? packet.buflen : 0);
    if (error != 0) return Fail(error);
    if (command.isRefused() && packet.sense != nullptr && !CopyOut(packet.sense, command.answer.sense.data(), 18))
        return Fail(EFAULT);
    if (comesIn && !CopyOut(packet.buffer, command.data.data(), command.data.size())) return Fail(EFAULT);
    if (command.isRefused()) return Fail(EIO);
    packet.stat = 0;
    packet.buflen -= std::min(command.answer.dataBytes, packet.buflen);
    return PutOut(argument, packet);
}

/// A command without data; 0, or -1 and what the driver makes of its sense data.
int Do(int file, std::initializer_list<unsigned> cdb) {
    std::vector<std::byte> bytes;
    for (const unsigned byte : cdb) bytes.push_back(static_cast<std::byte>(byte));
    SentCommand command;
    if (const int error = SendDrive(file, bytes, command, 0); error != 0) return Fail(error);
    if (!command.isRefused()) return 0;
    if (command.senseKey() == 2) return Fail(command.senseCode() == 0x3A ? ENOMEDIUM : EBUSY);
    return Fail(command.senseKey() == 5 ? EINVAL : EIO);
}

int DriveStatus(int file) {
    const auto event = AskDrive(file, {0x4A, 1, 0, 0, 0x10, 0, 0, 0, 8, 0}, 8);
    if (Do(file, {0x00, 0, 0, 0, 0, 0}) == 0) return CDS_DISC_OK;
    if (errno == EIO && Do(file, {0x00, 0, 0, 0, 0, 0}) == 0) return CDS_DISC_OK;  // after a unit attention
    if (errno == EBUSY) return CDS_DRIVE_NOT_READY;
    const bool isOpen = event && event->size() >= 6 && (Big(*event, 5, 1) & 1) != 0;
    return isOpen ? CDS_TRAY_OPEN : CDS_NO_DISC;
}

std::optional<std::vector<std::byte>> Toc(int file, bool isMsf, unsigned format, unsigned track) {
    return AskDrive(file, {0x43, isMsf ? 2u : 0u, format, 0, 0, 0, track, 4, 0, 0}, 1024);
}

int DiscStatus(int file) {
    if (const int status = DriveStatus(file); status != CDS_DISC_OK) return status;
    const auto toc = Toc(file, false, 0, 0);
    if (!toc) return CDS_NO_INFO;
    bool hasData = false, hasAudio = false;
    for (std::size_t at = 4; at + 8 < toc->size(); at += 8)
        ((Big(*toc, at + 1, 1) & 4) != 0 ? hasData : hasAudio) = true;
    return hasData ? (hasAudio ? CDS_MIXED : CDS_DATA_1) : hasAudio ? CDS_AUDIO : CDS_NO_INFO;
}

int ReadTocHead(int file, void* argument) {
    const auto toc = Toc(file, false, 0, 0);
    if (!toc || toc->size() < 4) return Fail(ENOMEDIUM);
    return PutOut(argument, cdrom_tochdr{static_cast<unsigned char>(Big(*toc, 2, 1)),
                                         static_cast<unsigned char>(Big(*toc, 3, 1))});
}

void PutTime(cdrom_addr& address, const std::vector<std::byte>& reply, std::size_t at, bool isMsf) {
    if (isMsf)
        address.msf = {static_cast<unsigned char>(Big(reply, at + 1, 1)),
                       static_cast<unsigned char>(Big(reply, at + 2, 1)),
                       static_cast<unsigned char>(Big(reply, at + 3, 1))};
    else
        address.lba = static_cast<int>(Big(reply, at, 4));
}

int ReadTocEntry(int file, void* argument) {
    cdrom_tocentry entry;
    if (!CopyIn(&entry, argument, sizeof entry)) return Fail(EFAULT);
    if (entry.cdte_format != CDROM_MSF && entry.cdte_format != CDROM_LBA) return Fail(EINVAL);
    const bool isMsf = entry.cdte_format == CDROM_MSF;
    const auto toc = Toc(file, isMsf, 0, entry.cdte_track);
    if (!toc || toc->size() < 12) return Fail(EINVAL);
    entry.cdte_adr = Big(*toc, 5, 1) >> 4 & 15;
    entry.cdte_ctrl = Big(*toc, 5, 1) & 15;
    entry.cdte_datamode = (entry.cdte_ctrl & CDROM_DATA_TRACK) != 0 ? 1 : 0;
    PutTime(entry.cdte_addr, *toc, 8, isMsf);
    return PutOut(argument, entry);
}

int ReadMultiSession(int file, void* argument) {
    cdrom_multisession session;
    if (!CopyIn(&session, argument, sizeof session)) return Fail(EFAULT);
    if (session.addr_format != CDROM_MSF && session.addr_format != CDROM_LBA) return Fail(EINVAL);
    const bool isMsf = session.addr_format == CDROM_MSF;
    const auto toc = Toc(file, isMsf, 1, 0);
    if (!toc || toc->size() < 12) return Fail(ENOMEDIUM);
    session.xa_flag = Big(*toc, 3, 1) > 1 ? 1 : 0;
    PutTime(session.addr, *toc, 8, isMsf);
    return PutOut(argument, session);
}

/// READ SUB-CHANNEL, format 1 (position) and 2 (catalog number).
int ReadSubChannel(int file, void* argument) {
    cdrom_subchnl channel;
    if (!CopyIn(&channel, argument, sizeof channel)) return Fail(EFAULT);
    const auto reply =
        AskDrive(file, {0x42, channel.cdsc_format == CDROM_MSF ? 2u : 0u, 0x40, 1, 0, 0, 0, 0, 16, 0}, 16);
    if (!reply || reply->size() < 16) return Fail(EIO);
    channel.cdsc_audiostatus = static_cast<unsigned char>(Big(*reply, 1, 1));
    channel.cdsc_adr = Big(*reply, 5, 1) >> 4 & 15;
    channel.cdsc_ctrl = Big(*reply, 5, 1) & 15;
    channel.cdsc_trk = static_cast<unsigned char>(Big(*reply, 6, 1));
    channel.cdsc_ind = static_cast<unsigned char>(Big(*reply, 7, 1));
    PutTime(channel.cdsc_absaddr, *reply, 8, channel.cdsc_format == CDROM_MSF);
    PutTime(channel.cdsc_reladdr, *reply, 12, channel.cdsc_format == CDROM_MSF);
    return PutOut(argument, channel);
}

int ReadCatalogNumber(int file, void* argument) {
    const auto reply = AskDrive(file, {0x42, 0, 0x40, 2, 0, 0, 0, 0, 24, 0}, 24);
    if (!reply || reply->size() < 24) return Fail(EIO);
    cdrom_mcn number{};
    for (std::size_t index = 0; index < 13; ++index)
        number.medium_catalog_number[index] = static_cast<unsigned char>(Big(*reply, 9 + index, 1));
    return PutOut(argument, number);
}

int ReadAudio(int file, void* argument) {
    cdrom_read_audio wanted;
    if (!CopyIn(&wanted, argument, sizeof wanted)) return Fail(EFAULT);
    std::int64_t block = wanted.addr.lba;
    if (wanted.addr_format == CDROM_MSF)
        block = (wanted.addr.msf.minute * 60 + wanted.addr.msf.second) * 75 + wanted.addr.msf.frame - 150;
    if (wanted.nframes < 1 || wanted.nframes > 75 || block < 0) return Fail(EINVAL);
    const auto at = [&](unsigned shift) { return static_cast<unsigned>(block >> shift & 0xFF); };
    const auto frames = static_cast<unsigned>(wanted.nframes);
    const auto sound =
        AskDrive(file, {0xBE, 4, at(24), at(16), at(8), at(0), 0, 0, frames, 0xF8, 0, 0}, frames * CD_FRAMESIZE_RAW);
    if (!sound) return Fail(EIO);
    return CopyOut(wanted.buf, sound->data(), sound->size()) ? 0 : Fail(EFAULT);
}

int Capability() {
    return CDC_CLOSE_TRAY | CDC_OPEN_TRAY | CDC_LOCK | CDC_SELECT_SPEED | CDC_MULTI_SESSION | CDC_MCN |
           CDC_MEDIA_CHANGED | CDC_RESET | CDC_DRIVE_STATUS | CDC_GENERIC_PACKET | CDC_CD_R | CDC_CD_RW | CDC_DVD |
           CDC_DVD_R | CDC_DVD_RAM | CDC_RAM;
}

int Eject(int file) {
    if (Do(file, {0x1E, 0, 0, 0, 0, 0}) != 0) return -1;
    return Do(file, {0x1B, 0, 0, 0, 2, 0});
}

int SelectSpeed(int file, std::uintptr_t factor) {
    const unsigned speed = factor == 0 ? 0xFFFF : static_cast<unsigned>(std::min<std::uintptr_t>(factor * 177, 0xFFFF));
    return Do(file, {0xBB, 0, speed >> 8, speed & 0xFF, 0, 0, 0, 0, 0, 0, 0, 0});
}

/// Requests of the SCSI layer and the block layer; nothing for others.
std::optional<int> ControlDevice(int file, unsigned long request, void* argument) {
    int given = 0;
    switch (request) {
        case SG_GET_VERSION_NUM: return PutOut(argument, kSgVersion);
        case SCSI_IOCTL_GET_IDLUN: return PutOut(argument, std::array<int, 2>{0, 0});
        case SCSI_IOCTL_GET_BUS_NUMBER: return PutOut(argument, 0);
        case SG_SET_TIMEOUT: return CopyIn(&given, argument, sizeof given) ? 0 : Fail(EFAULT);
        case SG_GET_TIMEOUT: return kTimeoutTicks;
        case SG_GET_RESERVED_SIZE: return PutOut(argument, kReservedBytes);
        case SG_SET_RESERVED_SIZE:
            if (!CopyIn(&given, argument, sizeof given)) return Fail(EFAULT);
            return given < 0 ? Fail(EINVAL) : 0;
        case SG_EMULATED_HOST: return PutOut(argument, 1);
        case SG_IO: return SendGeneric(file, argument);
        case CDROM_SEND_PACKET: return SendPacket(file, argument);
        case BLKGETSIZE64: return PutOut(argument, std::uint64_t{DriveBlocks(file)} * kBlockBytes);
        case BLKGETSIZE: return PutOut(argument, std::uint64_t{DriveBlocks(file)} * (kBlockBytes / 512));
        case BLKSSZGET: return PutOut(argument, static_cast<int>(kBlockBytes));
        case BLKPBSZGET:
        case BLKBSZGET: return PutOut(argument, static_cast<int>(kBlockBytes));
        case BLKROGET: return PutOut(argument, 0);
        case BLKFLSBUF:
        case BLKRASET: return 0;
        default: return std::nullopt;
    }
}

}  // namespace

int ControlDrive(int file, unsigned long request, void* argument) {
    if (const auto result = ControlDevice(file, request, argument)) return *result;
    const auto number = reinterpret_cast<std::uintptr_t>(argument);
    switch (request) {
        case CDROM_DRIVE_STATUS: return DriveStatus(file);
        case CDROM_DISC_STATUS: return DiscStatus(file);
        case CDROM_GET_CAPABILITY: return Capability();
        case CDROM_CHANGER_NSLOTS: return 1;
        case CDROM_MEDIA_CHANGED:
        case CDROMEJECT_SW:
        case CDROMRESET: return 0;
        case CDROM_SET_OPTIONS:
        case CDROM_CLEAR_OPTIONS: return static_cast<int>(number);
        case CDROM_LOCKDOOR: return Do(file, {0x1E, 0, 0, 0, number != 0 ? 1u : 0u, 0});
        case CDROMEJECT: return Eject(file);
        case CDROMCLOSETRAY: return Do(file, {0x1B, 0, 0, 0, 3, 0});
        case CDROMSTART: return Do(file, {0x1B, 0, 0, 0, 1, 0});
        case CDROMSTOP: return Do(file, {0x1B, 0, 0, 0, 0, 0});
        case CDROM_SELECT_SPEED: return SelectSpeed(file, number);
        case CDROMREADTOCHDR: return ReadTocHead(file, argument);
        case CDROMREADTOCENTRY: return ReadTocEntry(file, argument);
        case CDROMMULTISESSION: return ReadMultiSession(file, argument);
        case CDROMSUBCHNL: return ReadSubChannel(file, argument);
        case CDROM_GET_MCN: return ReadCatalogNumber(file, argument);
        case CDROMREADAUDIO: return ReadAudio(file, argument);
        default: return Fail(ENOTTY);
    }
}

}  // namespace tovlark

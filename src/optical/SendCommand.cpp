#include "optical/SendCommand.h"

#include <algorithm>
#include <array>

#include "app/session/Texts.h"
#include "base/Format.h"
#include "base/Hex.h"
#include "optical/Commands.h"
#include "optical/DriveStatusTable.h"

namespace tovlark {
namespace {

void Log(const DriveRecord& drive, TextId line) {
    if (drive.log != nullptr) drive.log->append(Text(BuiltInText(line)));
}

void LogBytes(const DriveRecord& drive, TextId line, std::span<const std::byte> bytes) {
    if (drive.log != nullptr) drive.log->append(FormatText(BuiltInText(line), {ToHex(bytes)}));
}

bool IsSound(const RawCommand& command) {
    if (command.cdb.empty() || command.cdb.size() > 16) return false;
    if ((command.senseBuffer == nullptr) != (command.senseLength == 0)) return false;
    const auto opcode = std::to_integer<std::uint8_t>(command.cdb[0]);
    const bool isChecked = opcode >> 5 <= 2 || opcode >> 5 == 5;
    if (isChecked && command.cdb.size() != CdbLengthOf(opcode)) return false;
    return command.transferLength != nullptr && (command.buffer == nullptr) == (*command.transferLength == 0);
}

bool LogsData(const RawCommand& command) {
    const CommandRow* row = FindCommand(static_cast<Opcode>(command.cdb[0]));
    return row == nullptr || row->logsData;
}

std::uint32_t ShortenedTimeout(std::uint32_t seconds, std::uint32_t streak) {
    for (; streak > 0 && seconds > 1; --streak) seconds /= 2;
    return seconds;
}

/// Sense data as they came: how many bytes say something, and what.
bool TakeRefusal(const DriveRecord& drive, DriveStatus& status, std::uint8_t opcode, const RawCommand& command,
                 std::span<const std::byte> sense) {
    const ReplyView view(sense);
    if ((view.u8(2) & 0x0F) == 0 && status.scsiStatus == 0) return false;
    const std::size_t length = std::min<std::size_t>({view.u8(7) + 8u, kSenseBytes, sense.size()});
    if (command.senseBuffer != nullptr) std::ranges::copy(sense.first(length), command.senseBuffer);
    const ReplyView said = view.part(0, length);
    status.errorCode = SenseErrorCode(opcode, said.u8(2), said.u8(12), said.u8(13));
    status.senseTriple = SenseIn(said).triple();
    LogBytes(drive, TextId::LogSense, sense.first(length));
    return true;
}

}  // namespace

bool SendCommand(Drive drive, const RawCommand& command) {
    const DriveRecord& record = *drive.record;
    DriveStatus& status = DriveStatuses().of(drive);
    status = {};
    const bool isLogged = record.log != nullptr && !command.cdb.empty() && command.cdb[0] != std::byte{0};
    if (isLogged) LogBytes(record, TextId::LogCommandBlock, command.cdb);
    if (!IsSound(command)) {
        Log(record, TextId::LogCommandRefused);
        return false;
    }

    const auto opcode = std::to_integer<std::uint8_t>(command.cdb[0]);
    const std::uint32_t wanted = *command.transferLength;
    if (command.senseBuffer != nullptr) std::fill_n(command.senseBuffer, command.senseLength, std::byte{0});
    if (command.dataIn) std::fill_n(command.buffer, wanted, std::byte{0});

    // Sense data are asked for even if the caller does without, so that a code says as much with a log as without one.
    std::array<std::byte, 255> senseSpace;
    const std::size_t senseBytes =
        command.senseLength == 0 ? kSenseBytes : std::min<std::size_t>(command.senseLength, senseSpace.size());
    const auto sense = std::span(senseSpace).first(senseBytes);
    std::ranges::fill(sense, std::byte{0});
    PassThrough request{.cdb = command.cdb,
                        .direction = wanted == 0      ? DataDirection::None
                                     : command.dataIn ? DataDirection::In
                                                      : DataDirection::Out,
                        .data = command.buffer,
                        .dataBytes = wanted,
                        .sense = sense,
                        .timeoutSeconds = ShortenedTimeout(command.timeoutSeconds, record.readErrorStreak)};
    if (isLogged && request.direction == DataDirection::Out && LogsData(command))
        LogBytes(record, TextId::LogDataOut, {command.buffer, wanted});

    const SystemError error = record.device.send(record.device.self, request);
    if (request.unsent) {
        Log(record, TextId::LogCommandNoMemory);
        return false;
    }
    *command.transferLength = std::min(request.dataBytes, wanted);
    status.scsiStatus = request.scsiStatus;
    if (error.failed()) {
        if (record.log != nullptr) record.log->append(FormatText(BuiltInText(TextId::LogCommandFailed), {error.code}));
        status.errorCode = TransportErrorCode(opcode, error.code);
        return false;
    }
    if (TakeRefusal(record, status, opcode, command, sense)) return false;
    if (isLogged && request.direction == DataDirection::In && LogsData(command))
        LogBytes(record, TextId::LogDataIn, {command.buffer, *command.transferLength});
    return true;
}

namespace {

/// With everything from the table but what the options say.
bool SendFromTable(Drive drive, const Cdb& cdb, std::byte* buffer, std::uint32_t& length, CommandOptions options) {
    const CommandRow& row = *FindCommand(cdb.opcode());
    std::array<std::byte, kSenseBytes> sense;
    return SendCommand(drive,
                       {.cdb = cdb.view(),
                        .buffer = length == 0 ? nullptr : buffer,
                        .transferLength = &length,
                        .senseBuffer = row.senseBytes == 0 ? nullptr : sense.data(),
                        .senseLength = row.senseBytes,
                        .dataIn = row.direction == DataDirection::In,
                        .timeoutSeconds = options.timeoutSeconds == 0 ? row.timeoutSeconds : options.timeoutSeconds});
}

}  // namespace

bool SendPlain(Drive drive, const Cdb& cdb, CommandOptions options) {
    std::uint32_t length = 0;
    return SendFromTable(drive, cdb, nullptr, length, options);
}

bool SendData(Drive drive, const Cdb& cdb, std::span<const std::byte> data, CommandOptions options) {
    auto length = static_cast<std::uint32_t>(data.size());
    // Outgoing data are only read.
    return SendFromTable(drive, cdb, const_cast<std::byte*>(data.data()), length, options);
}

bool ReceiveData(Drive drive, const Cdb& cdb, std::span<std::byte> buffer, ReplyView& reply, CommandOptions options) {
    auto length = static_cast<std::uint32_t>(buffer.size());
    const bool isDone = SendFromTable(drive, cdb, buffer.data(), length, options);
    reply = isDone ? ReplyView(buffer.first(length)) : ReplyView();
    return isDone;
}

std::uint32_t GetLastDriveError(Drive drive) { return DriveStatuses().of(drive).errorCode; }

Sense GetLastSense(Drive drive) { return SenseOf(DriveStatuses().of(drive).senseTriple); }

std::uint8_t GetLastScsiStatus(Drive drive) { return DriveStatuses().of(drive).scsiStatus; }

}  // namespace tovlark

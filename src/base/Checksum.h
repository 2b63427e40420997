#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace tovlark {

/// CRC-32 of IEEE 802.3: polynomial 0x04C11DB7 reflected, initial value and final XOR 0xFFFFFFFF ("123456789" gives
/// 0xCBF43926). Safe to call from any thread.
std::uint32_t Crc32(std::span<const std::byte> bytes);

/// CRC-16 of polynomial 0x1021, unreflected, initial value 0 ("123456789" gives 0x31C3): ECMA-167 1/7.2.6.
std::uint16_t Crc16(std::span<const std::byte> bytes);

/// The same as `Crc32` over bytes that come in pieces.
class Crc32Stream {
public:
    Crc32Stream();
    ~Crc32Stream();
    Crc32Stream(const Crc32Stream&) = delete;

    void add(std::span<const std::byte> bytes);
    /// The checksum of everything added so far; more may be added afterwards.
    std::uint32_t value() const;

private:
    struct Handle;
    std::unique_ptr<Handle> handle_;
};

using Md5Digest = std::array<std::uint8_t, 16>;

/// MD5 (RFC 1321) over bytes that come in pieces.
class Md5Stream {
public:
    Md5Stream();
    ~Md5Stream();
    Md5Stream(const Md5Stream&) = delete;

    void add(std::span<const std::byte> bytes);
    /// The digest of everything added so far; more may be added afterwards.
    Md5Digest value() const;

private:
    struct Handle;
    std::unique_ptr<Handle> handle_;
};

using Sha256Digest = std::array<std::uint8_t, 32>;

/// SHA-256 (FIPS 180-4) over bytes that come in pieces.
class Sha256Stream {
public:
    Sha256Stream();
    ~Sha256Stream();
    Sha256Stream(const Sha256Stream&) = delete;

    void add(std::span<const std::byte> bytes);
    /// The digest of everything added so far; more may be added afterwards.
    Sha256Digest value() const;

private:
    struct Handle;
    std::unique_ptr<Handle> handle_;
};

}  // namespace tovlark

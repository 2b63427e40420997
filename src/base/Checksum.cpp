#include "base/Checksum.h"

#include <algorithm>
#include <array>
#include <gcrypt.h>
#include <new>

namespace tovlark {

namespace {

// The library wants one initialisation before its first use. CRC-32 and MD5 are no approved digests, so the mode for
// approved ones only must stay off on systems that ask for it.
void InitializeLibrary() {
    static const bool isReady = [] {
        gcry_control(GCRYCTL_NO_FIPS_MODE);
        if (gcry_check_version(nullptr) == nullptr) return false;
        gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
        gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
        return true;
    }();
    if (!isReady) throw std::bad_alloc();
}

std::uint32_t FromDigest(const unsigned char* digest) {
    return std::uint32_t{digest[0]} << 24 | std::uint32_t{digest[1]} << 16 | std::uint32_t{digest[2]} << 8 | digest[3];
}

struct DigestHandle {
    gcry_md_hd_t digest = nullptr;

    explicit DigestHandle(gcry_md_algos algorithm) {
        InitializeLibrary();
        if (gcry_md_open(&digest, algorithm, 0) != 0) throw std::bad_alloc();
    }
    // Reading a digest closes it for further bytes, so that only copies are read.
    DigestHandle(const DigestHandle& other) {
        if (gcry_md_copy(&digest, other.digest) != 0) throw std::bad_alloc();
    }
    ~DigestHandle() { gcry_md_close(digest); }
};

}  // namespace

struct Crc32Stream::Handle : DigestHandle {
    using DigestHandle::DigestHandle;
};

struct Md5Stream::Handle : DigestHandle {
    using DigestHandle::DigestHandle;
};

struct Sha256Stream::Handle : DigestHandle {
    using DigestHandle::DigestHandle;
};

std::uint32_t Crc32(std::span<const std::byte> bytes) {
    InitializeLibrary();
    unsigned char digest[4];
    gcry_md_hash_buffer(GCRY_MD_CRC32, digest, bytes.data(), bytes.size());
    return FromDigest(digest);
}

std::uint16_t Crc16(std::span<const std::byte> bytes) {
    static constexpr auto kTable = [] {
        std::array<std::uint16_t, 256> table{};
        for (std::uint32_t index = 0; index < table.size(); ++index) {
            std::uint32_t value = index << 8;
            for (int bit = 0; bit < 8; ++bit) value = value << 1 ^ ((value & 0x8000) != 0 ? 0x1021u : 0u);
            table[index] = static_cast<std::uint16_t>(value);
        }
        return table;
    }();
    std::uint16_t crc = 0;
    for (const std::byte byte : bytes)
        crc = static_cast<std::uint16_t>(crc << 8 ^ kTable[crc >> 8 ^ std::to_integer<std::uint16_t>(byte)]);
    return crc;
}

Crc32Stream::Crc32Stream() : handle_(std::make_unique<Handle>(GCRY_MD_CRC32)) {}

Crc32Stream::~Crc32Stream() = default;

void Crc32Stream::add(std::span<const std::byte> bytes) { gcry_md_write(handle_->digest, bytes.data(), bytes.size()); }

std::uint32_t Crc32Stream::value() const {
    const DigestHandle copy(*handle_);
    return FromDigest(gcry_md_read(copy.digest, GCRY_MD_CRC32));
}

Md5Stream::Md5Stream() : handle_(std::make_unique<Handle>(GCRY_MD_MD5)) {}

Md5Stream::~Md5Stream() = default;

void Md5Stream::add(std::span<const std::byte> bytes) { gcry_md_write(handle_->digest, bytes.data(), bytes.size()); }

Md5Digest Md5Stream::value() const {
    const DigestHandle copy(*handle_);
    Md5Digest digest;
    std::copy_n(gcry_md_read(copy.digest, GCRY_MD_MD5), digest.size(), digest.begin());
    return digest;
}

Sha256Stream::Sha256Stream() : handle_(std::make_unique<Handle>(GCRY_MD_SHA256)) {}

Sha256Stream::~Sha256Stream() = default;

void Sha256Stream::add(std::span<const std::byte> bytes) { gcry_md_write(handle_->digest, bytes.data(), bytes.size()); }

Sha256Digest Sha256Stream::value() const {
    const DigestHandle copy(*handle_);
    Sha256Digest digest;
    std::copy_n(gcry_md_read(copy.digest, GCRY_MD_SHA256), digest.size(), digest.begin());
    return digest;
}

}  // namespace tovlark

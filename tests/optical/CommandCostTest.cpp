// What a command costs beside its device: no memory is taken, no data are copied.
#include <array>
#include <cstdlib>
#include <gtest/gtest.h>
#include <new>

#include "optical/SendCommand.h"
#include "support/FakeSession.h"

namespace {
std::size_t allocations = 0;
}

[[gnu::noinline]] void* operator new(std::size_t size) {
    ++allocations;
    if (void* const memory = std::malloc(size != 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}
// Compilers that see `free` beside a `new` which they did not look into take the two for a mismatch.
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace tovlark {
namespace {

TEST(SendCommand, WithoutALogTakesNoMemoryAndCopiesNoData) {
    static const std::byte* dataSeen;
    const FakeSession around;
    const DiscDevice device{nullptr,
                            [](void*, PassThrough& command) {
                                dataSeen = command.data;
                                return SystemError{};
                            },
                            nullptr, nullptr};
    const OpenedDrive opened({.device = device, .clock = &around.clock});
    std::array<std::byte, 65536> buffer{};
    ReplyView reply;
    const std::size_t before = allocations;
    const bool isWritten = WriteBlocks(opened.get(), Lba{0}, buffer, 2048);
    const std::byte* const written = dataSeen;
    const bool isRead = ReceiveData(opened.get(), Read10(Lba{0}, 32), buffer, reply);
    const std::size_t after = allocations;
    EXPECT_TRUE(isWritten && isRead);
    EXPECT_EQ(written, buffer.data());
    EXPECT_EQ(dataSeen, buffer.data());
    EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace tovlark

#include <gmock/gmock.h>

#include "optical/DriveMap.h"
#include "optical/FakeDrive.h"

namespace tovlark {
namespace {

std::vector<SystemDrive> ThreeDrives() { return {{0, u"/dev/sr0"}, {0, u"/dev/sr1"}, {0, u"/dev/sr2"}}; }

std::vector<SystemDrive> DrivesWithLetters() { return {{u'E', u"first"}, {u'F', u"second"}}; }

std::string Listing(const DriveMap& map) {
    std::string listing;
    for (const DriveLetter& drive : ListDrives(map))
        listing += ToUtf8(Text(1, drive.letter) + u"=" + drive.target + (drive.isMapped ? u"! " : u" "));
    return listing;
}

TEST(ListDrives, MappedLettersComeFirstAndTheOthersTakeWhatIsFree) {
    FakeSession fake;
    DriveMap map = MapDrives(fake.task);
    EXPECT_EQ(map.commandLog, nullptr) << "nobody keeps the log";
    map.systemDrives = &ThreeDrives;
    EXPECT_EQ(Listing(map), "D=/dev/sr0 E=/dev/sr1 F=/dev/sr2 ");
    fake.fakeSettings.put(u"E", Text(u"sim:/tmp/a"), kDrivesKey);
    fake.fakeSettings.put(u"B", Text(u"/dev/sr1"), kDrivesKey);
    EXPECT_EQ(Listing(map), "B=/dev/sr1! D=/dev/sr0 E=sim:/tmp/a! F=/dev/sr2 ");
    map.systemDrives = &DrivesWithLetters;
    EXPECT_EQ(Listing(map), "B=/dev/sr1! E=sim:/tmp/a! F=second ") << "a mapped letter wins over the system's";
}

TEST(ParseDrive, TakesLettersFromDWithColonAndBackslashOnly) {
    for (const TextView word : {u"F:", u"f:", u"F:\\", u"f:\\"}) EXPECT_EQ(ParseDrive(word), u'F') << ToUtf8(word);
    EXPECT_EQ(ParseDrive(u"D:"), u'D');
    EXPECT_EQ(ParseDrive(u"z:"), u'Z');
    for (const TextView word : {u"", u"F", u"C:", u"c:", u"A:\\", u"[:", u"{:", u"F:\\x", u"F:x", u"F:/", u"FF:", u":",
                                u"5:", u" F:", u"\u00C4:", u"\uFF26:"})
        EXPECT_EQ(ParseDrive(word), std::nullopt) << ToUtf8(word);
}

struct Pretended {
    static inline std::uint8_t deviceType;
    static inline int openCount;
    static bool open(const Text& target, const Clock&, DiscDevice& device, DriveFault& fault) {
        if (target == u"broken") {
            fault = {TextId::DriveNotOpened, target, u"damaged"};
            return false;
        }
        ++openCount;
        device.send = [](void*, PassThrough& command) {
            if (command.dataBytes != 0) command.data[0] = std::byte{deviceType};
            return SystemError{};
        };
        device.close = [](void*) { --openCount; };
        return true;
    }
};

TEST(OpenDrive, RefusesWithAReason) {
    FakeSession fake;
    DriveMap map = MapDrives(fake.task);
    map.systemDrives = [] { return std::vector<SystemDrive>(); };
    map.sources.push_back({u"sim:", &Pretended::open});
    const struct {
        Text target;
        std::uint8_t deviceType;
        std::string reason;
    } cases[] = {
        {u"sim:good", 0x85, ""},
        {u"sim:stick", 0, "Drive F: is sim:stick, which is not an optical drive."},
        {u"sim:broken", 5, "Drive F: (broken) cannot be opened: damaged."},
        {u"tape:x", 5, "Drive F: is tape:x, a kind of drive that this program does not have."},
        {u"", 5, "There is no optical drive F:."},
    };
    for (const auto& each : cases) {
        fake.fakeSettings.put(u"F", each.target, kDrivesKey);
        Pretended::deviceType = each.deviceType;
        DriveFault fault;
        {
            const OpenedDrive drive = OpenDrive(map, u'f', fault);
            ASSERT_EQ(static_cast<bool>(drive), each.reason.empty()) << each.reason;
            EXPECT_EQ(Pretended::openCount, drive ? 1 : 0);
            if (!drive) {
                EXPECT_EQ(ToUtf8(DescribeFault(fake.texts, u'f', fault)), each.reason);
            }
        }
        EXPECT_EQ(Pretended::openCount, 0);
    }
}

}  // namespace
}  // namespace tovlark

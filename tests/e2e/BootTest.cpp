#include <csignal>
#include <gmock/gmock.h>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

namespace fs = std::filesystem;

/// Images that an emulated machine boots from.
class Boot : public testing::Test {
protected:
    static bool succeeds(const std::string& script, const fs::path& folder = {}) {
        const ProgramEnd end = RunProgram({.words = {"sh", "-c", script}, .folder = folder});
        if (end.status != 0) std::fputs((end.output + end.errors).c_str(), stderr);
        return end.status == 0;
    }
    /// Why this machine cannot try it; empty when it can.
    static std::string missing(const std::vector<std::string>& files) {
        if (TestingWindowsPrograms()) return "the native programs are tried";
        if (!succeeds("command -v qemu-system-x86_64 > /dev/null")) return "qemu-system-x86 is not installed";
        for (const std::string& file : files)
            if (!fs::exists(file)) return file + " is not installed";
        return {};
    }
    void create() const {
        const ProgramEnd end = RunProgram(
            {.words = OurProgram("tvcmd", {"create", "-o", "x.iso", "-add", "tree/.", "/"}), .folder = work_.path()});
        ASSERT_EQ(end.status, 0) << end.output;
        EXPECT_THAT(end.output, testing::HasSubstr("The image boots from /"));
    }
    /// Starts the machine; true once the word has come through its serial port.
    bool boots(const std::string& word, const std::vector<std::string>& firmware = {}) const {
        std::vector<std::string> words{"qemu-system-x86_64",
                                       "-m",
                                       "256",
                                       "-display",
                                       "none",
                                       "-monitor",
                                       "none",
                                       "-serial",
                                       "stdio",
                                       "-net",
                                       "none",
                                       "-no-reboot",
                                       "-boot",
                                       "d",
                                       "-cdrom",
                                       (work_ / "x.iso").string()};
        words.insert(words.end(), firmware.begin(), firmware.end());
        RunningProgram machine({.words = words, .timeLimit = std::chrono::seconds(50)});
        const bool isUp = machine.waitForOutput(word);
        machine.signal(SIGKILL);
        if (!isUp) std::fputs(machine.finish().output.c_str(), stderr);
        return isUp;
    }
    std::string loaderScript(const std::string& word) const {
        return work_
            .write("loader.cfg", "serial --unit=0 --speed=115200\nterminal_output serial\necho " + word + "\nhalt\n")
            .string();
    }

    TempFolder work_;
};

TEST_F(Boot, IsolinuxFindsItselfAndItsConfiguration) {
    const std::string loader = "/usr/lib/ISOLINUX/isolinux.bin", module = "/usr/lib/syslinux/modules/bios/ldlinux.c32";
    if (const std::string why = missing({loader, module}); !why.empty()) GTEST_SKIP() << why;
    work_.write("tree/isolinux/isolinux.cfg", "SERIAL 0 115200\nDEFAULT disk\nLABEL disk\n  LOCALBOOT -1\n");
    fs::copy(loader, work_ / "tree/isolinux/isolinux.bin");
    fs::copy(module, work_ / "tree/isolinux/ldlinux.c32");
    create();
    EXPECT_TRUE(boots("Booting from local disk")) << "what the configuration tells it to do";
}

TEST_F(Boot, GrubStartsFromBothFirmwares) {
    const std::string firmware = "/usr/share/ovmf/OVMF.fd";
    if (const std::string why =
            missing({firmware, "/usr/lib/grub/i386-pc", "/usr/lib/grub/x86_64-efi", "/usr/bin/mcopy"});
        !why.empty())
        GTEST_SKIP() << why;
    fs::create_directories(work_ / "tree/boot/grub/i386-pc");
    loaderScript("BIOS-HAS-BOOTED");
    ASSERT_TRUE(
        succeeds("grub-mkimage -O i386-pc-eltorito -o tree/boot/grub/i386-pc/eltorito.img -p /boot/grub -c loader.cfg "
                 "biosdisk iso9660 serial terminal echo halt",
                 work_.path()));
    loaderScript("UEFI-HAS-BOOTED");
    ASSERT_TRUE(succeeds(
        "grub-mkimage -O x86_64-efi -o BOOTX64.EFI -p /EFI/BOOT -c loader.cfg fat serial terminal echo halt && "
        "mformat -C -i tree/boot/grub/efi.img -f 2880 :: && mmd -i tree/boot/grub/efi.img ::/EFI ::/EFI/BOOT && "
        "mcopy -i tree/boot/grub/efi.img BOOTX64.EFI ::/EFI/BOOT/",
        work_.path()));
    create();
    EXPECT_TRUE(boots("BIOS-HAS-BOOTED"));
    EXPECT_TRUE(boots("UEFI-HAS-BOOTED", {"-bios", firmware}));
}

}  // namespace
}  // namespace tovlark

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

using testing::HasSubstr;

TEST(Install, WorksFromWhereItWasPut) {
    const TempFolder folder;
    const std::string prefix = folder / "usr";
    const ProgramEnd installed = RunProgram({.words = {TOVLARK_CMAKE, "--install", TOVLARK_BUILD, "--prefix", prefix}});
    ASSERT_EQ(installed.status, 0) << installed.errors;
    for (const char* file :
         {"bin/tovlark", "bin/tvcmd", "bin/tvdrive", "bin/tvset", "share/man/man1/tovlark.1.gz",
          "share/man/man1/tvcmd.1.gz", "share/man/man1/tvdrive.1.gz", "share/man/man1/tvset.1.gz", "share/tovlark/Lang",
          "share/bash-completion/completions/tvcmd", "share/bash-completion/completions/tvdrive",
          "share/zsh/site-functions/_tvcmd", "share/zsh/site-functions/_tvdrive"})
        EXPECT_TRUE(std::filesystem::exists(folder / "usr" / file)) << file;

    // 0x0418: a language that nobody has translated.
    folder.write("usr/share/tovlark/Lang/other.ini", "[Language]\nId=1048\n[String]\n100=Nothing here.\n");
    folder.write("config/tovlark/tovlark.ini", "[Settings]\nLanguage=1048\n");
    const ProgramEnd end =
        RunProgram({.words = {prefix + "/bin/tvcmd"}, .environment = {{"XDG_CONFIG_HOME", folder / "config"}}});
    EXPECT_THAT(end.output, HasSubstr("Nothing here."));
    EXPECT_EQ(end.status, 255);
}

}  // namespace
}  // namespace tovlark

// What only POSIX systems have in a folder: links, FIFOs, modes, names that are not text.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "authoring/AddingFixture.h"
#include "platform/Files.h"

namespace tovlark {
namespace {

/// Root may read everything: for a while this process is somebody else.
class AsNobody {
public:
    AsNobody() : wasRoot_(geteuid() == 0) {
        if (wasRoot_ && seteuid(65534) != 0) ADD_FAILURE() << "cannot give up root";
    }
    ~AsNobody() {
        if (wasRoot_ && seteuid(0) != 0) ADD_FAILURE() << "cannot become root again";
    }

private:
    bool wasRoot_;
};

TEST(AddingOnPosix, LinksAndSpecialFilesOfAFolder) {
    for (const bool keepsLinks : {false, true}) {
        AddingFixture made;
        made.context.keepSymbolicLinks = keepsLinks;
        made.disk.write("top/file", "1");
        std::filesystem::create_symlink("no/such target", made.disk / "top/link");
        std::filesystem::create_directory_symlink("..", made.disk / "top/loop");
        ASSERT_EQ(mkfifo((made.disk / "top/pipe").c_str(), 0644), 0);
        ASSERT_EQ(mkfifo((made.disk / "top/pipe2").c_str(), 0644), 0);
        EXPECT_EQ(made.add("top", u"/"), AddResult::Done);
        using Paths = std::vector<std::string>;
        EXPECT_EQ(made.tree(),
                  keepsLinks ? (Paths{"/top/", "/top/file", "/top/link", "/top/loop"}) : (Paths{"/top/", "/top/file"}));
        if (keepsLinks) {
            const CompilationNode& link = *FindNode(made.context, u"/top/link");
            EXPECT_EQ(link.kind, NodeKind::SymbolicLink);
            EXPECT_EQ(link.linkTarget, u"no/such target");
        }
        EXPECT_NE(made.fake.streams.output.find("left out: 2"), std::string::npos) << made.fake.streams.output;
        EXPECT_EQ(made.fake.log.lines().size(), 2U);
        EXPECT_FALSE(made.fake.flags.error);
    }
}

TEST(AddingOnPosix, LinksAndSpecialFilesNamedByTheUser) {
    AddingFixture made;
    made.disk.write("top/file", "1");
    std::filesystem::create_directory_symlink("top", made.disk / "link");
    ASSERT_EQ(mkfifo((made.disk / "pipe").c_str(), 0644), 0);
    for (const char* path : {"link", "link/", "pipe"}) {
        made.fake.flags.error = false;
        made.fake.streams.output.clear();
        EXPECT_EQ(made.add(path, u"/"), AddResult::Done);
        EXPECT_TRUE(made.fake.flags.error) << path;
        EXPECT_NE(made.fake.streams.output.find("Cannot copy "), std::string::npos) << path;
    }
    EXPECT_TRUE(made.tree().empty());
    EXPECT_EQ(made.add("link/.", u"/"), AddResult::Done);
    EXPECT_EQ(made.tree(), std::vector<std::string>{"/file"});
}

TEST(AddingOnPosix, WhatCannotBeReadIsAskedAboutAndTheWalkGoesOn) {
    const struct {
        const char* fault;
        const char* typed;
        bool isCancelled;
    } cases[] = {{"goes on", "y\ny\n", false}, {"stops", "n\n", true}, {"input ends", "", true}};
    for (const auto& one : cases) {
        AddingFixture made;
        made.disk.write("top/file", "1");
        made.disk.write("top/secret", "1");
        made.disk.write("top/closed/x", "1");
        ASSERT_EQ(chmod((made.disk / "top/secret").c_str(), 0200), 0);
        ASSERT_EQ(chmod((made.disk / "top/closed").c_str(), 0), 0);
        made.fake.streams.input = one.typed;
        {
            const AsNobody nobody;
            made.add("top", u"/");
        }
        EXPECT_TRUE(made.fake.flags.error) << one.fault;
        EXPECT_EQ(made.fake.flags.cancel, one.isCancelled) << one.fault;
        const std::string& output = made.fake.streams.output;
        EXPECT_NE(output.find("Permission denied"), std::string::npos) << one.fault;
        EXPECT_NE(output.find("\r\n\r\nDo you want to continue?"), std::string::npos) << one.fault;
        const std::vector<std::string> all{"/top/", "/top/closed/", "/top/file"};
        EXPECT_TRUE(one.isCancelled || made.tree() == all) << one.fault;
        ASSERT_EQ(chmod((made.disk / "top/closed").c_str(), 0755), 0);
    }
}

TEST(AddingOnPosix, NamesThatAreNotTextStayAsTheyAreAndGetSafeNames) {
    AddingFixture made;
    made.disk.write(
        "top/bad\xFF"
        "name",
        "1");
    made.disk.write("top/line\nend", "1");
    made.add("top", u"/");
    EXPECT_EQ(made.tree(), (std::vector<std::string>{"/top/",
                                                     "/top/bad\xFF"
                                                     "name",
                                                     "/top/line\nend"}));
    FileInfo info;
    for (const CompilationNode* child : FindNode(made.context, u"/top")->folder->children)
        EXPECT_FALSE(GetFileInfo(SourcePath(*child), info).failed()) << ToUtf8(child->longName);
}

TEST(AddingOnPosix, HardLinkCountsAndModesAreKept) {
    AddingFixture made;
    made.disk.write("top/a", "1");
    std::filesystem::create_hard_link(made.disk / "top/a", made.disk / "top/b");
    ASSERT_EQ(chmod((made.disk / "top/a").c_str(), 04711), 0);
    made.add("top", u"/");
    EXPECT_EQ(FindNode(made.context, u"/top/b")->links, 2U);
    EXPECT_EQ(FindNode(made.context, u"/top/b")->mode, 0104711U);
}

}  // namespace
}  // namespace tovlark

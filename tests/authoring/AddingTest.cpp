#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "authoring/Adding.h"
#include "authoring/AddingFixture.h"
#include "platform/Files.h"

namespace tovlark {
namespace {

TEST(Adding, TheKindOfPathDecidesWhatLandsWhere) {
    const struct {
        const char* fault;
        std::string below;  // the temporary folder
        std::vector<std::string> expected;
    } cases[] = {
        {"a folder goes in under its name",
         "top",
         {"/in/", "/in/top/", "/in/top/a.txt", "/in/top/sub/", "/in/top/sub/b"}},
        {"a trailing separator changes nothing",
         "top/",
         {"/in/", "/in/top/", "/in/top/a.txt", "/in/top/sub/", "/in/top/sub/b"}},
        {"only the contents", "top/.", {"/in/", "/in/a.txt", "/in/sub/", "/in/sub/b"}},
        {"only the contents, with more separators", "top//.//", {"/in/", "/in/a.txt", "/in/sub/", "/in/sub/b"}},
        {"the real folder's name",
         "top/sub/..",
         {"/in/", "/in/top/", "/in/top/a.txt", "/in/top/sub/", "/in/top/sub/b"}},
        {"a file", "top/a.txt", {"/in/", "/in/a.txt"}},
    };
    for (const auto& one : cases) {
        AddingFixture made;
        made.disk.write("top/a.txt", "abc");
        made.disk.write("top/sub/b", "");
        EXPECT_EQ(made.add(one.below, u"/in"), AddResult::Done) << one.fault;
        EXPECT_EQ(made.tree(), one.expected) << one.fault;
        EXPECT_FALSE(made.fake.flags.error) << one.fault;
    }
}

TEST(Adding, TheFileKnowsItsSourceSizeAndDate) {
    AddingFixture made;
    const std::filesystem::path file = made.disk.write("top/a.txt", "abc");
    ASSERT_EQ(made.add("top", u"/"), AddResult::Done);
    const CompilationNode& node = *FindNode(made.context, u"/top/a.txt");
    EXPECT_TRUE(std::filesystem::equivalent(std::filesystem::path(SourcePath(node)), file));
    EXPECT_EQ(node.sizeBytes, 3U);
    FileInfo info;
    ASSERT_FALSE(GetFileInfo(SourcePath(node), info).failed());
    EXPECT_EQ(node.date, info.modified);
    EXPECT_EQ(node.mode, info.mode);
}

TEST(Adding, WhatDoesNotExistIsTheCallersToReport) {
    AddingFixture made;
    made.disk.write("file", "x");
    for (const char* path : {"missing", "file/."}) EXPECT_EQ(made.add(path, u"/"), AddResult::NotFound) << path;
    EXPECT_EQ(AddFromDisk(made.fake.task, made.context, u"", *made.context.root), AddResult::NotFound);
    EXPECT_EQ(made.fake.streams.output, "");
}

TEST(Adding, ClashesAreRefusedMergedOrAskedAbout) {
    const struct {
        const char* fault;
        std::string first, second;  // a name ending in '/' is a folder
        const char* typed;
        const char* said;
        std::uint64_t sizeBytes;  // of /x afterwards
        bool isError, isCancelled;
    } cases[] = {
        {"file onto folder", "1/x/y", "2/x", "", "A folder with the name you specified already exists.", 0, true,
         false},
        {"folder onto file", "1/x", "2/x/y", "", "A file with the name you specified already exists.", 1, true, false},
        {"replaced", "1/x", "2/x", "yes\r\n", "/x already exists", 2, false, false},
        {"kept", "1/x", "2/x", "no\r\n", "Cannot copy", 1, true, false},
        {"cancelled", "1/x", "2/x", "cancel\r\n", "/x already exists", 1, false, true},
        {"folders merge", "1/x/y", "2/x/z", "", "", 0, false, false},
    };
    for (const auto& one : cases) {
        AddingFixture made;
        made.disk.write(one.first, "1");
        made.disk.write(one.second, "22");
        made.fake.streams.input = one.typed;
        made.add("1/.", u"/");
        made.add("2/.", u"/");
        EXPECT_NE(made.fake.streams.output.find(one.said), std::string::npos) << one.fault << made.fake.streams.output;
        EXPECT_EQ(FindNode(made.context, u"/x")->sizeBytes, one.sizeBytes) << one.fault;
        EXPECT_EQ(made.fake.flags.error, one.isError) << one.fault;
        EXPECT_EQ(made.fake.flags.cancel, one.isCancelled) << one.fault;
        EXPECT_EQ(made.context.root->folder->children.size(), 1U) << one.fault;
    }
}

TEST(Adding, AnswersToAllAreRememberedAndTheWalkGoesOn) {
    for (const bool replaces : {true, false}) {
        AddingFixture made;
        for (const char* name : {"a", "b", "c"}) {
            made.disk.write(std::string("1/") + name, "1");
            made.disk.write(std::string("2/") + name, "22");
        }
        made.disk.write("2/new", "22");
        made.fake.streams.input = replaces ? "yesall\r\n" : "noall\r\n";
        made.add("1/.", u"/");
        made.add("2/.", u"/");
        EXPECT_EQ(made.fake.streams.promptCount, 1U);
        for (const CompilationNode* child : made.context.root->folder->children)
            EXPECT_EQ(child->sizeBytes, replaces || child->longName == u"new" ? 2U : 1U) << ToUtf8(child->longName);
        EXPECT_EQ(made.context.root->folder->children.size(), 4U);
        EXPECT_EQ(made.fake.flags.error, !replaces);
    }
}

TEST(Adding, SpecialEntriesAreNotReplaced) {
    AddingFixture made;
    made.context.newNode(NodeKind::File, *made.context.root, u"AVSEQ01.DAT").trackLink = -255;
    made.add(made.disk.write("AVSEQ01.DAT", "x").filename().string(), u"/");
    EXPECT_NE(made.fake.streams.output.find("A special entry already present on the target location."),
              std::string::npos);
    EXPECT_TRUE(made.fake.flags.error);
    EXPECT_EQ(FindNode(made.context, u"/AVSEQ01.DAT")->sizeBytes, 0U);
}

TEST(Adding, PathsOf1024CharactersAreSkippedWithALogLine) {
    AddingFixture made;
    const std::string below = made.disk.path().string();
    std::string path = "deep";
    while (below.size() + 1 + path.size() + 200 < 1000) path += "/" + std::string(199, 'd');
    const std::size_t left = 1024 - (below.size() + 1 + path.size() + 1);
    made.disk.write(path + "/" + std::string(left, 'x'), "1");
    made.disk.write(path + "/" + std::string(left - 1, 'y'), "1");
    made.add("deep", u"/");
    const std::vector<std::string> tree = made.tree();
    EXPECT_TRUE(tree.back().ends_with("/" + std::string(left - 1, 'y')));
    EXPECT_TRUE(std::ranges::none_of(tree, [](const std::string& name) { return name.ends_with("x"); }));
    ASSERT_EQ(made.fake.log.lines().size(), 1U);
    EXPECT_FALSE(made.fake.flags.error);
}

TEST(Adding, TheCancelFlagStopsTheWalk) {
    AddingFixture made;
    for (char name = 'a'; name <= 'z'; ++name) made.disk.write(std::string("top/") + name, "1");
    made.fake.flags.cancel = true;
    made.add("top", u"/");
    EXPECT_EQ(made.tree(), std::vector<std::string>{"/top/"});
}

TEST(Adding, TheRuleForLargeFiles) {
    const struct {
        bool isIsoOn, isFixed, hasBoot;
        RockRidgeChoice rockRidge;
        LargeFileRule expected;
    } cases[] = {
        {true, false, false, RockRidgeChoice::Automatic, LargeFileRule::SwitchToUdf},
        {true, false, false, RockRidgeChoice::Off, LargeFileRule::SwitchToUdf},
        {true, false, false, RockRidgeChoice::On, LargeFileRule::KeepInUdfTreeOnly},
        {true, false, true, RockRidgeChoice::Off, LargeFileRule::KeepInUdfTreeOnly},
        {true, true, false, RockRidgeChoice::Automatic, LargeFileRule::Refuse},
        {true, true, true, RockRidgeChoice::On, LargeFileRule::Refuse},
        {false, true, false, RockRidgeChoice::Automatic, LargeFileRule::Allowed},
    };
    for (const auto& one : cases) {
        ImageBuildContext context;
        context.isoEnabled = one.isIsoOn;
        context.fileSystemsFixed = one.isFixed;
        if (one.hasBoot) context.boot.emplace();
        context.rockRidge = one.rockRidge;
        EXPECT_EQ(RuleForLargeFile(context), one.expected) << &one - cases;
    }
}

TEST(Adding, FilesBeyondTheLimitAreRefusedOrSwitchToUdf) {
    const struct {
        bool isFixed;
        RockRidgeChoice rockRidge;
        bool isAdded, hasIso;
    } cases[] = {
        {true, RockRidgeChoice::Automatic, false, true},
        {false, RockRidgeChoice::Automatic, true, false},
        {false, RockRidgeChoice::On, true, true},
    };
    for (const auto& one : cases) {
        AddingFixture made;
        made.context.fileSystemsFixed = one.isFixed;
        made.context.rockRidge = one.rockRidge;
        std::filesystem::resize_file(made.disk.write("top/large", ""), 0x1'0000'0000);
        std::filesystem::resize_file(made.disk.write("top/largest", ""), 0xFFFF'FFFF);
        made.add("top", u"/");
        EXPECT_EQ(FindNode(made.context, u"/top/large") != nullptr, one.isAdded);
        EXPECT_NE(FindNode(made.context, u"/top/largest"), nullptr);
        EXPECT_EQ(made.fake.flags.error, !one.isAdded);
        EXPECT_EQ(made.context.isoEnabled, one.hasIso);
        EXPECT_EQ(made.context.udfEnabled, one.isAdded);
        EXPECT_EQ(made.context.jolietEnabled, !one.isAdded);
        const char* words = one.isAdded ? "" : "(4.00 GB)\r\n\r\nThe maximum allowed file size on disc is 4GB";
        EXPECT_NE(made.fake.streams.output.find(words), std::string::npos) << made.fake.streams.output;
    }
}

TEST(Adding, FoldersOfTheImageAreMadeOnceAndNeverThroughAFile) {
    AddingFixture made;
    CompilationNode* folder = MakeFolders(made.fake.task, made.context, u"/a//b/");
    ASSERT_NE(folder, nullptr);
    EXPECT_EQ(PathInImage(*folder), u"/a/b");
    EXPECT_EQ(MakeFolders(made.fake.task, made.context, u"/a/b"), folder);
    EXPECT_EQ(MakeFolders(made.fake.task, made.context, u"/"), made.context.root);
    EXPECT_FALSE(made.fake.flags.error);

    made.context.newNode(NodeKind::File, *folder, u"file");
    const Text longName = u"/" + Text(256, u'x');
    for (const TextView path :
         {TextView(u"/a/b/file/c"), TextView(u"/a/../c"), TextView(u"/./c"), TextView(longName)}) {
        made.fake.flags.error = false;
        EXPECT_EQ(MakeFolders(made.fake.task, made.context, path), nullptr) << ToUtf8(path);
        EXPECT_TRUE(made.fake.flags.error) << ToUtf8(path);
    }
}

TEST(MovingAndCopying, RefuseWhatCannotBeAndKeepTheTree) {
    AddingFixture made;
    ImageBuildContext& context = made.context;
    for (const char* file : {"a/b/f", "a/g", "c/g", "c/b"}) made.disk.write(file, file);
    made.add(".", u"/");
    const auto at = [&](TextView path) -> CompilationNode& { return *FindNode(context, path); };
    const Text top = u"/" + FromUtf8(made.disk.path().filename().string());
    const std::vector<std::string> before = made.tree();
    const struct {
        TextView from, to;
        const char* said;
    } cases[] = {
        {u"/a", u"/a/b", "The destination folder is a subfolder of the source folder."},
        {u"/a", u"/a", "The destination folder is a subfolder of the source folder."},
        {u"/a", u"", "The destination folder is the same as the source folder."},
        {u"/a/b", u"/c", "A file with the name you specified already exists."},
        {u"/c/b", u"/a", "A folder with the name you specified already exists."},
    };
    for (const auto& one : cases)
        for (const bool isMove : {true, false}) {
            made.fake.streams.output.clear();
            CompilationNode& node = at(top + Text(one.from));
            CompilationNode& target = at(top + Text(one.to));
            EXPECT_EQ(isMove ? MoveNode(made.fake.task, context, node, target)
                             : CopyNode(made.fake.task, context, node, target),
                      Status::Failed);
            EXPECT_NE(made.fake.streams.output.find(one.said), std::string::npos) << made.fake.streams.output;
            EXPECT_EQ(made.fake.streams.output.starts_with(isMove ? "Cannot move " : "Cannot copy "), true);
            EXPECT_EQ(made.tree(), before);
        }
}

TEST(MovingAndCopying, CarryEverythingBelow) {
    AddingFixture made;
    made.disk.write("a/b/f", "12345");
    made.disk.write("c/g", "");
    made.add("a", u"/");
    made.add("c", u"/");
    CompilationNode& a = *FindNode(made.context, u"/a");
    CompilationNode& c = *FindNode(made.context, u"/c");
    EXPECT_EQ(CopyNode(made.fake.task, made.context, a, c), Status::Ok);
    EXPECT_EQ(FindNode(made.context, u"/c/a/b/f")->sizeBytes, 5U);
    EXPECT_EQ(SourcePath(*FindNode(made.context, u"/c/a/b/f")), SourcePath(*FindNode(made.context, u"/a/b/f")));

    made.context.priority = {FindNode(made.context, u"/a/b/f"), FindNode(made.context, u"/c/g")};
    DeleteNode(made.context, a);
    EXPECT_EQ(made.context.priority, std::vector<CompilationNode*>{FindNode(made.context, u"/c/g")});
    EXPECT_EQ(MoveNode(made.fake.task, made.context, *FindNode(made.context, u"/c/a/b"), *made.context.root),
              Status::Ok);
    EXPECT_EQ(made.tree(), (std::vector<std::string>{"/b/", "/b/f", "/c/", "/c/a/", "/c/g"}));
}

}  // namespace
}  // namespace tovlark

#include <deque>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>

#include "authoring/AddingFixture.h"
#include "authoring/IdenticalFiles.h"
#include "platform/Files.h"

namespace tovlark {
namespace {

std::string Bytes(std::size_t count, char seed) {
    std::string bytes(count, seed);
    for (std::size_t index = 0; index < count; index += 97) bytes[index] = static_cast<char>(index * 7 + seed);
    return bytes;
}

std::string Changed(std::string bytes, std::size_t at) {
    bytes[at] = static_cast<char>(bytes[at] ^ 1);
    return bytes;
}

struct Compared : AddingFixture {
    void write(const std::map<std::string, std::string>& files) {
        for (const auto& [name, bytes] : files) disk.write("top/" + name, bytes);
        add("top/.", u"/");
    }
    CompilationNode& at(TextView name) { return *FindChild(*context.root, name); }
    /// "a=b" for every file that shares the data of another, with the first name of each group on the right.
    std::string shared() {
        const IdenticalFiles identical = FindIdenticalFiles(fake.task, context);
        std::map<const CompilationNode*, std::string> first;
        std::string text;
        for (const std::string& path : tree()) {
            CompilationNode& node = *FindNode(context, FromUtf8(path));
            if (node.isFolder()) continue;
            const auto [place, isNew] = first.try_emplace(&identical.leaderOf(node), path.substr(1));
            if (!isNew) text += path.substr(1) + "=" + place->second + " ";
        }
        return text;
    }
};

TEST(IdenticalFiles, ShareWhenTheirBytesAreEqual) {
    const std::string small = Bytes(100, 'a'), chunk = Bytes(32768, 'b'), large = Bytes(200'001, 'c');
    const std::string outsideSample = Changed(large, 5000);
    const struct {
        const char* fault;
        std::map<std::string, std::string> files;
        const char* expected;
    } cases[] = {
        {"equal", {{"a", small}, {"b", small}, {"c", large}, {"d", large}}, "b=a d=c "},
        {"last byte differs", {{"a", small}, {"b", Changed(small, 99)}}, ""},
        {"size differs", {{"a", small}, {"b", small + "x"}}, ""},
        {"empty files share nothing", {{"a", ""}, {"b", ""}}, ""},
        {"one chunk exactly", {{"a", chunk}, {"b", chunk}, {"c", Changed(chunk, 32767)}}, "b=a "},
        {"one byte beyond a chunk", {{"a", chunk + "x"}, {"b", chunk + "x"}, {"c", chunk + "y"}}, "b=a "},
        {"equal sample, different content",
         {{"a", large}, {"b", outsideSample}, {"c", large}, {"d", outsideSample}, {"e", Changed(large, 70'000)}},
         "c=a d=b "},
        {"short last sector differs", {{"a", large}, {"b", Changed(large, 200'000)}}, ""},
    };
    for (const auto& one : cases) {
        Compared made;
        made.write(one.files);
        EXPECT_EQ(made.shared(), one.expected) << one.fault;
        EXPECT_EQ(made.context.error, BuildError::None) << one.fault;
    }
}

TEST(IdenticalFiles, ManyOfOneFingerprintAreGroupedByContent) {
    const std::string bytes = Bytes(100'000, 'a');
    Compared made;
    std::map<std::string, std::string> files;
    for (char name = 'a'; name < 'a' + 26; ++name)
        for (const char copy : {'1', '2'}) files[{name, copy}] = Changed(bytes, name < 'x' ? 4000 : 5000);
    made.write(files);
    const std::string shared = made.shared();
    EXPECT_EQ(std::count(shared.begin(), shared.end(), '='), 50);
    EXPECT_NE(shared.find("w2=a1 "), shared.npos);
    EXPECT_NE(shared.find("z2=x1 "), shared.npos);
}

TEST(IdenticalFiles, TheFingerprintIsTakenFromFiveSectors) {
    const std::string large = Bytes(17 * 2048 + 10, 'a');  // 18 sectors: 0, 4, 9, 13, 17
    std::string sample;
    for (const std::size_t sector : {0U, 4U, 9U, 13U, 17U}) sample += large.substr(sector * 2048, 2048);
    Compared made;
    made.write({{"a", large}, {"b", Changed(large, 2048)}, {"c", sample}, {"d", sample}});
    EXPECT_EQ(made.shared(), "d=c ");
    EXPECT_EQ(made.at(u"a").fingerprintState, FingerprintState::Computed);
    EXPECT_EQ(made.at(u"a").fingerprint, made.at(u"b").fingerprint);
    EXPECT_EQ(made.at(u"a").fingerprint, made.at(u"c").fingerprint);
}

TEST(IdenticalFiles, AFileIsReadOnlyWhenAnotherHasItsSizeAndSource) {
    Compared made;
    made.write({{"a", "1"}, {"b", "22"}});
    CompilationNode& folder = made.context.newNode(NodeKind::Folder, *made.context.root, u"copy");
    ASSERT_EQ(CopyNode(made.fake.task, made.context, made.at(u"a"), folder), Status::Ok);
    std::filesystem::remove_all(made.disk / "top");
    EXPECT_EQ(made.shared(), "copy/a=a ");
    EXPECT_EQ(made.context.error, BuildError::None);
}

TEST(IdenticalFiles, RepeatedSourcesFollowTheirLeader) {
    Compared made;
    made.write({{"a", "1"}, {"b", "1"}});
    CompilationNode& folder = made.context.newNode(NodeKind::Folder, *made.context.root, u"c");
    ASSERT_EQ(CopyNode(made.fake.task, made.context, made.at(u"b"), folder), Status::Ok);
    EXPECT_EQ(made.shared(), "b=a c/b=a ");
}

TEST(IdenticalFiles, WhatIsNeverShared) {
    const std::string bytes = Bytes(100, 'a');
    const auto set = [](const char* fault, auto change) {
        return std::pair<const char*, void (*)(Compared&)>(fault, change);
    };
    for (const auto& [fault, change] : {
             set("special entries", [](Compared& made) { made.at(u"a").trackLink = -255; }),
             set("optimisation off", [](Compared& made) { made.context.optimisationEnabled = false; }),
             set("Video CDs", [](Compared& made) { made.context.kind = ImageKind::VideoCd; }),
             set("a file that became shorter",
                 [](Compared& made) { std::filesystem::resize_file(made.disk / "top/a", 50); }),
         }) {
        Compared made;
        made.write({{"a", bytes}, {"b", bytes}});
        change(made);
        EXPECT_EQ(made.shared(), "") << fault;
        EXPECT_EQ(made.context.error, BuildError::None) << fault;
    }
}

TEST(IdenticalFiles, AFileThatCannotBeOpenedStopsTheBuild) {
    Compared made;
    made.write({{"a", "1"}, {"b", "1"}});
    std::filesystem::remove(made.disk / "top/b");
    EXPECT_EQ(made.shared(), "");
    EXPECT_EQ(made.context.error, BuildError::OpenFailed);
    EXPECT_TRUE(made.context.errorSubject.ends_with(u"b"));
    EXPECT_TRUE(IsNotFound(made.context.systemError));
}

TEST(IdenticalFiles, DataInMemoryIsSharedWithinOneOwner) {
    Compared made;
    const std::string bytes = "same", others = "else";
    const int owners[2] = {};
    std::deque<MemorySource> memory;
    const auto add = [&](TextView name, const void* owner, const std::string& data) {
        CompilationNode& node = made.context.newNode(NodeKind::File, *made.context.root, name);
        node.memory = &memory.emplace_back(MemorySource{owner, std::as_bytes(std::span(data))});
        node.sizeBytes = data.size();
    };
    add(u"a", &owners[0], bytes);
    add(u"b", &owners[1], bytes);
    add(u"c", &owners[0], bytes);
    add(u"d", &owners[0], others);
    EXPECT_EQ(made.shared(), "c=a ");
}

TEST(IdenticalFiles, ProgressIsShownAndCancelStops) {
    Compared made;
    made.write({{"a", "1"}, {"b", "1"}});
    EXPECT_EQ(made.shared(), "b=a ");
    EXPECT_TRUE(made.fake.streams.output.starts_with("Scanning and optimizing files layout... ... "));
    EXPECT_TRUE(made.fake.streams.output.ends_with("  100% done.\r\n"));
    ASSERT_EQ(made.fake.log.lines().size(), 1U);
    EXPECT_EQ(made.fake.log.lines()[0].text, u"Total 2 files, Finished 2 files");
    made.fake.flags.cancel = true;
    EXPECT_EQ(made.shared(), "");
    EXPECT_EQ(made.context.error, BuildError::Cancelled);
}

}  // namespace
}  // namespace tovlark

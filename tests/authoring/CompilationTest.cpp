#include <gtest/gtest.h>
#include <string>

#include "app/session/Settings.h"
#include "authoring/Adding.h"
#include "authoring/Compilation.h"
#include "platform/SystemClock.h"
#include "support/FakeSession.h"

namespace tovlark {
namespace {

Text Numbered(std::size_t number) { return u"file " + FromUtf8(std::to_string(number)); }

TEST(Compilation, FindsEveryChildOfFoldersOfAllSizesAlsoAfterRemovals) {
    for (const std::size_t count : {1U, 15U, 16U, 17U, 63U, 64U, 5000U}) {
        ImageBuildContext context;
        for (std::size_t number = 0; number < count; ++number)
            context.newNode(NodeKind::File, *context.root, Numbered(number));
        for (std::size_t number = 0; number < count; number += 7)
            DeleteNode(context, *FindChild(*context.root, Numbered(number)));
        for (std::size_t number = 0; number < count; ++number) {
            const CompilationNode* child = FindChild(*context.root, Numbered(number));
            ASSERT_EQ(child != nullptr, number % 7 != 0) << count << " " << number;
            ASSERT_TRUE(child == nullptr || child->longName == Numbered(number));
        }
        EXPECT_EQ(FindChild(*context.root, u"FILE 1"), nullptr) << "names are compared exactly";
    }
}

TEST(Compilation, FindsNodesByPath) {
    ImageBuildContext context;
    CompilationNode& folder = context.newNode(NodeKind::Folder, *context.root, u"a b");
    CompilationNode& file = context.newNode(NodeKind::File, folder, u"c.txt");
    const struct {
        TextView path;
        const CompilationNode* node;
    } cases[] = {
        {u"/", context.root},   {u"", context.root},  {u"/a b", &folder},         {u"//a b/", &folder},
        {u"/a b/c.txt", &file}, {u"/a b/d", nullptr}, {u"/a b/c.txt/x", nullptr}, {u"/A B", nullptr},
    };
    for (const auto& one : cases) EXPECT_EQ(FindNode(context, one.path), one.node) << ToUtf8(one.path);
    EXPECT_EQ(PathInImage(file), u"/a b/c.txt");
    EXPECT_EQ(PathInImage(*context.root), u"/");
}

TEST(Compilation, AutomaticRockRidgeYieldsToFixedNameLengths) {
    const struct {
        RockRidgeChoice choice;
        bool isIsoOn, isLengthFixed;
        std::uint8_t length;
        bool expected;
    } cases[] = {
        {RockRidgeChoice::Automatic, true, false, 30, true},  {RockRidgeChoice::Automatic, true, true, 30, false},
        {RockRidgeChoice::Automatic, true, true, 221, false}, {RockRidgeChoice::Automatic, true, true, 12, true},
        {RockRidgeChoice::On, true, true, 221, true},         {RockRidgeChoice::On, false, false, 30, false},
        {RockRidgeChoice::Off, true, false, 30, false},       {RockRidgeChoice::Automatic, false, false, 30, false},
    };
    for (const auto& one : cases) {
        ImageBuildContext context;
        context.rockRidge = one.choice;
        context.isoEnabled = one.isIsoOn;
        context.isoNameLengthFixed = one.isLengthFixed;
        context.isoNameLength = one.length;
        EXPECT_EQ(context.rockRidgeEnabled(), one.expected) << &one - cases;
    }
}

TEST(Compilation, RecordsTheFixedDateElseTheNodesOwnElseNow) {
    ImageBuildContext context;
    context.startedAt = 1000;
    CompilationNode& file = context.newNode(NodeKind::File, *context.root, u"x");
    EXPECT_EQ(context.dateOf(file), 1000);
    file.date = -5;
    EXPECT_EQ(context.dateOf(file), -5);
    context.fixedDate = 0;  // 1970 is a date like any other
    EXPECT_EQ(context.dateOf(file), 0);
    EXPECT_EQ(context.now(), 0);
}

TEST(Compilation, TakesItsDefaultsFromSettingsAndClock) {
    FakeSession fake;
    ImageBuildContext context;
    InitialiseCompilation(fake.task, context);
    EXPECT_EQ(context.now(), fake.fakeClock.startOfTime);
    EXPECT_EQ(context.fixedDate, kNoDate);
    EXPECT_EQ(context.rockRidge, RockRidgeChoice::Automatic);

    fake.settings.setInt(kTimeFixed.name, 0xFFFFFFFF);
    fake.settings.setInt(kUseFileCreationTime.name, 1);
    fake.settings.setInt(kRockRidge.name, 1);
    fake.settings.setInt(kRockRidgeRational.name, 1);
    fake.settings.setInt(kKeepSymbolicLinks.name, 1);
    ImageBuildContext changed;
    InitialiseCompilation(fake.task, changed);
    EXPECT_EQ(changed.now(), 4294967295);
    EXPECT_TRUE(changed.useCreationTime && changed.rationalAttributes && changed.keepSymbolicLinks);
    EXPECT_EQ(changed.rockRidge, RockRidgeChoice::On);
}

TEST(Compilation, ALabelThatWasNotSetIsTheLocalDate) {
    FakeSession fake;
    fake.fakeClock.offsetSeconds = 2 * 3600;  // 2023-11-15 00:13:20 there
    ImageBuildContext context;
    context.startedAt = fake.fakeClock.startOfTime;
    const Text label = VolumeFieldText(context, VolumeField::Volume, fake.clock);
    EXPECT_EQ(label.size(), ShortDatePattern().size());
    for (const TextView part : {u"2023", u"11", u"15"}) EXPECT_NE(label.find(part), label.npos) << ToUtf8(label);

    context.labelSet = true;
    EXPECT_EQ(VolumeFieldText(context, VolumeField::Volume, fake.clock), u"");
    EXPECT_EQ(VolumeFieldText(context, VolumeField::System, fake.clock), u"Win32");
    EXPECT_EQ(VolumeFieldText(context, VolumeField::Application, fake.clock), u"Tovlark");
}

}  // namespace
}  // namespace tovlark

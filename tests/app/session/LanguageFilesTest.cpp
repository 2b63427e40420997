// The translations that come with the programs.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <vector>

#include "app/session/Texts.h"

namespace tovlark {
namespace {

constexpr std::size_t kConsoleColumns = 80;

bool IsUsage(TextId id) { return id >= TextId::UsageFirst && id <= TextId::UsageLast; }

/// The words of a usage line that people type as they stand: switches, and the program's name.
std::vector<TextView> TypedWords(TextView line) {
    std::vector<TextView> words;
    for (std::size_t start = line.find_first_not_of(u' '); start != line.npos;
         start = line.find_first_not_of(u' ', start)) {
        const std::size_t end = std::min(line.find_first_of(u" ,", start), line.size());
        const TextView word = line.substr(start, end - start);
        if (word == u"tvcmd" || (word.size() > 1 && word[0] == u'-')) words.push_back(word);
        start = std::min(end + 1, line.size());
    }
    return words;
}

void ExpectTranslated(const LanguageFile& file, TextId id, const std::string& name) {
    const std::uint32_t number = NumberOf(id);
    const TextView words = file.string(number), builtIn = BuiltInText(id);
    const std::string where = name + ": " + std::to_string(number) + "=" + ToUtf8(words);
    if (words.data() == nullptr) {
        ADD_FAILURE() << name << " lacks " << number << "=" << ToUtf8(builtIn);
        return;
    }
    EXPECT_TRUE(HaveSameConversions(words, builtIn)) << where;
    EXPECT_EQ(words.find(u'\uFFFD'), words.npos) << where;
    EXPECT_EQ(words.ends_with(u'\n'), builtIn.ends_with(u'\n')) << where;
    if (!IsUsage(id)) return;
    EXPECT_LE(CountColumns(words), std::max(CountColumns(builtIn), kConsoleColumns)) << where;
    for (const TextView word : TypedWords(builtIn)) EXPECT_NE(words.find(word), words.npos) << where;
}

TEST(LanguageFiles, TranslateEveryTextAndKeepItsShape) {
    std::set<std::uint32_t> languages;
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TOVLARK_LANGUAGES)) {
        if (entry.path().extension() != ".ini") continue;
        ++count;
        const std::string name = entry.path().filename().string();
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(stream), {});
        const LanguageFile file = LanguageFile::parse(bytes);
        EXPECT_NE(file.languageId(), 0u) << name;
        EXPECT_TRUE(languages.insert(file.languageId()).second) << name << " has the identifier of another file";
        for (int id = 0; id < static_cast<int>(TextId::Count); ++id)
            ExpectTranslated(file, static_cast<TextId>(id), name);
    }
    EXPECT_GE(count, 2u);
}

}  // namespace
}  // namespace tovlark

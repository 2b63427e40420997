#include <gtest/gtest.h>

#include "platform/MarkerFilter.h"

namespace tovlark {
namespace {

struct Case {
    const char* fault;
    std::string_view stream;
    std::string_view shown;
    std::optional<bool> lastResult;
};

constexpr Case kCases[] = {
    {"text changed", "plain < text >", "plain < text >", std::nullopt},
    {"marker shown", "a<E1>b", "ab", true},
    {"first marker wins", "<E1><E0>", "", false},
    {"beginning inside a beginning", "<<E<E0<E1>", "<<E<E0", true},
    {"other digit taken", "<E2><e1>", "<E2><e1>", std::nullopt},
    {"end held back", "x<E", "x<E", std::nullopt},
};

TEST(MarkerFilter, GivesTheSameWhereverTheStreamIsCut) {
    for (const Case& one : kCases) {
        for (std::size_t first = 0; first <= one.stream.size(); ++first) {
            for (std::size_t second = first; second <= one.stream.size(); ++second) {
                MarkerFilter filter;
                std::string shown;
                filter.pass(one.stream.substr(0, first), shown);
                filter.pass(one.stream.substr(first, second - first), shown);
                filter.pass(one.stream.substr(second), shown);
                filter.flush(shown);
                EXPECT_EQ(shown, one.shown) << one.fault << ", cut at " << first << " and " << second;
                EXPECT_EQ(filter.lastResult(), one.lastResult) << one.fault;
                EXPECT_FALSE(filter.holdsBack());
            }
        }
    }
}

TEST(MarkerFilter, GivesShieldedTextBackAndNoResult) {
    for (const std::string_view text : {"a <E0> <E1>\n", "<E0><E0>", "<<E1>>", "<E0", "plain"}) {
        MarkerFilter filter;
        std::string shown;
        for (const char byte : ShieldText(text)) filter.pass({&byte, 1}, shown);
        filter.flush(shown);
        EXPECT_EQ(shown, text);
        EXPECT_EQ(filter.lastResult(), std::nullopt) << text;
    }
    EXPECT_EQ(ShieldText("<E0>"), "<E0>");
}

TEST(MarkerFilter, ShowsWhatWasHeldBackWhenNothingFollows) {
    MarkerFilter filter;
    std::string shown;
    filter.pass("answer <E", shown);
    EXPECT_TRUE(filter.holdsBack());
    EXPECT_EQ(shown, "answer ");
    filter.flush(shown);
    filter.pass("1>", shown);
    EXPECT_EQ(shown, "answer <E1>");
}

}  // namespace
}  // namespace tovlark

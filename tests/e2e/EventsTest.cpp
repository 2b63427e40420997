// Events for scripts, of real runs, held against docs/events.md.
#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

using Json = nlohmann::json;

constexpr int kFailed = 255, kCancelled = 254;

/// Fields of each kind and the types that they may have: s(tring), n(umber), a(rray of strings), 0 (null).
const std::map<std::string, std::map<std::string, std::string>> kSchema = {
    {"step", {{"step", "s"}, {"unit", "s"}, {"total", "n0"}}},
    {"progress", {{"step", "s"}, {"unit", "s"}, {"total", "n0"}, {"done", "n"}, {"speed", "n"}, {"remaining", "n0"}}},
    {"prompt", {{"caption", "s0"}, {"text", "s"}, {"answers", "a"}, {"answer", "s0"}}},
    {"message", {{"level", "s"}, {"text", "s"}}},
    {"result", {{"status", "n"}}},
};

char TypeOf(const Json& value) {
    if (value.is_string()) return 's';
    if (value.is_number_integer()) return 'n';
    if (value.is_array() && std::ranges::all_of(value, [](const Json& one) { return one.is_string(); })) return 'a';
    return value.is_null() ? '0' : '?';
}

void CheckFields(const Json& event) {
    auto fields = kSchema.at(event.at("event"));
    fields["event"] = "s";
    fields["time"] = "n";
    if (event.contains("dropped")) fields["dropped"] = "n";
    for (const auto& [name, value] : event.items())
        EXPECT_TRUE(fields.contains(name) && fields[name].find(TypeOf(value)) != std::string::npos) << name << event;
    EXPECT_EQ(event.size(), fields.size()) << event;
}

/// Every line, each held against the schema; the last one is the result.
std::vector<Json> Events(const std::string& bytes, int status) {
    std::vector<Json> events;
    std::istringstream lines(bytes);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LT(line.size(), 4096u);
        events.push_back(Json::parse(line));
        CheckFields(events.back());
    }
    EXPECT_TRUE(!events.empty() && bytes.ends_with('\n')) << bytes;
    if (!events.empty()) {
        EXPECT_EQ(events.back().value("event", ""), "result");
        EXPECT_EQ(events.back().value("status", 1), status);
    }
    return events;
}

class EventsOf : public testing::Test {
protected:
    EventsOf() {
        for (int number = 0; number < 20; ++number) folder_.write("tree/" + std::to_string(number), "content");
    }
    ProgramEnd run(const std::string& target,
                   std::vector<std::string> words = {"create", "-y", "-o", "x.iso", "-add", "tree", "/"}) const {
        return RunProgram({.words = OurProgram("tvcmd", words),
                           .environment = {{"TOVLARK_EVENTS", target}, {"XDG_CONFIG_HOME", folder_.path()}},
                           .folder = folder_.path()});
    }

    TempFolder folder_;
};

TEST_F(EventsOf, EveryOutcomeFitsTheSchemaAndEndsWithTheResult) {
    struct Case {
        std::vector<std::string> words;
        int status, told;
        const char* has;
    };
    const Case cases[] = {
        {{"create", "-y", "-o", "x.iso", "-add", "tree", "/"}, 0, 0, R"("unit":"bytes")"},
        {{"create", "-y", "-o", "x.iso", "-add", "tree", "/"}, 0, 0, R"("answer":"yes")"},
        {{"create", "-o", "x.iso", "-add", "tree", "/"}, kCancelled, -2, R"("answer":"cancel")"},
        {{"create", "-add", "missing", "/"}, kFailed, -1, R"("level":"error")"},
        {{"-frob" + std::string(9000, '"')}, kFailed, -1, "\xE2\x80\xA6"},
    };
    for (const Case& one : cases) {
        std::filesystem::remove(folder_ / "events");
        EXPECT_EQ(run("events", one.words).status, one.status);
        const std::string bytes = folder_.read("events");
        Events(bytes, one.told);
        EXPECT_THAT(bytes, testing::HasSubstr(one.has));
    }
}

TEST(EventsDocument, ShowsLinesOfTheSchema) {
    std::ifstream document(TOVLARK_SOURCE "/docs/events.md");
    int count = 0;
    for (std::string line; std::getline(document, line);) {
        if (!line.starts_with("    {")) continue;
        CheckFields(Json::parse(line));
        ++count;
    }
    EXPECT_GE(count, 5) << "an example of each kind";
}

TEST_F(EventsOf, ReadersOfEveryKindLeaveTheRunAlone) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "descriptors and FIFOs";
    const std::string fifo = folder_ / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const std::string descriptor = "fd:" + std::to_string(ends[1]);
    run("");  // the next ones ask whether to replace the image
    const std::string console = run("").output;

    std::string buffer(65536, '\0');
    for (const auto& [target, readEnd] : {std::pair(fifo, reader), std::pair(descriptor, ends[0])}) {
        EXPECT_EQ(run(target).output, console);
        const ssize_t count = ::read(readEnd, buffer.data(), buffer.size());
        ASSERT_GT(count, 0) << target;
        Events(buffer.substr(0, static_cast<std::size_t>(count)), 0);
    }
    EXPECT_EQ(::fcntl(ends[1], F_GETFL) & O_NONBLOCK, 0) << "the caller's own flag";

    // A pipe that nobody empties.
    ::fcntl(ends[1], F_SETFL, O_WRONLY | O_NONBLOCK);
    while (::write(ends[1], buffer.data(), 4096) > 0) {
    }
    ::fcntl(ends[1], F_SETFL, O_WRONLY);
    EXPECT_EQ(run(descriptor).status, 0);
    ::close(ends[0]);
    ::close(reader);
    for (const std::string& gone : {descriptor, fifo, std::string("fd:99"), std::string("fd:x"), std::string("/")}) {
        const ProgramEnd end = run(gone);
        EXPECT_EQ(end.status, 0) << gone;
        EXPECT_EQ(end.errors, "") << gone;
    }
    ::close(ends[1]);
}

}  // namespace
}  // namespace tovlark

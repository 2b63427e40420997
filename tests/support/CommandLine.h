#pragma once

#include <string>
#include <vector>

#include "app/command/ParseCommandLine.h"
#include "app/command/RunCommand.h"
#include "support/FakeSession.h"

namespace tovlark {

/// One command line in a process of its own.
struct CommandLine {
    explicit CommandLine(std::vector<Text> parameters) : words(std::move(parameters)) {
        words.insert(words.begin(), u"tovlark");
        InitialiseCompilation(fake.task, compilation);
    }

    Status parse() { return ParseCommandLine(context); }
    Status parseAndRun() { return parse() == Status::Ok ? RunCommand(context) : Status::Failed; }
    const std::string& output() const { return fake.streams.output; }

    std::vector<Text> words;
    FakeSession fake;
    ImageBuildContext compilation;
    CommandRequest request;
    CommandContext context{words, request, fake.task, compilation};
};

inline void PrintTo(const Status& status, std::ostream* stream) { *stream << (status == Status::Ok ? "Ok" : "Failed"); }

}  // namespace tovlark

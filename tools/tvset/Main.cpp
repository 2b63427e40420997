#include "platform/Main.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <sstream>

#include "app/session/ConsoleSession.h"
#include "app/session/Settings.h"
#include "base/Status.h"
#include "platform/ConsoleStreams.h"
#include "platform/SystemClock.h"

namespace tovlark {

namespace {

constexpr int kOk = 0;

/// What the subcommands work with and were given.
struct Tool {
    SettingsStore settings{OpenSettings()};
    Texts texts{LoadLanguage(settings.getInt(kLanguage))};
    Flags flags;
    ConsoleSession session{StandardStreams(), texts, SystemClock(), flags};
    std::string name, value;
    bool isJson = false, isYes = false;
};

/// What a row takes, in a few words.
Text AcceptedWords(const Texts& texts, const SettingRow& row) {
    constexpr std::uint32_t kLargest = 0xFFFFFFFF;
    switch (row.kind) {
        case SettingKind::Number:
            if (row.minimum == 0 && row.maximum == kLargest) return texts.format(TextId::AcceptsAnyNumber);
            if (row.fallback < row.minimum || row.fallback > row.maximum)
                return texts.format(TextId::AcceptsOneOrNumbers, {row.fallback, row.minimum, row.maximum});
            return texts.format(TextId::AcceptsNumbers, {row.minimum, row.maximum});
        case SettingKind::String:
            if (row.minimumLength == 0) return texts.format(TextId::AcceptsText);
            return texts.format(TextId::AcceptsLongerText, {row.minimumLength});
        case SettingKind::Binary:
            if (row.sizeBytes == 0) return texts.format(TextId::AcceptsBytes);
            return texts.format(TextId::AcceptsSomeBytes, {row.sizeBytes});
    }
    return {};
}

Text DefaultWords(const SettingRow& row) {
    return row.kind == SettingKind::Number ? FormatText(u"%u", {row.fallback}) : Text(row.textFallback);
}

/// A value from the registry may hold line breaks.
Text OneLine(Text text) {
    std::ranges::replace_if(
        text, [](char16_t unit) { return unit < u' '; }, u' ');
    return text;
}

Text ValueLine(const Tool& tool, const SettingRow& row) {
    return FormatText(u"%s = %s\n", {row.name, OneLine(ReadAsText(tool.settings, row))});
}

/// Names the file that is the reason, if there is one.
void TellFault(const Tool& tool, TextId text) {
    if (const auto fault = tool.settings.fault())
        WriteErrorLine(tool.texts.format(text, {fault->path, ReasonOf(tool.texts, *fault)}));
}

const SettingRow* FindNamed(const Tool& tool) {
    const Text name = FromUtf8(tool.name);
    const SettingRow* row = FindSetting(name);
    if (row == nullptr) WriteErrorLine(tool.texts.format(TextId::NoSuchSetting, {name}));
    return row;
}

int ListAsJson(Tool& tool) {
    auto list = nlohmann::ordered_json::array();
    constexpr const char* kKinds[] = {"number", "text", "binary"};
    for (const SettingRow& row : AllSettings()) {
        nlohmann::ordered_json item;
        const Text value = ReadAsText(tool.settings, row);
        item["name"] = ToUtf8(row.name);
        item["type"] = kKinds[static_cast<std::size_t>(row.kind)];
        if (row.kind == SettingKind::Number) {
            item["value"] = tool.settings.getInt(row.name, row.fallback, row.minimum, row.maximum);
            item["default"] = row.fallback;
            item["minimum"] = row.minimum;
            item["maximum"] = row.maximum;
        } else {
            item["value"] = ToUtf8(value);
            item["default"] = ToUtf8(row.textFallback);
        }
        item["meaning"] = ToUtf8(row.meaning);
        list.push_back(std::move(item));
    }
    using Json = nlohmann::ordered_json;
    tool.session.print(FromUtf8(list.dump(2, ' ', false, Json::error_handler_t::replace)) + u"\n");
    return kOk;
}

int List(Tool& tool) {
    TellFault(tool, TextId::SettingsUnusable);
    if (tool.isJson) return ListAsJson(tool);
    constexpr std::size_t kColumns = 5;
    constexpr std::array<std::size_t, kColumns> kWidest{30, 16, 16, 30, 0};  // longer cells push their own row only
    using Cells = std::array<Text, kColumns>;
    std::vector<Cells> table;
    table.push_back({Text(tool.texts[TextId::ColumnName]), Text(tool.texts[TextId::ColumnValue]),
                     Text(tool.texts[TextId::ColumnDefault]), Text(tool.texts[TextId::ColumnAccepted]),
                     Text(tool.texts[TextId::ColumnMeaning])});
    for (const SettingRow& row : AllSettings()) {
        table.push_back({Text(row.name), OneLine(ReadAsText(tool.settings, row)), DefaultWords(row),
                         AcceptedWords(tool.texts, row), Text(row.meaning)});
        for (Text& cell : table.back())
            if (cell.empty()) cell = u"-";
    }
    std::array<std::size_t, kColumns> widths{};
    for (const Cells& cells : table)
        for (std::size_t column = 0; column + 1 < kColumns; ++column)
            widths[column] = std::max(widths[column], std::min(CountColumns(cells[column]), kWidest[column]));
    Text page;
    for (const Cells& cells : table) {
        for (std::size_t column = 0; column + 1 < kColumns; ++column) {
            page += cells[column];
            page.append(widths[column] - std::min(CountColumns(cells[column]), widths[column]) + 2, u' ');
        }
        page += cells.back() + u"\n";
    }
    tool.session.print(page);
    return kOk;
}

int Get(Tool& tool) {
    const SettingRow* row = FindNamed(tool);
    if (row == nullptr) return kExitFailed;
    TellFault(tool, TextId::SettingsUnusable);
    tool.session.print(ValueLine(tool, *row));
    return kOk;
}

int Set(Tool& tool) {
    const SettingRow* row = FindNamed(tool);
    if (row == nullptr) return kExitFailed;
    const Text value = FromUtf8(tool.value);
    if (!IsAcceptable(*row, value)) {
        WriteErrorLine(
            tool.texts.format(TextId::SettingRefused, {row->name, AcceptedWords(tool.texts, *row), OneLine(value)}));
        return kExitFailed;
    }
    if (!WriteFromText(tool.settings, *row, value)) {
        WriteErrorLine(tool.texts.format(TextId::SettingNotKept, {row->name}));
        TellFault(tool, TextId::SettingsNotWritten);
        return kExitFailed;
    }
    tool.session.print(ValueLine(tool, *row));
    return kOk;
}

int Reset(Tool& tool) {
    if (tool.isYes) tool.session.assumeYes();
    const ResetOutcome outcome = ResetToDefaults(tool.session, tool.settings);
    if (tool.isYes) tool.session.print(u"\n");
    if (outcome == ResetOutcome::NotKept) {
        WriteErrorLine(tool.texts[TextId::ResetNotKept]);
        TellFault(tool, TextId::SettingsNotWritten);
    }
    return outcome == ResetOutcome::Done ? kOk : kExitFailed;
}

std::string Utf8(const Tool& tool, TextId id) { return ToUtf8(tool.texts[id]); }

}  // namespace

int ProgramMain(const std::vector<Text>& words) {
    Tool tool;
    CLI::App app(Utf8(tool, TextId::TvsetPurpose), "tvset");
    app.require_subcommand(0, 1);  // that one is needed is said below, after a wrong word was named
    int status = kOk;
    const auto command = [&](const char* word, TextId purpose, int (*run)(Tool&)) {
        CLI::App* added = app.add_subcommand(word, Utf8(tool, purpose));
        added->final_callback([&tool, &status, run] { status = run(tool); });
        return added;
    };
    CLI::App* list = command("list", TextId::TvsetList, List);
    list->add_flag("--json", tool.isJson, Utf8(tool, TextId::TvsetJson));
    CLI::App* get = command("get", TextId::TvsetGet, Get);
    get->add_option("NAME", tool.name, Utf8(tool, TextId::TvsetName))->required();
    CLI::App* set = command("set", TextId::TvsetSet, Set);
    set->add_option("NAME", tool.name, Utf8(tool, TextId::TvsetName))->required();
    set->add_option("VALUE", tool.value, Utf8(tool, TextId::TvsetValue))->required();
    CLI::App* reset = command("reset", TextId::TvsetReset, Reset);
    reset->add_flag("-y,--yes", tool.isYes, Utf8(tool, TextId::TvsetYes));

    std::vector<std::string> arguments;
    for (std::size_t index = 1; index < words.size(); ++index) arguments.push_back(ToUtf8(words[index]));
    // A value that begins with "-" is no option.
    if (arguments.size() == 3 && arguments[0] == "set" && arguments[2].starts_with('-'))
        arguments.insert(arguments.begin() + 2, "--");
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(std::move(arguments));
        if (app.get_subcommands().empty()) throw CLI::RequiredError::Subcommand(1);
    } catch (const CLI::ParseError& error) {
        std::ostringstream help, trouble;
        if (app.exit(error, help, trouble) == 0) {
            tool.session.print(FromUtf8(help.str()));
        } else {
            WriteErrorLine(FromUtf8(error.what()));
            WriteErrorLine(tool.texts[TextId::TvsetUsage]);
            status = kExitFailed;
        }
    }
    if (!tool.session.finishOutput()) {
        WriteErrorLine(tool.texts[TextId::OutputNotWritten]);
        return kExitFailed;
    }
    return tool.flags.cancel ? kExitCancelled : status;
}

}  // namespace tovlark

#include "platform/Main.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <sstream>

#include "app/drives/Verbs.h"
#include "app/session/ConsoleSession.h"
#include "app/session/Settings.h"
#include "base/Status.h"
#include "platform/ConsoleStreams.h"
#include "platform/Process.h"
#include "platform/SystemClock.h"

namespace tovlark {

namespace {

/// What the verbs work with, and the words that they were given.
struct Tool {
    SettingsStore settings{OpenSettings()};
    Texts texts{LoadLanguage(settings.getInt(kLanguage))};
    Clock clock = SystemClock();
    MessageLog log{clock};
    ConsoleSession session{StandardStreams(), texts, clock, flags()};
    Task task{session, settings, log, clock, flags()};
    std::string letter, model, speed = "fast", device, path, media, output;
    std::vector<std::string> readErrors, slowBlocks, writeErrors, refusedOpcodes;
    FaultWords faults;
    std::uint32_t blocks = 0;
    bool isJson = false, isYes = false, isLogOn = false, isLogOff = false, isLogCleared = false;

    /// Signals reach them until the process is gone.
    static Flags& flags() {
        static Flags all;
        return all;
    }
    OutputForm form() const { return isJson ? OutputForm::ForPrograms : OutputForm::ForPeople; }
    LogAction logAction() const {
        if (isLogCleared) return LogAction::Clear;
        return isLogOn ? LogAction::On : isLogOff ? LogAction::Off : LogAction::Show;
    }
};

const CLI::Range kFromOne(std::uint32_t{1}, std::uint32_t{0xFFFFFFFF});

std::string Utf8(const Tool& tool, TextId id) { return ToUtf8(tool.texts[id]); }

std::vector<Text> InUtf16(const std::vector<std::string>& words) {
    std::vector<Text> texts;
    for (const std::string& word : words) texts.push_back(FromUtf8(word));
    return texts;
}

/// Adds the verbs; each runs when its words have been read.
class CommandLine {
public:
    explicit CommandLine(Tool& tool) : tool_(tool), app(Utf8(tool, TextId::TvdrivePurpose), "tvdrive") {
        app.allow_windows_style_options(false);  // "/dev/sr0" and "/x" are paths on every system
        app.require_subcommand(0, 1);            // that one is needed is said below, after a wrong word was named
        json(verb("list", TextId::TvdriveList, [](Tool& t) { return ListDriveLetters(t.task, t.form()); }));
        addAdd();
        CLI::App* map = letter(verb("map", TextId::TvdriveMap,
                                    [](Tool& t) { return MapDrive(t.task, FromUtf8(t.letter), FromUtf8(t.device)); }));
        map->add_option("DEVICE", tool_.device, Utf8(tool_, TextId::TvdriveDevice))->required();
        letter(verb("remove", TextId::TvdriveRemove, [](Tool& t) { return RemoveDrive(t.task, FromUtf8(t.letter)); }));
        addNew();
        CLI::App* insert = letter(verb("insert", TextId::TvdriveInsert, [](Tool& t) {
            return InsertDisc(t.task, FromUtf8(t.letter), FromUtf8(t.path), FromUtf8(t.media));
        }));
        insert->add_option("FILE", tool_.path, Utf8(tool_, TextId::TvdriveFile))->required();
        insert->add_option("--media", tool_.media, Utf8(tool_, TextId::TvdriveMedia));
        letter(verb("eject", TextId::TvdriveEject, [](Tool& t) { return EjectDisc(t.task, FromUtf8(t.letter)); }));
        json(letter(verb("info", TextId::TvdriveInfo,
                         [](Tool& t) { return ShowDrive(t.task, FromUtf8(t.letter), t.form()); })));
        addFault();
        addLog();
        CLI::App* exported = yes(verb("export", TextId::TvdriveExport, [](Tool& t) {
            return ExportDisc(t.task, FromUtf8(t.path), FromUtf8(t.output));
        }));
        exported->add_option("DISC", tool_.path, Utf8(tool_, TextId::TvdriveDisc))->required();
        exported->add_option("OUT", tool_.output, Utf8(tool_, TextId::TvdriveOutput))->required();
    }

    Status status = Status::Ok;

private:
    CLI::App* verb(const char* word, TextId purpose, Status (*run)(Tool&)) {
        CLI::App* added = app.add_subcommand(word, Utf8(tool_, purpose));
        added->final_callback([this, run] {
            if (tool_.isYes) tool_.session.assumeYes();
            status = run(tool_);
        });
        return added;
    }
    CLI::App* letter(CLI::App* verb) {
        verb->add_option("LETTER", tool_.letter, Utf8(tool_, TextId::TvdriveLetter))->required();
        return verb;
    }
    CLI::App* json(CLI::App* verb) {
        verb->add_flag("--json", tool_.isJson, Utf8(tool_, TextId::TvdriveJson));
        return verb;
    }
    CLI::App* yes(CLI::App* verb) {
        verb->add_flag("-y,--yes", tool_.isYes, Utf8(tool_, TextId::TvdriveYes));
        return verb;
    }
    void addAdd() {
        CLI::App* add = letter(verb("add", TextId::TvdriveAdd, [](Tool& t) {
            return AddDrive(t.task, {FromUtf8(t.letter), FromUtf8(t.model), t.speed == "real"});
        }));
        add->add_option("--model", tool_.model, Utf8(tool_, TextId::TvdriveModel));
        add->add_option("--speed", tool_.speed, Utf8(tool_, TextId::TvdriveSpeed))
            ->check(CLI::IsMember({"fast", "real"}));
    }
    void addNew() {
        CLI::App* made = yes(verb("new", TextId::TvdriveNew, [](Tool& t) {
            NewDisc disc{FromUtf8(t.path), FromUtf8(t.media), {}};
            if (t.blocks != 0) disc.blocks = t.blocks;
            return MakeDisc(t.task, disc);
        }));
        made->add_option("DISC", tool_.path, Utf8(tool_, TextId::TvdriveDisc))->required();
        made->add_option("--media", tool_.media, Utf8(tool_, TextId::TvdriveMedia))->required();
        made->add_option("--blocks", tool_.blocks, Utf8(tool_, TextId::TvdriveBlocks))->check(kFromOne);
    }
    void addFault() {
        CLI::App* fault = letter(verb("fault", TextId::TvdriveFault, [](Tool& t) {
            t.faults.readErrors = InUtf16(t.readErrors);
            t.faults.slowBlocks = InUtf16(t.slowBlocks);
            t.faults.writeErrors = InUtf16(t.writeErrors);
            t.faults.refusedOpcodes = InUtf16(t.refusedOpcodes);
            return PlantFaults(t.task, FromUtf8(t.letter), t.faults);
        }));
        const std::map<std::string, BusyFault> kinds{
            {"still", BusyFault::Still}, {"transient", BusyFault::Transient}, {"forever", BusyFault::Forever}};
        const auto option = [&](const char* word, auto& target, TextId meaning) {
            return fault->add_option(word, target, Utf8(tool_, meaning));
        };
        option("--read-error", tool_.readErrors, TextId::FaultReadError);
        option("--slow", tool_.slowBlocks, TextId::FaultSlow);
        option("--write-error", tool_.writeErrors, TextId::FaultWriteError);
        CLI::Option* busy = option("--busy", tool_.faults.busy, TextId::FaultBusy);
        busy->transform(CLI::CheckedTransformer(kinds, CLI::ignore_case));
        option("--after", tool_.faults.busyAfter, TextId::FaultAfter)->needs(busy);
        option("--transport-error", tool_.faults.transportError, TextId::FaultTransport)->check(kFromOne);
        option("--power-loss", tool_.faults.powerLoss, TextId::FaultPower)->check(kFromOne);
        option("--refuse", tool_.refusedOpcodes, TextId::FaultRefuse);
        fault->add_flag("--clear", tool_.faults.clears, Utf8(tool_, TextId::FaultClear));
    }
    void addLog() {
        CLI::App* log = json(letter(verb("log", TextId::TvdriveLog, [](Tool& t) {
            return WorkOnLog(t.task, FromUtf8(t.letter), t.logAction(), t.form());
        })));
        CLI::Option* on = log->add_flag("--on", tool_.isLogOn, Utf8(tool_, TextId::TvdriveLogOn));
        CLI::Option* off = log->add_flag("--off", tool_.isLogOff, Utf8(tool_, TextId::TvdriveLogOff))->excludes(on);
        log->add_flag("--clear", tool_.isLogCleared, Utf8(tool_, TextId::TvdriveLogClear))->excludes(on)->excludes(off);
    }

    Tool& tool_;

public:
    CLI::App app;
};

}  // namespace

int ProgramMain(const std::vector<Text>& words) {
    Tool tool;
    WatchForCancel(Tool::flags().cancel);
    CommandLine line(tool);
    std::vector<std::string> arguments;
    for (std::size_t index = 1; index < words.size(); ++index) arguments.push_back(ToUtf8(words[index]));
    std::reverse(arguments.begin(), arguments.end());
    try {
        line.app.parse(std::move(arguments));
        if (line.app.get_subcommands().empty()) throw CLI::RequiredError::Subcommand(1);
    } catch (const CLI::ParseError& error) {
        std::ostringstream help, trouble;
        if (line.app.exit(error, help, trouble) == 0) {
            tool.session.print(FromUtf8(help.str()));
        } else {
            WriteErrorLine(FromUtf8(error.what()));
            WriteErrorLine(tool.texts[TextId::TvdriveUsage]);
            line.status = Status::Failed;
        }
    }
    if (!tool.session.finishOutput()) {
        WriteErrorLine(tool.texts[TextId::OutputNotWritten]);
        return kExitFailed;
    }
    if (Tool::flags().cancel) return kExitCancelled;
    return line.status == Status::Ok ? 0 : kExitFailed;
}

}  // namespace tovlark

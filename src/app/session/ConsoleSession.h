#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <span>
#include <string>

#include "app/session/EventWriter.h"
#include "app/session/Flags.h"
#include "app/session/Progress.h"
#include "app/session/Texts.h"
#include "base/Clock.h"
#include "platform/ConsoleStreams.h"

namespace tovlark {

/// Answers of the general prompt; a set of them is their OR.
enum class Answer : std::uint8_t { Ok = 1, Cancel = 2, Yes = 4, No = 8 };
constexpr std::uint8_t operator|(Answer left, Answer right) {
    return static_cast<std::uint8_t>(static_cast<std::uint8_t>(left) | static_cast<std::uint8_t>(right));
}

/// A question that is asked with a numbered text: what may be answered, and what counts when nobody can answer.
struct PromptRow {
    TextId text;
    std::uint8_t offered;
    Answer safe;
};

enum class OverwriteAnswer : std::uint8_t { Yes = 0, No = 1, YesToAll = 2, NoToAll = 3, Cancel = 4 };

/// Messages, progress and questions of a console run. Members that only print may be called from one thread at a time.
///
/// Lines end in CR LF and go out as UTF-8. When standard input ends under a prompt the session says so, raises the
/// cancel flag and gives the safe answer (of a plain text: Cancel if offered, else No, else Ok). Output whose reader is
/// gone raises the cancel flag and is dropped from then on. Once the cancel flag is up nothing more is asked.
/// Steps, progress, questions and whole lines are told to the event writer too, if there is one; it outlives the
/// session.
class ConsoleSession {
public:
    ConsoleSession(const ConsoleStreams& streams, const Texts& texts, const Clock& clock, Flags& flags,
                   EventWriter* events = nullptr);
    ConsoleSession(const ConsoleSession&) = delete;
    ~ConsoleSession();

    /// Prints exactly the text and flushes, in one write.
    void print(TextView text);
    /// Prints without flushing; it goes out with the next print, prompt or change of progress.
    void printRaw(TextView text);
    /// Prints a numbered text; CR LF is added unless the text ends in one.
    void printLine(TextId id, std::initializer_list<FormatArgument> arguments = {});
    void printLine(TextView text);
    /// Prints like `printLine` a line that tells of a failure. It does not raise the error flag: `ReportError` does.
    void printError(TextId id, std::initializer_list<FormatArgument> arguments = {});
    void printError(TextView text);

    /// Progress of one step: title, " ... " and a percentage that is rewritten in place (flushed when it changes).
    void beginStep(TextView text);
    void beginStep(TextView text, std::uint64_t total, ProgressUnit unit = ProgressUnit::Bytes);
    void addProgress(std::uint64_t amount);
    void setProgress(std::uint64_t position, std::uint64_t total);
    void finishStep();
    void printDone();
    /// How far the current step is, or the last one was.
    const Progress& progress() const { return progress_; }

    /// Prints "." when the last output is more than a second old.
    void tick();
    void printAndMark(TextView text);

    /// Asks until an offered answer comes. Cancel raises the cancel flag. Under `assumeYes` a question that came up 100
    /// times counts as No; one that does not offer Yes raises the cancel flag then and says why.
    Answer prompt(const PromptRow& row, std::initializer_list<FormatArgument> arguments = {});
    Answer prompt(TextView text, std::uint8_t offered);
    /// Asks with a text that carries its own list of answers at its end, "...(Yes/No):", and gives the place of the
    /// answer in it. A word or its first letter counts, whatever the case. `safe` is the place that counts when nobody
    /// can answer; under `assumeYes` a question that came up 100 times is treated like one of `prompt`.
    std::size_t promptListed(TextView text, std::size_t safe);
    /// Asks whether a file is to be replaced. Yes and No to all are remembered for questions of the same caption:
    /// they give Yes or No at once, without printing. Cancel raises the cancel flag.
    OverwriteAnswer promptOverwrite(TextView caption, TextView text);
    /// One line of standard input without its LF or CR LF; "Yes" under `assumeYes`. A line beyond `maximumLength`
    /// characters is discarded to its end and reads as an empty one, as does the end of input (cancel flag raised).
    Text readLine(std::size_t maximumLength);
    /// Writes what waits to be written. False when this or anything before did not arrive.
    bool finishOutput();
    /// Prints "<E1>" or "<E0>" with 100 ms before and after.
    void signalResult(bool ok);

    /// Answers Yes to every question from now on (`-y`).
    void assumeYes() { assumeYes_ = true; }
    const Texts& texts() const { return texts_; }

private:
    void flush();
    void showLine(TextView text, MessageLevel level);
    std::uint64_t now() const { return clock_.milliseconds(clock_.self); }
    void showPercent(std::int32_t percent);
    Answer ask(TextView text, std::uint8_t offered, Answer safe);
    Answer askUntilAnswered(TextView text, std::uint8_t offered, Answer safe);
    std::size_t askForListed(TextView text, std::span<const TextView> words, std::size_t safe);
    OverwriteAnswer askToOverwrite(TextView caption, TextView text);
    void tellPrompt(TextView caption, TextView text, std::span<const TextView> answers,
                    std::optional<TextView> answer = {});
    bool repeatsTooOften(TextView question);
    void endOfInput();

    ConsoleStreams streams_;
    const Texts& texts_;
    const Clock& clock_;
    Flags& flags_;
    EventWriter* events_;  // may be null
    std::string pending_;
    std::int32_t lastPercent_ = -1;
    Progress progress_;
    std::uint64_t lastOutput_ = 0;
    std::map<Text, std::uint32_t, std::less<>> timesAsked_;      // under `assumeYes`
    std::map<Text, OverwriteAnswer, std::less<>> answersToAll_;  // by caption
    bool assumeYes_ = false;
    bool outputGone_ = false;
};

}  // namespace tovlark

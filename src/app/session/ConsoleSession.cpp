#include "app/session/ConsoleSession.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace tovlark {

namespace {

constexpr std::size_t kMaximumPending = 64 * 1024;
constexpr std::size_t kMaximumAnswer = 2048, kMaximumOverwriteAnswer = 81;
constexpr std::uint32_t kMaximumRepeats = 100;
constexpr std::uint64_t kTickMilliseconds = 1000;
constexpr std::uint32_t kSignalMilliseconds = 100;
constexpr TextView kRubOut = u"\b\b\b\b\b\b";
constexpr TextView kYes = u"Yes", kNo = u"No";

struct AnswerWords {
    Answer answer;
    TextView shown, word, letter;
};
// In the order in which answers are offered and recognised.
constexpr AnswerWords kAnswers[] = {
    {Answer::Yes, u"y", u"yes", u"y"},
    {Answer::No, u"n", u"no", u"n"},
    {Answer::Ok, u"Ok", u"ok", u"o"},
    {Answer::Cancel, u"Cancel", u"cancel", u"c"},
};

struct OverwriteWords {
    OverwriteAnswer answer;
    TextView word, letter, told;
};
// In the order of their numbers.
constexpr OverwriteWords kOverwriteAnswers[] = {
    {OverwriteAnswer::Yes, u"Yes", u"y", u"yes"},          {OverwriteAnswer::No, u"No", u"n", u"no"},
    {OverwriteAnswer::YesToAll, u"YesAll", {}, u"yesall"}, {OverwriteAnswer::NoToAll, u"NoAll", {}, u"noall"},
    {OverwriteAnswer::Cancel, u"Cancel", u"c", u"cancel"},
};
constexpr TextView kOverwriteChoices = u"(Yes/No/YesAll/NoAll/Cancel):";

bool Offers(std::uint8_t offered, Answer answer) { return (offered & static_cast<std::uint8_t>(answer)) != 0; }

bool Matches(TextView line, TextView word, TextView letter) {
    return EqualsIgnoringCase(line, word) || (!letter.empty() && EqualsIgnoringCase(line, letter));
}

Answer SafeAnswer(std::uint8_t offered) {
    for (const Answer answer : {Answer::Cancel, Answer::No, Answer::Ok})
        if (Offers(offered, answer)) return answer;
    return Answer::Cancel;
}

/// The words between the last brackets, of which there is at least one.
std::vector<TextView> ListedAnswers(TextView text) {
    const std::size_t open = text.rfind(u'(');
    TextView list = text.substr(open + 1, text.rfind(u')') - open - 1);
    std::vector<TextView> words;
    for (std::size_t slash; (slash = list.find(u'/')) != list.npos; list.remove_prefix(slash + 1))
        words.push_back(list.substr(0, slash));
    words.push_back(list);
    return words;
}

Text Question(TextView text, std::uint8_t offered) {
    Text question(text);
    char16_t separator = u'(';
    for (const AnswerWords& row : kAnswers) {
        if (!Offers(offered, row.answer)) continue;
        question += separator;
        question += row.shown;
        separator = u'/';
    }
    return question += u"): ";
}

/// The total is not 0. A total of all ones means that nobody knows it.
std::int32_t Percent(std::uint64_t position, std::uint64_t total) {
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
    if (total == kLargest) return 0;
    if (position >= total) return 100;
    if (position <= kLargest / 100) return static_cast<std::int32_t>(position * 100 / total);
    // The largest p with p * total <= position * 100, without products of more than 64 bits.
    const std::uint64_t whole = total / 100, rest = total % 100;
    std::uint64_t percent = std::min<std::uint64_t>(position / whole, 100);
    while (percent * whole + (percent * rest + 99) / 100 > position) --percent;
    return static_cast<std::int32_t>(percent);
}

bool EndsLine(TextView text) { return !text.empty() && text.back() == u'\n'; }

}  // namespace

ConsoleSession::ConsoleSession(const ConsoleStreams& streams, const Texts& texts, const Clock& clock, Flags& flags,
                               EventWriter* events)
    : streams_(streams), texts_(texts), clock_(clock), flags_(flags), events_(events) {}

ConsoleSession::~ConsoleSession() { flush(); }

void ConsoleSession::flush() {
    if (!pending_.empty() && !outputGone_ && !streams_.write(streams_.self, pending_)) {
        outputGone_ = true;
        flags_.cancel = true;
    }
    pending_.clear();
}

bool ConsoleSession::finishOutput() {
    flush();
    return !outputGone_;
}

void ConsoleSession::print(TextView text) {
    pending_ += ToUtf8(text);
    flush();
}

void ConsoleSession::printRaw(TextView text) {
    pending_ += ToUtf8(text);
    if (pending_.size() > kMaximumPending) flush();
}

void ConsoleSession::printLine(TextId id, std::initializer_list<FormatArgument> arguments) {
    printLine(texts_.format(id, arguments));
}

void ConsoleSession::printLine(TextView text) { showLine(text, MessageLevel::Note); }

void ConsoleSession::printError(TextId id, std::initializer_list<FormatArgument> arguments) {
    printError(texts_.format(id, arguments));
}

void ConsoleSession::printError(TextView text) { showLine(text, MessageLevel::Error); }

void ConsoleSession::showLine(TextView text, MessageLevel level) {
    Text line(text);
    if (!EndsLine(line)) line += u"\r\n";
    print(line);
    if (events_ != nullptr) events_->message(text, level);
}

void ConsoleSession::beginStep(TextView text) { beginStep(text, 0); }

void ConsoleSession::beginStep(TextView text, std::uint64_t total, ProgressUnit unit) {
    progress_.begin(text, total, unit, now());
    lastPercent_ = 0;
    print(FormatText(u"%s ... %5d%%", {text, 0}));
    if (events_ != nullptr) events_->step(progress_);
}

void ConsoleSession::addProgress(std::uint64_t amount) {
    const std::uint64_t room = std::numeric_limits<std::uint64_t>::max() - progress_.done;
    setProgress(progress_.done + std::min(amount, room), progress_.total);
}

void ConsoleSession::setProgress(std::uint64_t position, std::uint64_t total) {
    if (progress_.advance(position, total, now()) && events_ != nullptr) events_->progress(progress_);
    if (total == 0) return;
    const std::int32_t percent = Percent(position, total);
    if (percent != lastPercent_) showPercent(percent);
}

void ConsoleSession::finishStep() {
    showPercent(100);
    progress_.finish(now());
    if (events_ != nullptr) events_->progress(progress_);
}

void ConsoleSession::showPercent(std::int32_t percent) {
    lastPercent_ = percent;
    print(FormatText(u"%s%5d%%", {kRubOut, percent}));
}

void ConsoleSession::printDone() { print(Text(texts_[TextId::StepDone]) + u"\r\n"); }

void ConsoleSession::tick() {
    const std::uint64_t time = now();
    if (time - lastOutput_ <= kTickMilliseconds) return;
    lastOutput_ = time;
    print(u".");
}

void ConsoleSession::printAndMark(TextView text) {
    print(text);
    lastOutput_ = now();
}

Answer ConsoleSession::prompt(const PromptRow& row, std::initializer_list<FormatArgument> arguments) {
    return ask(texts_.format(row.text, arguments), row.offered, row.safe);
}

Answer ConsoleSession::prompt(TextView text, std::uint8_t offered) { return ask(text, offered, SafeAnswer(offered)); }

void ConsoleSession::tellPrompt(TextView caption, TextView text, std::span<const TextView> answers,
                                std::optional<TextView> answer) {
    if (events_ != nullptr) events_->prompt(caption, text, answers, answer);
}

Answer ConsoleSession::ask(TextView text, std::uint8_t offered, Answer safe) {
    if (flags_.cancel) return safe;
    std::vector<TextView> words;
    for (const AnswerWords& row : kAnswers)
        if (Offers(offered, row.answer)) words.push_back(row.word);
    tellPrompt({}, text, words);
    const Answer answer = askUntilAnswered(text, offered, safe);
    const auto given = std::ranges::find(kAnswers, answer, &AnswerWords::answer);
    tellPrompt({}, text, words, given->word);
    return answer;
}

Answer ConsoleSession::askUntilAnswered(TextView text, std::uint8_t offered, Answer safe) {
    const Text question = Question(text, offered);
    for (;;) {
        if (flags_.cancel) return safe;
        const bool givesUp = assumeYes_ && repeatsTooOften(question);
        if (givesUp && Offers(offered, Answer::No) && Offers(offered, Answer::Yes)) {
            print(question + Text(kNo));
            return Answer::No;
        }
        if (givesUp) {
            flags_.cancel = true;
            print(u"\r\n");
            printLine(TextId::CannotAnswerYes, {text});
            return safe;
        }
        print(question);
        const Text line = readLine(kMaximumAnswer);
        for (const AnswerWords& row : kAnswers) {
            if (!Offers(offered, row.answer) || !Matches(line, row.word, row.letter)) continue;
            if (row.answer == Answer::Cancel) flags_.cancel = true;
            return row.answer;
        }
    }
}

bool ConsoleSession::repeatsTooOften(TextView question) {
    const auto place = timesAsked_.try_emplace(Text(question), 0).first;
    if (place->second == kMaximumRepeats) return true;
    ++place->second;
    return false;
}

std::size_t ConsoleSession::promptListed(TextView text, std::size_t safe) {
    if (flags_.cancel) return safe;
    const std::vector<TextView> words = ListedAnswers(text);
    const TextView question = text.substr(0, text.rfind(u'('));
    tellPrompt({}, question, words);
    const std::size_t answer = askForListed(text, words, safe);
    tellPrompt({}, question, words, words[answer]);
    return answer;
}

std::size_t ConsoleSession::askForListed(TextView text, std::span<const TextView> words, std::size_t safe) {
    while (!flags_.cancel) {
        if (assumeYes_ && repeatsTooOften(text)) {
            const bool takesYes = std::ranges::find(words, kYes) != words.end();
            flags_.cancel = flags_.cancel || !takesYes;
            print(takesYes ? Text(text) + Text(words[safe]) + u"\r\n" : Text(u"\r\n"));
            if (!takesYes) printLine(TextId::CannotAnswerYes, {text});
            return safe;
        }
        print(text);
        const Text line = readLine(kMaximumAnswer);
        for (std::size_t index = 0; index < words.size(); ++index) {
            if (!Matches(line, words[index], words[index].substr(0, 1))) continue;
            if (assumeYes_) print(u"\r\n");
            return index;
        }
    }
    return safe;
}

OverwriteAnswer ConsoleSession::promptOverwrite(TextView caption, TextView text) {
    if (const auto given = answersToAll_.find(caption); given != answersToAll_.end()) return given->second;
    if (flags_.cancel) return OverwriteAnswer::Cancel;
    std::vector<TextView> words;
    for (const OverwriteWords& row : kOverwriteAnswers) words.push_back(row.told);
    tellPrompt(caption, text, words);
    const OverwriteAnswer answer = askToOverwrite(caption, text);
    tellPrompt(caption, text, words, words[static_cast<std::size_t>(answer)]);
    if (answer == OverwriteAnswer::YesToAll) answersToAll_.emplace(caption, OverwriteAnswer::Yes);
    if (answer == OverwriteAnswer::NoToAll) answersToAll_.emplace(caption, OverwriteAnswer::No);
    return answer;
}

OverwriteAnswer ConsoleSession::askToOverwrite(TextView caption, TextView text) {
    for (;;) {
        if (flags_.cancel) return OverwriteAnswer::Cancel;
        print(FormatText(u"%s: %s%s", {caption, text, kOverwriteChoices}));
        const Text line = readLine(kMaximumOverwriteAnswer);
        for (const OverwriteWords& row : kOverwriteAnswers) {
            if (!Matches(line, row.word, row.letter)) continue;
            print(u"\r\n");
            if (row.answer == OverwriteAnswer::Cancel) flags_.cancel = true;
            return row.answer;
        }
    }
}

Text ConsoleSession::readLine(std::size_t maximumLength) {
    if (assumeYes_) {
        printRaw(kYes);
        return Text(kYes);
    }
    flush();
    if (flags_.cancel) return {};
    streams_.announcePrompt(streams_.self);
    const std::size_t limitBytes = maximumLength * 4 + 1;  // UTF-8, and a CR
    std::string bytes;
    bool isTooLong = false;
    for (;;) {
        const int byte = streams_.readByte(streams_.self);
        if (byte == '\n') break;
        if (byte < 0) {
            if (flags_.cancel || (bytes.empty() && !isTooLong)) {
                endOfInput();
                return {};
            }
            break;
        }
        if (bytes.size() < limitBytes)
            bytes += static_cast<char>(byte);
        else
            isTooLong = true;
    }
    if (!bytes.empty() && bytes.back() == '\r') bytes.pop_back();
    Text line = FromUtf8(bytes);
    if (isTooLong || line.size() > maximumLength) line.clear();
    return line;
}

void ConsoleSession::endOfInput() {
    if (flags_.cancel.exchange(true)) return;
    print(u"\r\n");
    printLine(TextId::InputEnded);
}

void ConsoleSession::signalResult(bool ok) {
    flush();  // a marker goes out alone
    clock_.sleep(clock_.self, kSignalMilliseconds);
    print(ok ? u"<E1>" : u"<E0>");
    clock_.sleep(clock_.self, kSignalMilliseconds);
}

}  // namespace tovlark

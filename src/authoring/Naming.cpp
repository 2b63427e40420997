#include "authoring/Naming.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "authoring/NameReport.h"
#include "authoring/NameTable.h"
#include "authoring/UdfText.h"

namespace tovlark {

namespace {

// The limit that stands for 8.3 names, and what their extension with its dot counts as, whatever its real length.
constexpr std::size_t kShortLimit = 12, kShortExtension = 4;
constexpr unsigned kMaximumDigits = 6;  // of numbers below kNumberLimit

/// A long name brought into its alphabet and split for numbering.
template <typename Char>
struct NameParts {
    std::basic_string<Char> base, extension;  // the extension with its dot
    std::size_t limit = 0;
    std::size_t reservedExtension = 0;  // the least that an extension counts
    bool isNumberedAtOnce = false;

    std::size_t extensionCount(std::size_t length) const { return std::max(length, reservedExtension); }
    bool fitsUnnumbered() const { return !isNumberedAtOnce && base.size() + extensionCount(extension.size()) <= limit; }
};

bool IsUnsafe(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == U';' || character == U'/' ||
           character == U'\\' || (character >= 0xD800 && character < 0xE000);
}

/// Units of the longest start of a name that is no longer than `limit` and splits no character. UTF-16 needs no page.
std::size_t CutAt(std::string_view name, std::size_t limit, const CodePage* codePage) {
    if (name.size() <= limit) return name.size();
    std::size_t length = 0;
    while (length < limit) {
        const std::size_t step = codePage->isLeadByte(static_cast<unsigned char>(name[length])) ? 2 : 1;
        if (length + step > limit) break;
        length += step;
    }
    return length;
}

std::size_t CutAt(TextView name, std::size_t limit, const CodePage*) {
    if (name.size() <= limit) return name.size();
    return limit > 0 && IsHighSurrogate(name[limit - 1]) ? limit - 1 : limit;
}

void AppendNarrow(std::string& name, char32_t character, IsoNameRules rules, const CodePage& codePage) {
    if (IsUnsafe(character) || (character == U' ' && rules.limit == kShortLimit)) {
        name += '_';
        return;
    }
    if (character < 0x80) {
        const char byte = static_cast<char>(character);
        name += byte >= 'a' && byte <= 'z' && !rules.lowerCaseAllowed ? static_cast<char>(byte - 'a' + 'A') : byte;
        return;
    }
    const std::size_t start = name.size();
    if (!codePage.encode(character, name)) {
        name += '_';
        return;
    }
    const std::size_t end = name.size();
    if (!rules.lowerCaseAllowed && codePage.encode(UpperCase(character), name)) name.erase(start, end - start);
}

template <typename Char>
void SplitExtension(NameParts<Char>& parts) {
    const std::size_t dot = parts.base.rfind(Char('.'));
    parts.extension.clear();
    if (dot == parts.base.npos) return;
    parts.extension.assign(parts.base, dot);
    parts.base.resize(dot);
}

void SplitIsoName(NameParts<char>& parts, TextView longName, NodeKind kind, IsoNameRules rules,
                  const CodePage& codePage) {
    parts.limit = rules.limit;
    parts.reservedExtension = rules.limit == kShortLimit ? kShortExtension : 0;
    parts.isNumberedAtOnce = false;
    parts.base.clear();
    for (std::size_t position = 0; position < longName.size();)
        AppendNarrow(parts.base, NextCodePoint(longName, position), rules, codePage);
    SplitExtension(parts);
    if (rules.limit != kShortLimit) return;

    if (kind == NodeKind::Folder && !parts.extension.empty()) {
        parts.extension.clear();
        parts.isNumberedAtOnce = true;
    } else if (parts.extension.size() > kShortExtension) {
        parts.extension.resize(CutAt(std::string_view(parts.extension), kShortExtension, &codePage));
        parts.isNumberedAtOnce = true;
    }
    if (const std::size_t dot = parts.base.find('.'); dot != parts.base.npos) {
        parts.base.resize(dot);
        parts.isNumberedAtOnce = true;
    }
}

void SplitJolietName(NameParts<char16_t>& parts, TextView longName, std::uint8_t limit) {
    parts.limit = limit;
    parts.isNumberedAtOnce = longName.find(u';') != longName.npos;
    parts.base.clear();
    for (std::size_t position = 0; position < longName.size();) {
        const char32_t character = NextCodePoint(longName, position);
        AppendCodePoint(parts.base, IsUnsafe(character) ? U'_' : character);
    }
    SplitExtension(parts);
}

/// What all names numbered with so many digits have in common: the start of the base and the extension.
template <typename Char>
struct Stem {
    std::basic_string_view<Char> prefix, extension;
};

template <typename Char>
Stem<Char> StemFor(const NameParts<Char>& parts, std::size_t digits, const CodePage* codePage) {
    std::basic_string_view<Char> base = parts.base, extension = parts.extension;
    const std::size_t room = parts.limit - digits - 4;
    if (parts.extensionCount(extension.size()) >= room)
        extension = extension.substr(0, CutAt(extension, room, codePage));
    const std::size_t taken = 1 + digits + parts.extensionCount(extension.size());
    return {base.substr(0, CutAt(base, parts.limit - taken, codePage)), extension};
}

template <typename Char>
void WriteNumbered(std::basic_string<Char>& name, const Stem<Char>& stem, std::int32_t number) {
    std::array<char, kMaximumDigits + 1> digits;
    const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    name.assign(stem.prefix).append(1, Char('~'));
    name.append(digits.cbegin(), digits.cbegin() + (end - digits.data())).append(stem.extension);
}

std::size_t DigitsOf(std::int32_t number) {
    std::size_t digits = 1;
    for (; number >= 10; number /= 10) ++digits;
    return digits;
}

template <typename Char>
std::basic_string<Char> NameFrom(const NameParts<Char>& parts, std::int32_t number, const CodePage* codePage) {
    if (number == kNoNumber && parts.fitsUnnumbered()) return parts.base + parts.extension;
    const std::int32_t shown = std::max(number, 0);
    std::basic_string<Char> name;
    WriteNumbered(name, StemFor(parts, DigitsOf(shown), codePage), shown);
    return name;
}

/// Finds the free names of one folder at a time, for one of its trees.
///
/// Whether a numbered name is refused depends on that name alone and never changes within a folder: taken names stay
/// taken, and the one child whose own long name it might be has got it without a number. So the next number to try is
/// kept for every stem, and no number is ever tried twice.
template <typename Char>
class NameFinder {
public:
    using View = std::basic_string_view<Char>;

    explicit NameFinder(const CodePage* codePage) : codePage_(codePage) {}

    void startFolder(std::size_t childCount) {
        taken_.reset(childCount);
        nextNumbers_.reset(childCount);
        keys_.release();
    }

    /// The first free name by the numbering rules, valid until the next call; empty when there is none. `isFree` tells
    /// whether a name may be used beyond not being taken.
    template <typename IsFree>
    View find(const NameParts<Char>& parts, const IsFree& isFree) {
        isNumbered_ = false;
        if (parts.fitsUnnumbered()) {
            name_.assign(parts.base).append(parts.extension);
            if (taken_.find(name_) == nullptr && isFree(name_)) return name_;
        }
        isNumbered_ = true;
        std::int32_t first = 0, end = 10;
        for (std::size_t digits = 1; digits <= kMaximumDigits; ++digits, first = end, end *= 10)
            if (findNumbered(StemFor(parts, digits, codePage_), digits, first, end, isFree)) return name_;
        return {};
    }

    /// True when the name found last was cut or taken, and so has a number.
    bool isNumbered() const { return isNumbered_; }

    /// Takes a name; its characters must live as long as the folder is worked on.
    void take(View name) { taken_.insert(name, 0); }

private:
    template <typename IsFree>
    bool findNumbered(const Stem<Char>& stem, std::size_t digits, std::int32_t first, std::int32_t end,
                      const IsFree& isFree) {
        key_.assign(1, static_cast<Char>(digits)).append(stem.prefix).append(1, Char('\0')).append(stem.extension);
        const std::int32_t* known = nextNumbers_.find(key_);
        std::int32_t number = known != nullptr ? *known : first;
        bool isFound = false;
        while (number < end && !isFound) {
            WriteNumbered(name_, stem, number++);
            isFound = taken_.find(name_) == nullptr && isFree(name_);
        }
        remember(number);
        return isFound;
    }

    void remember(std::int32_t nextNumber) {
        if (std::int32_t* known = nextNumbers_.find(key_)) {
            *known = nextNumber;
            return;
        }
        Char* copy = static_cast<Char*>(keys_.allocate(key_.size() * sizeof(Char), alignof(Char)));
        std::copy(key_.begin(), key_.end(), copy);
        nextNumbers_.insert({copy, key_.size()}, nextNumber);
    }

    const CodePage* codePage_;
    NameTable<Char> taken_, nextNumbers_;
    std::pmr::monotonic_buffer_resource keys_;
    std::basic_string<Char> name_, key_;
    bool isNumbered_ = false;
};

/// ISO 9660 record: 33 bytes and the name, made even (ECMA-119 9.1).
std::uint8_t RecordLength(std::size_t nameBytes) { return static_cast<std::uint8_t>((33 + nameBytes + 1) & ~1U); }

class NameResolver {
public:
    NameResolver(Task& task, ImageBuildContext& context)
        : task_(task),
          context_(context),
          isoFinder_(&context.codePage),
          jolietFinder_(nullptr),
          udfFinder_(nullptr),
          isoRules_{context.rockRidgeEnabled() ? static_cast<std::uint8_t>(kShortLimit) : context.isoNameLength,
                    context.lowerCaseAllowed},
          asksAboutChanges_(context.isoEnabled && !context.jolietEnabled && !context.udfEnabled &&
                            !context.rockRidgeEnabled()) {}

    void run() {
        std::vector<CompilationNode*> pending{context_.root};
        while (!pending.empty() && context_.error == BuildError::None) {
            CompilationNode& folder = *pending.back();
            pending.pop_back();
            nameChildren(folder);
            const std::vector<CompilationNode*>& children = folder.folder->children;
            for (auto child = children.rbegin(); child != children.rend(); ++child)
                if ((*child)->isFolder()) pending.push_back(*child);
        }
        if (context_.error != BuildError::None) return;
        if (changed_.empty())
            report_.tell(task_, context_);
        else
            askAboutChanges();
    }

private:
    void nameChildren(CompilationNode& folder) {
        if (task_.flags.cancel) context_.error = BuildError::Cancelled;
        std::vector<CompilationNode*>& children = folder.folder->children;
        std::sort(children.begin(), children.end(), [](const CompilationNode* left, const CompilationNode* right) {
            return left->longName < right->longName;
        });
        isoFinder_.startFolder(children.size());
        jolietFinder_.startFolder(children.size());
        udfFinder_.startFolder(0);
        for (CompilationNode* child : children) {
            if (context_.error != BuildError::None) return;
            if (context_.isoEnabled) giveIsoName(folder, *child);
            if (context_.jolietEnabled) giveJolietName(*child);
            if (context_.udfEnabled) giveUdfName(folder, *child);
        }
    }

    void giveIsoName(const CompilationNode& folder, CompilationNode& node) {
        SplitIsoName(isoParts_, node.longName, node.kind, isoRules_, context_.codePage);
        const std::string_view name = isoFinder_.find(isoParts_, [&](const std::string& candidate) {
            wideName_ = context_.codePage.decode(candidate);
            return wideName_ == node.longName || FindChild(folder, wideName_) == nullptr;
        });
        if (name.empty()) return fail(node);
        if (asksAboutChanges_ && wideName_ != node.longName) changed_.push_back(&node);
        if (isoFinder_.isNumbered()) report_.add(NamingTree::Iso, node);
        node.isoName = context_.store(name);
        node.isoRecordLength = RecordLength(name.size());
        isoFinder_.take(node.isoName);
    }

    void giveJolietName(CompilationNode& node) {
        SplitJolietName(jolietParts_, node.longName, context_.jolietNameLength);
        const TextView name = jolietFinder_.find(jolietParts_, [](const Text&) { return true; });
        if (name.empty()) return fail(node);
        if (jolietFinder_.isNumbered()) report_.add(NamingTree::Joliet, node);
        node.jolietName = name == node.longName ? node.longName : context_.store(name);
        node.jolietRecordLength = RecordLength(2 * name.size());
        jolietFinder_.take(node.jolietName);
    }

    void giveUdfName(const CompilationNode& folder, CompilationNode& node) {
        if (node.kind == NodeKind::SymbolicLink && UdfPathOf(node.linkTarget).empty()) {
            ReportError(task_, task_.session.texts().format(TextId::LinkNotInUdf, {PathInImage(node)}));
            context_.udfNames[&node] = {};
            return;
        }
        const std::size_t limit = UdfText::unitLimit(node.longName);
        if (node.longName.size() <= limit) return;
        SplitJolietName(jolietParts_, node.longName, static_cast<std::uint8_t>(limit));
        const TextView name = udfFinder_.find(
            jolietParts_, [&](const Text& candidate) { return FindChild(folder, candidate) == nullptr; });
        if (name.empty()) return fail(node);
        report_.add(NamingTree::Udf, node);
        const TextView kept = context_.store(name);
        context_.udfNames[&node] = kept;
        udfFinder_.take(kept);
    }

    void fail(const CompilationNode& node) {
        context_.error = BuildError::NoUniqueName;
        context_.errorSubject = PathInImage(node);
    }

    Text describeChange(const CompilationNode& node) const {
        return task_.session.texts().format(TextId::NameChange,
                                            {PathInImage(node), context_.codePage.decode(node.isoName)});
    }

    void askAboutChanges() {
        constexpr std::size_t kShown = 20;
        const Texts& texts = task_.session.texts();
        Text question = Text(texts[TextId::NamesWillBeTruncated]) + u"\r\n";
        std::stable_partition(changed_.begin(), changed_.end(),
                              [](const CompilationNode* node) { return !node->isFolder(); });
        for (std::size_t index = 0; index < changed_.size(); ++index) {
            const CompilationNode& node = *changed_[index];
            const Text change = describeChange(node);
            task_.log.append(change);
            if (index >= kShown) continue;
            if (index == 0 || node.isFolder() != changed_[index - 1]->isFolder())
                question.append(texts[node.isFolder() ? TextId::FolderNameWillChange : TextId::FileNameWillChange])
                    .append(u"\r\n");
            question.append(u"  ").append(change).append(u"\r\n");
        }
        if (changed_.size() > kShown)
            question.append(texts.format(TextId::MoreNamesWillChange, {changed_.size() - kShown})).append(u"\r\n");
        if (task_.session.prompt(question, Answer::Yes | Answer::No) != Answer::Yes)
            context_.error = task_.flags.cancel ? BuildError::Cancelled : BuildError::NamesRefused;
    }

    Task& task_;
    ImageBuildContext& context_;
    NameFinder<char> isoFinder_;
    NameFinder<char16_t> jolietFinder_, udfFinder_;
    const IsoNameRules isoRules_;
    const bool asksAboutChanges_;
    NameParts<char> isoParts_;
    NameParts<char16_t> jolietParts_;
    Text wideName_;
    std::vector<const CompilationNode*> changed_;  // to be asked about
    NameReport report_;
};

}  // namespace

std::string DeriveIsoName(TextView longName, NodeKind kind, IsoNameRules rules, std::int32_t number,
                          const CodePage& codePage) {
    if (longName == u"." || longName == u"..") return std::string(longName.size(), '.');
    NameParts<char> parts;
    SplitIsoName(parts, longName, kind, rules, codePage);
    return NameFrom(parts, number, &codePage);
}

Text DeriveJolietName(TextView longName, std::uint8_t limit, std::int32_t number) {
    if (longName == u"." || longName == u"..") return Text(longName);
    NameParts<char16_t> parts;
    SplitJolietName(parts, longName, limit);
    return NameFrom(parts, number, nullptr);
}

void ResolveNames(Task& task, ImageBuildContext& context) {
    if (context.error == BuildError::None) NameResolver(task, context).run();
}

}  // namespace tovlark

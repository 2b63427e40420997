#include "platform/Paths.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <sys/auxv.h>
#include <unistd.h>
#include <vector>

#include "platform/FileParts.h"
#include "platform/Files.h"

namespace tovlark {

namespace {

Text Environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? FromUtf8(value) : Text();
}

Text CurrentFolder() {
    std::string buffer(256, '\0');
    while (::getcwd(buffer.data(), buffer.size()) == nullptr) {
        if (errno != ERANGE) return u"/";
        buffer.resize(2 * buffer.size());
    }
    return FromUtf8(buffer.c_str());
}

Text HomeFolder() {
    const Text home = Environment("HOME");
    if (IsAbsolutePath(home)) return home;
    std::vector<char> buffer(16384);
    passwd record{};
    passwd* found = nullptr;
    if (::getpwuid_r(::geteuid(), &record, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return {};
    return FromUtf8(record.pw_dir);
}

}  // namespace

const char16_t kPathSeparator = u'/';

bool IsPathSeparator(char16_t unit) { return unit == u'/'; }

std::size_t RootLength(TextView path) { return std::min(path.find_first_not_of(u'/'), path.size()); }

bool IsAbsolutePath(TextView path) { return path.starts_with(u'/'); }

Text FullPath(TextView path) {
    const Text given = IsAbsolutePath(path) ? Text(path) : JoinPath(CurrentFolder(), path);
    Text full;
    for (std::size_t position = 0; position < given.size();) {
        const std::size_t end = std::min(given.find(u'/', position), given.size());
        const TextView part = TextView(given).substr(position, end - position);
        position = end + 1;
        if (part.empty() || part == u".") continue;
        if (part != u"..")
            full.append(u"/").append(part);
        else if (!full.empty())
            full.resize(full.rfind(u'/'));
    }
    return full.empty() ? Text(u"/") : full;
}

void MendLocalName(Text&) {}

Text LocalNameKey(TextView name) { return Text(name); }

Text ProgramFolder() {
    Text program;
    if (!ReadSymbolicLink(u"/proc/self/exe", program).failed()) return Text(FolderOf(program));
    // A root without /proc: the path that the program was started with (getauxval(3)).
    const auto started = std::bit_cast<const char*>(::getauxval(AT_EXECFN));
    return started != nullptr ? Text(FolderOf(FullPath(FromUtf8(started)))) : u".";
}

Text LanguageFolder() {
    const Text beside = JoinPath(ProgramFolder(), u"Lang");
    FileInfo info;
    if (!GetTargetInfo(beside, info).failed() && info.kind == FileKind::Folder) return beside;
    return JoinPath(FolderOf(ProgramFolder()), u"share/tovlark/Lang");
}

Text ConfigurationFolder() {
    // A relative value is to be ignored (XDG Base Directory Specification, "Basics").
    if (const Text folder = Environment("XDG_CONFIG_HOME"); IsAbsolutePath(folder)) return JoinPath(folder, u"tovlark");
    const Text home = HomeFolder();
    return home.empty() ? Text() : JoinPath(home, u".config/tovlark");
}

Text SystemTempFolder() {
    const Text folder = Environment("TMPDIR");
    return folder.empty() ? Text(u"/var/tmp") : FullPath(folder);
}

}  // namespace tovlark

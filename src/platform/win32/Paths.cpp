#include "platform/Paths.h"

#include <algorithm>

#include "platform/FileParts.h"
#include "platform/win32/Native.h"

namespace tovlark {

namespace {

bool IsDrive(TextView path) {
    return path.size() >= 2 && path[1] == u':' && UpperCase(char32_t{path[0]}) >= U'A' &&
           UpperCase(char32_t{path[0]}) <= U'Z';
}

std::size_t SkipSeparators(TextView path, std::size_t position) {
    while (position < path.size() && IsPathSeparator(path[position])) ++position;
    return position;
}

// The position after so many parts and the separators that follow them.
std::size_t SkipParts(TextView path, std::size_t position, int count) {
    for (; count > 0; --count) {
        while (position < path.size() && !IsPathSeparator(path[position])) ++position;
        position = SkipSeparators(path, position);
    }
    return position;
}

bool StartsWithTwoSeparators(TextView path) {
    return path.size() >= 2 && IsPathSeparator(path[0]) && IsPathSeparator(path[1]);
}

// "\\?\" and "\\.\", which switch off or go round the reading of names.
bool IsDevicePath(TextView path) {
    return StartsWithTwoSeparators(path) && path.size() >= 4 && (path[2] == u'?' || path[2] == u'.') &&
           IsPathSeparator(path[3]);
}

}  // namespace

const char16_t kPathSeparator = u'\\';

bool IsPathSeparator(char16_t unit) { return unit == u'\\' || unit == u'/'; }

std::size_t RootLength(TextView path) {
    if (IsDrive(path)) return SkipSeparators(path, 2);
    if (IsDevicePath(path)) {
        constexpr std::size_t kPrefix = 4;
        const bool isShare = EqualsIgnoringCase(path.substr(kPrefix, 3), u"UNC");
        return SkipParts(path, kPrefix, isShare ? 3 : 1);
    }
    return StartsWithTwoSeparators(path) ? SkipParts(path, 2, 2) : SkipSeparators(path, 0);
}

bool IsAbsolutePath(TextView path) {
    return StartsWithTwoSeparators(path) || (IsDrive(path) && path.size() > 2 && IsPathSeparator(path[2]));
}

Text FullPath(TextView path) {
    const std::wstring given = path.empty() ? L"." : ToWide(path);
    std::wstring full(MAX_PATH, L'\0');
    DWORD length = ::GetFullPathNameW(given.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    while (length >= full.size()) {  // then it is the size needed
        full.resize(length + 1);
        length = ::GetFullPathNameW(given.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    }
    full.resize(length);
    Text result = length != 0 ? FromWide(full) : Text(path);
    while (result.size() > RootLength(result) && IsPathSeparator(result.back())) result.pop_back();
    return result;
}

std::wstring NativePath(TextView path) {
    constexpr std::size_t kLongestPlain = MAX_PATH - 13;  // a folder leaves room for a short name in it
    if (path.find(u'\0') != TextView::npos) return {};
    const Text full = path.empty() ? Text() : FullPath(path);
    if (full.size() < kLongestPlain || IsDevicePath(full)) return ToWide(path);
    return StartsWithTwoSeparators(full) ? L"\\\\?\\UNC\\" + ToWide(TextView(full).substr(2))
                                         : L"\\\\?\\" + ToWide(full);
}

// Microsoft, "Naming Files, Paths, and Namespaces"
void MendLocalName(Text& name) {
    constexpr TextView kForbidden = u"<>:\"|?*";
    constexpr TextView kDevices[] = {u"CON", u"PRN", u"AUX", u"NUL", u"CONIN$", u"CONOUT$"};
    constexpr TextView kNumberedDevices[] = {u"COM", u"LPT"}, kNumbers = u"0123456789\u00B9\u00B2\u00B3";
    std::ranges::replace_if(
        name, [&](char16_t unit) { return kForbidden.find(unit) != TextView::npos; }, u'_');
    if (name.back() == u'.' || name.back() == u' ') name.back() = u'_';
    TextView base = TextView(name).substr(0, name.find(u'.'));
    while (base.ends_with(u' ')) base.remove_suffix(1);
    const auto isDevice = [&](TextView device) { return EqualsIgnoringCase(base, device); };
    const auto isNumbered = [&](TextView device) {
        return base.size() == device.size() + 1 && EqualsIgnoringCase(base.substr(0, device.size()), device) &&
               kNumbers.find(base.back()) != TextView::npos;
    };
    if (std::ranges::any_of(kDevices, isDevice) || std::ranges::any_of(kNumberedDevices, isNumbered))
        name.insert(0, 1, u'_');
}

Text LocalNameKey(TextView name) { return UpperCase(name); }

Text ProgramFolder() {
    std::wstring program(MAX_PATH, L'\0');
    DWORD length = ::GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    while (length == program.size()) {  // then it was cut
        program.resize(2 * program.size());
        length = ::GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    }
    program.resize(length);
    return Text(FolderOf(FromWide(program)));
}

Text LanguageFolder() { return JoinPath(ProgramFolder(), u"Lang"); }

Text ConfigurationFolder() { return {}; }

Text SystemTempFolder() {
    wchar_t folder[MAX_PATH + 1];
    const DWORD length = ::GetTempPathW(static_cast<DWORD>(std::size(folder)), folder);
    return FullPath(FromWide(std::wstring_view(folder, length)));
}

}  // namespace tovlark

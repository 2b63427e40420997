#include "platform/Paths.h"

#include <algorithm>

#include "platform/FileParts.h"

namespace tovlark {

namespace {

// `path` without the separators at its end that do not belong to its root.
TextView WithoutTrailingSeparators(TextView path) {
    const std::size_t root = RootLength(path);
    while (path.size() > root && IsPathSeparator(path.back())) path.remove_suffix(1);
    return path;
}

}  // namespace

Text JoinPath(TextView folder, TextView name) {
    if (folder.empty()) return Text(name);
    Text path(WithoutTrailingSeparators(folder));
    const bool isBareDrive = path.size() == RootLength(path) && !IsRootPath(path);
    while (!name.empty() && IsPathSeparator(name.front())) name.remove_prefix(1);
    if (!isBareDrive && !IsPathSeparator(path.back())) path.push_back(kPathSeparator);
    return path.append(name);
}

TextView FileName(TextView path) {
    path = WithoutTrailingSeparators(path);
    std::size_t start = path.size();
    while (start > RootLength(path) && !IsPathSeparator(path[start - 1])) --start;
    return path.substr(start);
}

TextView FolderOf(TextView path) {
    path = WithoutTrailingSeparators(path);
    path.remove_suffix(FileName(path).size());
    return WithoutTrailingSeparators(path);
}

Text LocalName(TextView recorded) {
    constexpr std::size_t kLongestName = 255;  // bytes, as even a Windows share may count
    Text name(recorded);
    std::ranges::replace_if(
        name, [](char16_t unit) { return unit < 0x20 || unit == 0x7F || IsPathSeparator(unit); }, u'_');
    name = CutName(name, kLongestName);
    if (name.empty()) name = u"_";
    if (name == u"." || name == u"..") name.assign(name.size(), u'_');
    MendLocalName(name);
    return name;
}

TextView CutName(TextView name, std::size_t maximumBytes) {
    std::size_t length = 0, used = 0;
    while (length < name.size()) {
        std::size_t next = length;
        NextCodePoint(name, next);
        used += ToUtf8(name.substr(length, next - length)).size();
        if (used > maximumBytes) break;
        length = next;
    }
    return name.substr(0, length);
}

bool IsRootPath(TextView path) { return IsAbsolutePath(path) && RootLength(path) == path.size(); }

TextView ExtensionOf(TextView path) {
    const TextView name = FileName(path);
    const std::size_t dot = name.rfind(u'.');
    return dot == TextView::npos ? TextView() : name.substr(dot + 1);
}

}  // namespace tovlark

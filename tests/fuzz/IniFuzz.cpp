// The bytes are a settings file: every value in it can be looked up, and a value written to it reads back while all
// others stay as they were.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "base/IniText.h"

namespace {

using namespace tovlark;

constexpr std::size_t kMaximumBytes = 4096;  // the check of all values is quadratic

struct Value {
    std::string section, name, value;
};

std::vector<Value> ValuesOf(const std::string& bytes) {
    std::vector<Value> values;
    std::string section;
    bool hasSection = false;
    IniLine line;
    for (std::size_t position = 0; NextIniLine(bytes, position, line);) {
        if (line.end != position || line.first >= line.end) std::abort();
        if (line.kind == IniLine::Kind::Section) section = line.name;
        hasSection = hasSection || line.kind == IniLine::Kind::Section;
        if (line.kind != IniLine::Kind::Entry || !hasSection) continue;
        const auto found = FindIniValue(bytes, section, line.name);
        if (!found) std::abort();
        values.push_back({section, std::string(line.name), std::string(*found)});
    }
    return values;
}

void WriteAndCheck(const std::string& bytes, const std::string& section, const std::string& name,
                   const std::string& value) {
    const auto changed = WithIniValue(bytes, section, name, value);
    if (!changed) return;
    if (FindIniValue(*changed, section, name) != value) std::abort();
    for (const Value& row : ValuesOf(bytes)) {
        const auto now = FindIniValue(*changed, row.section, row.name);
        if (!now || (*now != row.value && (*now != value || row.name.size() != name.size()))) std::abort();
    }
    const auto [stop, changedStop] = std::ranges::mismatch(bytes, *changed);
    const auto [back, changedBack] = std::mismatch(bytes.rbegin(), std::reverse_iterator(stop), changed->rbegin(),
                                                   std::reverse_iterator(changedStop));
    if (std::count(stop, back.base(), '\n') > 1) std::abort();  // more than one line went
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string bytes(size, '\0');
    std::copy_n(data, size, bytes.begin());
    bytes.resize(std::min(size, kMaximumBytes));
    const std::vector<Value> values = ValuesOf(bytes);
    (void)ParseWholeNumber(bytes);
    WriteAndCheck(bytes, "Settings", "VerifyData", "1");
    WriteAndCheck(bytes, "Settings", "TempFolder", bytes.substr(0, bytes.find('\n')));
    if (!values.empty()) WriteAndCheck(bytes, values.back().section, values.back().name, values.front().value);
    return 0;
}

#include <span>

#include "app/session/Settings.h"
#include "app/start/Start.h"
#include "platform/Files.h"

namespace tovlark {

void KeepMessageLog(Task& task) {
    const Text path = task.settings.getString(kMessageLogFile);
    const std::string lines = path.empty() ? std::string() : task.log.render();
    if (lines.empty()) return;
    const SystemError error = AppendToFile(path, std::as_bytes(std::span(lines)));
    if (!error.failed()) return;
    task.session.printError(TextId::MessageLogNotKept, {path, DescribeError(error)});
    ExplainMissingFolder(task, path, error);
}

}  // namespace tovlark

#include "app/session/Task.h"

namespace tovlark {

void ReportError(Task& task, const Text& line) {
    task.session.printError(line);
    task.log.append(line);
    task.flags.error = true;
}

}  // namespace tovlark

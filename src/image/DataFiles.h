#pragma once

#include "base/DiscLayout.h"

namespace tovlark {

/// Where a sheet's data file is: its name below the sheet's folder, either separator taken, unless it is a full path.
/// One that leads nowhere here, as another machine's does, is looked for by its last part beside the sheet.
Text LocatePath(const Text& folder, const Text& name);

/// Finds a data file's kind from its first bytes, and where its data begin and how many they are. A file that cannot be
/// read, or is audio to be decoded, has no size.
void MeasureDataFile(DataFile& file);

}  // namespace tovlark

#pragma once

#include "app/session/Task.h"
#include "base/Status.h"

namespace tovlark {

struct ExtractRequest {
    Text image;         // path of the image file
    Text innerPath;     // what to extract, "/" separated: a file, a folder with everything below it, "/" for all
    Text outputFolder;  // made where it is missing
};

/// Extracts from an image: the object itself into the output folder; of "/", what is in it. Nothing is ever written
/// outside the output folder, whatever the image says: names are made harmless (`LocalName`), symbolic links below it
/// are never followed, and those of the image are made last.
///
/// Dates and permission bits are restored (less the bits that new files of this user do not get; never set-user,
/// set-group or sticky), owners are not. A folder that was there keeps its own. What cannot be read or written is
/// reported and left out; Failed then.
Status ExtractImage(Task& task, const ExtractRequest& request);

}  // namespace tovlark

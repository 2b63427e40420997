#pragma once

#include <nlohmann/json_fwd.hpp>

#include "app/drives/DriveFacts.h"
#include "app/session/ConsoleSession.h"
#include "optical/DriveMap.h"

namespace tovlark {

using Json = nlohmann::ordered_json;

/// The facts of a drive; docs/man/tvdrive.1 lists the names.
Json FactsAsJson(const Texts& texts, const DriveLetter& letter, const DriveFacts& facts);

void PrintJson(ConsoleSession& session, const Json& json);

}  // namespace tovlark

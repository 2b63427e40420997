#pragma once

#include <memory>
#include <optional>

#include "readers/Volume.h"

namespace tovlark {

/// True when the volume recognition sequence announces UDF ("NSR02" or "NSR03", ECMA-167 3/9.1).
bool HasUdf(const ByteSource& source);

/// The revision of UDF that the volume is recorded in, 0x0102 for 1.02; nothing when there is none that opens.
std::optional<std::uint16_t> ReadUdfRevision(const ByteSource& source);

/// Opens the UDF tree. The source must outlive the volume. Null with `fault` set when it is broken.
std::unique_ptr<Volume> OpenUdf(const ByteSource& source, std::optional<VolumeFault>& fault);

}  // namespace tovlark

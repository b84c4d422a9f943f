#pragma once

#include <cstddef>
#include <span>

#include "host/output.h"
#include "shared_nqserver/NQDataValue.h"
#include "shared_nqserver/nqmessagekinds.h"

namespace host {

/// A script value as a JSON value: numbers (one that JSON has no form for as a text), flags, texts, null for null and
/// undefined; objects with all their members, names that come again too; elements without names as a list; a date as
/// its milliseconds and zone; bytes in hexadecimal. What an array has of itself, and all beyond 100,000 values or 16
/// MiB of the document, is "...".
Json scriptJson(const NQDataValue& value);

/// The payload of a script-data message (AMF0; AMF3 where `kind` is kDataEx): its name and the values behind it.
/// The document ends in "..." where it is many times as long as the payload. Throws Malformed, at 0, where that is not
/// well formed, has more than the codec takes (see ReadAllowance), or does not begin with a text.
Json describeScript(std::span<const std::byte> payload, qvs::MessageKind kind = qvs::MessageKind::kData);

}  // namespace host

#pragma once

#include <cstddef>
#include <span>

#include "host/output.h"
#include "shared_nqserver/NQDataValue.h"
#include "shared_nqserver/nqmessagekinds.h"

namespace host {

/// A script value as a JSON value: numbers (one that JSON has no form for as a text), flags, texts, null for null and
/// undefined; objects with all their members, names that come again too; elements without names as a list; a date as
/// its milliseconds and zone; bytes in hexadecimal. What an array has of itself, and all beyond 100,000 values, is
/// "...".
Json scriptJson(const NQDataValue& value);

/// The payload of a script-data message (AMF0; AMF3 where `kind` is kDataEx): its name and the values behind it.
/// Throws Malformed, at 0, where it is not well formed or does not begin with a text.
Json describeScript(std::span<const std::byte> payload, qvs::MessageKind kind = qvs::MessageKind::kData);

}  // namespace host

#pragma once

#include <cstddef>
#include <span>

#include "host/output.h"
#include "shared_nqserver/NQDataValue.h"
#include "shared_nqserver/nqmessagekinds.h"

namespace host {

/// A script value as a JSON value. A number that JSON cannot express becomes a text, null and undefined become null. An
/// object keeps all its members, also two of the same name; elements without names become a list. A date is an object
/// of `milliseconds` and `zone`, bytes one of `bytes` in hexadecimal. An array inside itself, and all beyond 100,000
/// values or 16 MiB of the document, is "...".
Json scriptJson(const NQDataValue& value);

/// The payload of a script-data message (AMF0; AMF3 if `kind` is kDataEx): its name and the values after it. If the
/// document became many times as long as the payload, it ends in "...". Throws Malformed, at 0, if the payload is
/// malformed, has more than the codec takes (see ReadAllowance), or does not begin with a text.
Json describeScript(std::span<const std::byte> payload, qvs::MessageKind kind = qvs::MessageKind::kData);

}  // namespace host

#pragma once

#include "util/bytes.h"

namespace host {

/// Passes over one AMF0 value of the kinds that descriptions are made of: numbers, flags, texts, objects, arrays,
/// dates, nulls. Throws MalformedInput for another kind, one that ends early, and values more than a few deep in one
/// another.
void skipScriptValue(qvs::util::ByteReader& in);

}  // namespace host

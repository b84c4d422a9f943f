#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <stdexcept>
#include <string>

#include "host/errors.h"
#include "host/files/Malformed.h"
#include "platform/container/reading/SegmentError.h"
#include "util/bytes.h"

namespace host {

/// A fault in a file, in words for the user. One line, without `error: `.
inline std::string faultText(const std::string& path, std::uint64_t offset, const std::string& fault) {
  // Offset 0 means the file as a whole.
  const std::string place = offset != 0 ? fmt::format("offset {}: ", offset) : "";
  return fmt::format("'{}': {}{}", path, place, fault);
}

/// Runs `read`. If it finds a file malformed, throws a CommandError that names file, offset and fault.
/// Other exceptions pass through.
template <typename Read>
auto inFile(const std::string& path, const Read& read) {
  try {
    return read();
  } catch (const Malformed& error) {
    throw CommandError(faultText(path, error.offset(), error.what()));
  } catch (const krvo::container::SegmentError& error) {
    throw CommandError(faultText(path, error.offset(), error.fault()));
  }
}

/// The same, also for exceptions about malformed boxes of a segment.
template <typename Read>
auto inSegment(const std::string& path, const Read& read) {
  try {
    return inFile(path, read);
  } catch (const qvs::util::MalformedInput& error) {
    throw CommandError(faultText(path, 0, error.message()));
  } catch (const std::out_of_range& error) {
    throw CommandError(faultText(path, 0, error.what()));
  }
}

}  // namespace host

#pragma once

#include <fmt/format.h>

#include <string>

#include "host/errors.h"
#include "host/files/Malformed.h"
#include "platform/container/reading/SegmentError.h"

namespace host {

/// Runs `read`. What it finds malformed in a file becomes a CommandError that names file, offset and fault.
template <typename Read>
auto inFile(const std::string& path, const Read& read) {
  const auto fail = [&path](std::uint64_t offset, const std::string& fault) {
    // An offset of 0 is that of a file as a whole.
    const std::string place = offset != 0 ? fmt::format("offset {}: ", offset) : "";
    throw CommandError(fmt::format("'{}': {}{}", path, place, fault));
  };
  try {
    return read();
  } catch (const Malformed& error) {
    fail(error.offset(), error.what());
    throw;
  } catch (const krvo::container::SegmentError& error) {
    fail(error.offset(), error.fault());
    throw;
  }
}

}  // namespace host

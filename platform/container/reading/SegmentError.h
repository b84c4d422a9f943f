#pragma once

#include <cstdint>
#include <string>

#include "util/bytes.h"

namespace krvo::container {

/// A segment that is malformed, or a box other than expected. The text begins with the place: "offset 1254: `moof`
/// expected, `free` found". The commands print the text to users, and `k2r verify` makes a finding of offset() and
/// fault().
class SegmentError : public qvs::util::MalformedInput {
 public:
  SegmentError(std::uint64_t offset, const std::string& fault)
      : MalformedInput("offset " + std::to_string(offset) + ": " + fault), offset_(offset), fault_(fault) {}

  /// Offset in the file of what is malformed.
  std::uint64_t offset() const { return offset_; }
  /// The text without the place.
  const std::string& fault() const { return fault_; }

 private:
  std::uint64_t offset_;
  std::string fault_;
};

}  // namespace krvo::container

#pragma once

#include <cstdint>

#include "modules/streams/k2r/K2RIOStream.h"

namespace qvs::k2r {

/// A segment file that is opened to see whether it could be continued: what is written to it goes nowhere. The file
/// exists.
class TrialStream final : public K2RIOStream {
 public:
  TrialStream(IMOFileContext* fileContext, std::string path) : K2RIOStream(fileContext, std::move(path), true) {}

  std::uint64_t write(const void*, std::uint64_t count) override {
    seek(static_cast<std::int64_t>(count), 1);
    return count;
  }
};

}  // namespace qvs::k2r

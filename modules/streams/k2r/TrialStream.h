#pragma once

#include <cstdint>

#include "modules/streams/k2r/K2RIOStream.h"

namespace qvs::k2r {

/// An existing segment file that is opened to find out whether it can be continued. Reads come from the file; writes
/// only move the position and change nothing on disk. The writer that is opened on it must be destroyed without an
/// effect on the file, which this guarantees whatever the library writes at its end.
class TrialStream final : public K2RIOStream {
 public:
  TrialStream(IMOFileContext* fileContext, std::string path) : K2RIOStream(fileContext, std::move(path), true) {}

  std::uint64_t write(const void*, std::uint64_t count) override {
    seek(static_cast<std::int64_t>(count), 1);
    return count;
  }
};

}  // namespace qvs::k2r

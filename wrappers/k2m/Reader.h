#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "wrappers/k2m/IOStream.h"
#include "wrappers/k2m/handles.h"

namespace krvo::k2m {

// Counted handles for reading a segment back, with the rules of handles.h. A reader, its iterators and their samples
// use the stream, which outlives them all.

/// A stored sample.
class Sample {
 public:
  explicit Sample(KrvoK2MSample* handle);

  /// Times are in the timescale of the sample's track.
  K2MSampleInfo info() const;
  SampleDescriptor descriptor() const;
  /// Reads the sample's bytes; `out` has as many as info() says.
  void copyData(std::span<std::byte> out) const;

 private:
  std::shared_ptr<KrvoK2MSample> handle_;
};

class SampleIterator {
 public:
  explicit SampleIterator(KrvoK2MSampleIterator* handle);
  /// Nothing behind the last one.
  std::optional<Sample> next() const;

 private:
  std::shared_ptr<KrvoK2MSampleIterator> handle_;
};

/// One segment file that is read.
class Reader {
 public:
  explicit Reader(IOStream& stream);

  std::vector<Track> tracks() const;
  /// Of a track of this reader.
  SampleIterator samples(const Track& track) const;

 private:
  std::shared_ptr<KrvoK2MReader> handle_;
};

}  // namespace krvo::k2m

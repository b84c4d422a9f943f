#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "wrappers/k2m/IOStream.h"
#include "wrappers/k2m/handles.h"

namespace krvo::k2m {

// Counted handles for reading a segment back, with the rules of handles.h: for programs that turn stored samples into
// messages again. A reader, its iterators and their samples use the stream, which outlives all of them. Samples are
// read when they are asked for, a fragment at a time, so memory does not grow with the file.

/// A stored sample. It may be kept after its iterator has moved on.
class Sample {
 public:
  /// Takes over the reference that the library gave out.
  explicit Sample(KrvoK2MSample* handle);

  /// Length, times and flags; times are in the timescale of the sample's track.
  K2MSampleInfo info() const;
  /// The description that the sample's fragment names; it need not be the first one of the track.
  SampleDescriptor descriptor() const;
  /// Reads the sample's bytes from the stream; `out` has exactly the length in info(). They are encrypted in a
  /// protected recording.
  void copyData(std::span<std::byte> out) const;

 private:
  std::shared_ptr<KrvoK2MSample> handle_;
};

/// The samples of one track, in the order in which they are stored.
class SampleIterator {
 public:
  /// Takes over the reference that the library gave out.
  explicit SampleIterator(KrvoK2MSampleIterator* handle);
  /// The next sample; nothing after the last one. Throws Exception with kKrvoMalformed if the file has anything but
  /// whole fragments there; the next call tries the same place again.
  std::optional<Sample> next() const;

 private:
  std::shared_ptr<KrvoK2MSampleIterator> handle_;
};

/// One segment file that is read.
class Reader {
 public:
  /// Reads the header of the file. `stream` outlives the reader; it is never written. Throws Exception for a file of
  /// another form.
  explicit Reader(IOStream& stream);

  /// All tracks, hint tracks included.
  std::vector<Track> tracks() const;
  /// An iterator from the first sample on. `track` is one of this reader.
  SampleIterator samples(const Track& track) const;

 private:
  std::shared_ptr<KrvoK2MReader> handle_;
};

}  // namespace krvo::k2m

// The entries that open a segment, write its fragments and end it. Those that are given bytes take them over in an
// OwnedData before the guard, so that they are given back also if the call fails.

#include <utility>

#include "platform/container/OwnedData.h"
#include "platform/container/handles.h"
#include "platform/container/records.h"
#include "platform/container/reopen.h"
#include "platform/container/status.h"

using namespace krvo::container;

namespace {

void giveWriter(std::unique_ptr<Stream> stream, const KrvoK2MAllocatorCallBacks& allocator, SegmentState state,
                KrvoK2RWriter** out) {
  auto segment = std::make_unique<SegmentWriter>(std::move(stream), allocator, std::move(state));
  *out = std::make_unique<KrvoK2RWriter>(std::move(segment)).release();
}

/// Reports a finding to the caller, who decides whether to continue.
void warn(const KrvoK2MWarningHandlerCallBacks& handler, KrvoWarningCode code) {
  std::uint32_t answer = 0;
  check(handler.warning(handler.context, code, &answer));
  require(answer != 0, kKrvoStopped);
}

}  // namespace

KrvoStatus KrvoK2RDocCreateNew(const KrvoK2MIOStreamCallBacks* stream, const K2MDocInfo* info,
                               const KrvoK2MAllocatorCallBacks* allocator, KrvoK2RWriter** writer) {
  return guarded([=] {
    require(writer != nullptr);
    SegmentState state;
    state.movie = makeMovie(checked(info));
    giveWriter(std::make_unique<Stream>(checked(stream)), checked(allocator), std::move(state), writer);
  });
}

KrvoStatus KrvoK2RDocOpenForAppend(const KrvoK2MIOStreamCallBacks* stream,
                                   const KrvoK2MWarningHandlerCallBacks* warnings,
                                   const KrvoK2MAllocatorCallBacks* allocator, std::uint64_t position, void* scratch,
                                   KrvoK2RWriter** writer) {
  return guarded([=] {
    require(writer != nullptr && scratch == nullptr);
    require(warnings == nullptr || checked(warnings).warning != nullptr);
    auto opened = std::make_unique<Stream>(checked(stream));
    ReopenedSegment reopened = reopenSegment(*opened, position);
    // Before the writer is made, since that overwrites the bytes of which the warning speaks.
    if (reopened.leftover && warnings != nullptr) warn(*warnings, kKrvoWarnLeftover);
    giveWriter(std::move(opened), checked(allocator), std::move(reopened.state), writer);
  });
}

KrvoStatus KrvoK2RWriterGetK2MWriterRef(KrvoK2RWriter* writer, KrvoK2MWriter** k2m) {
  return guarded([=] {
    require(writer != nullptr && k2m != nullptr);
    *k2m = &writer->tracks;
  });
}

KrvoStatus KrvoK2RWriterStartFragment(KrvoK2RWriter* writer, std::uint64_t* position) {
  return guarded([=] {
    require(writer != nullptr && position != nullptr);
    *position = writer->segment->startFragment();
  });
}

KrvoStatus KrvoK2RWriterAddABST(KrvoK2RWriter* writer, const KrvoK2MDataBuffer* box, std::uint32_t length) {
  OwnedData owned(box);
  return guarded([&] {
    require(writer != nullptr);
    writer->segment->beginContent(std::move(owned), length);
  });
}

KrvoStatus KrvoK2RWriterAddHintSample(KrvoK2RWriter* writer, KrvoK2MTrack* hintTrack, KrvoK2MTrack* mediaTrack,
                                      const KrvoK2MDataBuffer* data, const K2MSampleInfo* info,
                                      const K2MMediaRange* media, std::uint32_t randomAccess) {
  OwnedData owned(data);
  return guarded([&] {
    require(writer != nullptr && hintTrack != nullptr && mediaTrack != nullptr && media != nullptr);
    writer->segment->addTag(std::move(owned), *hintTrack->track, mediaTrack->track.get(), checked(info), *media,
                            randomAccess != 0);
  });
}

KrvoStatus KrvoK2RWriterAddSampleWithAfra(KrvoK2RWriter* writer, KrvoK2MTrack* track, const KrvoK2MDataBuffer* data,
                                          const K2MSampleInfo* info, std::uint32_t randomAccess) {
  OwnedData owned(data);
  return guarded([&] {
    require(writer != nullptr && track != nullptr);
    writer->segment->addTag(std::move(owned), *track->track, nullptr, checked(info), {}, randomAccess != 0);
  });
}

KrvoStatus KrvoK2MWriterFlush(KrvoK2MWriter* writer) {
  return guarded([=] {
    require(writer != nullptr);
    writer->segment->flush();
  });
}

KrvoStatus KrvoK2MDestroyWriter(KrvoK2RWriter* writer) {
  return guarded([=] {
    require(writer != nullptr);
    // Owned again first: the writer is gone even if ending the file fails.
    const std::unique_ptr<KrvoK2RWriter> ended(writer);
    ended->segment->finish();
  });
}

#include "packaging/MTGSampleIterator.h"

#include "packaging/mtgCodec.h"

namespace ruvo::k2rpkgutil {

using ruvo::k2r::SampleInfo;
using ruvo::k2r::SampleKind;

namespace {

SampleKind kindOf(std::uint32_t type) {
  if (type == kAudioTag) return SampleKind::Audio;
  return type == kVideoTag ? SampleKind::Video : SampleKind::Data;
}

/// Bytes of the data before the sample; 0 if the data are shorter, so that the sample never begins beyond them.
std::uint32_t codecHeaderBytes(const mtg::Tag& tag, const MTGTagInfo& info) {
  // Asked for the audio or video info of a tag without data, the library fails with kKrvoMTGOtherKind.
  if (info.dataSize == 0) return 0;
  std::uint32_t count = 0;
  if (info.type == kAudioTag) count = mtgAudioHeaderBytes(mtgAudioFormat(tag.audioInfo().soundFormat));
  if (info.type == kVideoTag) count = mtgVideoHeaderBytes(tag.videoInfo().codecId);
  return count <= info.dataSize ? count : 0;
}

}  // namespace

void MTGSampleIterator::nextInfo(SampleInfo& out) {
  current_ = tags_.nextEntry();
  const MTGTagInfo info = current_.info();
  out = {.kind = kindOf(info.type), .time = info.timestamp, .keyFrame = false, .empty = info.dataSize == 0};
  if (out.kind == SampleKind::Video && !out.empty) out.keyFrame = current_.videoInfo().frameType == kKeyFrame;
}

void MTGSampleIterator::currentMessage(NQMessage& out) {
  const MTGTagInfo info = current_.info();
  const std::uint32_t length = current_.length();
  const auto totalSize = length + static_cast<std::uint32_t>(qvs::util::kTagBackPointerSize);
  MemoryHolder memory;
  context_.getArena().allocate(memory, totalSize);
  std::byte* const tag = memory->getData();
  const std::uint32_t inFront = codecHeaderBytes(current_, info);
  current_.copyHeaderAndData({tag, length});
  qvs::util::writeTagBackPointer(tag + length, info.dataSize);
  const std::byte* const sample = tag + qvs::util::kTagHeaderSize + inFront;
  out = NQMessage(info.timestamp, totalSize, std::move(memory), sample, info.dataSize - inFront);
}

}  // namespace ruvo::k2rpkgutil

#include "tests/support/SegmentMaker.h"

#include <algorithm>
#include <chrono>

#include "util/bytes.h"
#include "util/fourcc.h"
#include "util/tagHeader.h"

namespace test {

using namespace krvo::k2m;
using qvs::util::asBytes;
using qvs::util::operator""_4cc;
using std::chrono::sys_days;

K2MDocInfo documentInfo() {
  auto info = makeRecord<K2MDocInfo>();
  info.version = 1;
  info.created = makeDate(sys_days(std::chrono::year(2024) / 1 / 1));
  info.modified = info.created;
  info.rate = 1;
  info.volume = 1;
  info.timescale = 1000;
  return info;
}

K2MTrackInfo trackInfo(std::uint32_t handlerType) {
  auto info = makeRecord<K2MTrackInfo>();
  info.handlerType = handlerType;
  info.flags = 7;
  info.timescale = 1000;
  info.created = documentInfo().created;
  info.modified = info.created;
  info.volume = 1;
  std::copy_n("eng", 4, info.language);
  return info;
}

SegmentMaker::SegmentMaker(IOStream& elsewhere) {
  writer_.emplace(elsewhere, documentInfo(), allocator_);
}

SegmentMaker::SegmentMaker(IOStream& elsewhere, std::uint64_t position) {
  CarryOn warnings;
  writer_.emplace(elsewhere, warnings, allocator_, position);
  for (const Track& track : writer().k2mWriter().tracks()) {
    const auto type = track.info().handlerType;
    (type == "vide"_4cc ? video_ : type == "soun"_4cc ? audio_ : type == "meta"_4cc ? data_ : hint_) = track;
  }
}

SegmentMaker& SegmentMaker::addVideoTrack(std::string_view formatCode, std::string_view codecHeader) {
  auto info = trackInfo("vide"_4cc);
  info.width = 320;
  info.height = 240;
  video_ = writer().k2mWriter().addTrack(info, makeRecord<K2MEntriesInfo>(), "MainConcept");
  auto record = makeRecord<K2MVideoDescriptorInfo>();
  record.base.formatCode = qvs::util::ByteReader(asBytes(formatCode)).u32();
  record.width = 320;
  record.height = 240;
  record.horizontalResolution = 72;
  record.verticalResolution = 72;
  record.frameCount = 1;
  record.depth = 24;
  writer().k2mWriter().addVideoSampleDescriptor(video_, record, asBytes(codecHeader));
  return *this;
}

SegmentMaker& SegmentMaker::addAudioTrack() {
  audio_ = writer().k2mWriter().addTrack(trackInfo("soun"_4cc), makeRecord<K2MEntriesInfo>(), "MainConcept");
  auto record = makeRecord<K2MAudioDescriptorInfo>();
  record.base.formatCode = "mp4a"_4cc;
  record.sampleRate = 44100;
  record.channels = 2;
  writer().k2mWriter().addAudioSampleDescriptor(audio_, record, {});
  return *this;
}

SegmentMaker& SegmentMaker::addDataTrack() {
  data_ = writer().k2mWriter().addTrack(trackInfo("meta"_4cc), makeRecord<K2MEntriesInfo>(), "MainConcept");
  auto record = makeRecord<K2MDescriptorInfo>();
  record.formatCode = "amf0"_4cc;
  writer().k2mWriter().addSampleDescriptor(data_, record, {});
  return *this;
}

SegmentMaker& SegmentMaker::addHintTrack() {
  std::vector<Track> media;
  for (const Track& track : {video_, audio_, data_}) {
    if (track) media.push_back(track);
  }
  auto info = trackInfo("hint"_4cc);
  info.flags = 0;
  info.volume = 0;
  hint_ = writer().addHintTrack(info, makeRecord<K2MEntriesInfo>(), "Hints", media);
  auto record = makeRecord<K2MRtmpDescriptorInfo>();
  record.base.formatCode = "rtmp"_4cc;
  record.hintTrackVersion = 1;
  record.highestCompatibleVersion = 1;
  record.maximumPacketSize = 500;
  writer().k2mWriter().addRtmpSampleDescriptor(hint_, record, {});
  return *this;
}

SegmentMaker& SegmentMaker::begin(std::string_view abst) {
  abst_ = abst;
  writer().addAbst(asBytes(abst_));
  return *this;
}

SegmentMaker& SegmentMaker::video(std::uint64_t time, bool keyFrame, std::uint32_t size, std::int32_t compositionTime) {
  std::string fields{keyFrame ? '\x17' : '\x27', '\x01'};
  for (const int shift : {16, 8, 0}) fields += static_cast<char>(compositionTime >> shift);
  return add(&video_, 9, time, fields, size, keyFrame, false);
}

std::size_t SegmentMaker::heldTags() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(blocks_, [](const Block& block) { return block.released != 1; }));
}

SegmentMaker& SegmentMaker::add(const Track* track, std::uint8_t type, std::uint64_t time, std::string_view codecFields,
                                std::uint32_t size, bool sync, bool randomAccess) {
  using namespace qvs::util;
  Block& block = blocks_.emplace_back();
  const auto dataSize = static_cast<std::uint32_t>(codecFields.size()) + size;
  block.bytes.resize(dataSize + kTagOverhead);
  // Distinguishes the bytes of one tag from those of the others.
  for (std::size_t i = 0; i < block.bytes.size(); ++i) block.bytes[i] = static_cast<std::byte>(time * 31 + type + i);
  writeTagHeader(block.bytes.data(), type, dataSize, static_cast<std::uint32_t>(time));
  std::ranges::copy(asBytes(codecFields), block.bytes.data() + kTagHeaderSize);
  writeTagBackPointer(block.bytes.data() + dataSize + kTagHeaderSize, dataSize);
  auto info = makeRecord<K2MHintInfo>();
  info.sample.length = static_cast<std::uint32_t>(block.bytes.size());
  info.sample.time = time;
  info.sample.timescale = 1000;
  info.sample.sampleType = "hint"_4cc;
  info.sample.flags = sync ? 1 : 0;
  info.media.offset = static_cast<std::uint32_t>(kTagHeaderSize + codecFields.size());
  info.media.length = size;
  // The bytes go with their last use, so that the sanitizer sees any after it.
  const KrvoK2MDataBuffer tag = makeDataBuffer(block.bytes.data(), &block, [](void* context) {
    auto& done = *static_cast<Block*>(context);
    ++done.released;
    std::vector<std::byte>().swap(done.bytes);
  });
  if (track != nullptr) {
    writer().addHintSample(hint_, *track, tag, info, randomAccess);
  } else {
    writer().addSampleWithAfra(hint_, tag, info.sample, randomAccess);
  }
  return *this;
}

}  // namespace test

#include "packaging/MetadataMessage.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <utility>

#include "server/AMF0Items.h"
#include "util/ExceptionMask.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::amfmessage;
using ruvo::k2r::MetaAudioTrackInfo;
using ruvo::k2r::MetaTrackInfo;
using ruvo::k2r::MetaVideoTrackInfo;

/// Writes the items of one message in the order of the calls. The order is part of the format, though AMF0 leaves it
/// free: the .meta files of one stream are the same to the byte.
class MessageWriter {
 public:
  explicit MessageWriter(std::ostream& out) : out_(out) {}

  void item(const AMF0Base& item) { item.writeTo(out_); }
  void number(const char* name, double value) { AMF0PropNumber(name, value).writeTo(out_); }
  void string(const char* name, std::string value) { AMF0PropString(name, std::move(value)).writeTo(out_); }
  void custom(const std::string& name, const std::string& value) { AMF0PropString(name, value).writeTo(out_); }
  void objectBegin(const char* name) { AMF0PropObjectBegin(name).writeTo(out_); }
  void strictArray(const char* name, std::size_t count) {
    AMF0NoHeaderString(name).writeTo(out_);
    AMF0StrictArrayBegin(static_cast<double>(count)).writeTo(out_);
  }

 private:
  std::ostream& out_;
};

/// Frames a second. Before anything is recorded this is 0 / 0. The bits of such a NaN, its sign above all, differ
/// between a division at run time and one that the compiler did; the file always gets those of the processor.
double frameRate(const MetaVideoTrackInfo& track) {
  const double rate = track.getTimescale() * track.getFrameCount() / track.getLength();
  return std::isnan(rate) ? std::bit_cast<double>(std::uint64_t{0xFFF8000000000000}) : rate;
}

// The type decides before the class does: setType() may have changed it.
const MetaVideoTrackInfo* asVideo(const MetaTrackInfo& track) {
  return track.getType() == MetaTrackInfo::kVideo ? dynamic_cast<const MetaVideoTrackInfo*>(&track) : nullptr;
}

const MetaAudioTrackInfo* asAudio(const MetaTrackInfo& track) {
  return track.getType() == MetaTrackInfo::kAudio ? dynamic_cast<const MetaAudioTrackInfo*>(&track) : nullptr;
}

void writeCodecs(MessageWriter& out, const MetadataSummary& summary) {
  for (const auto& track : summary.getTracks()) {
    const std::string codecId = qvs::util::toText(track->getCodecId());
    if (const auto* video = asVideo(*track)) {
      out.number("width", video->getWidth());
      out.number("height", video->getHeight());
      out.string("videocodecid", codecId);
    } else if (asAudio(*track) != nullptr) {
      out.string("audiocodecid", codecId);
    }
  }
}

void writeProfiles(MessageWriter& out, const MetadataSummary& summary) {
  if (summary.getHasAvc()) {
    out.number("avcprofile", summary.getAvcProfile());
    out.number("avclevel", summary.getAvcLevel());
  }
  if (summary.getHasAac()) out.number("aacaot", summary.getAacObjectType());
}

void writeRates(MessageWriter& out, const MetadataSummary& summary) {
  for (const auto& track : summary.getTracks()) {
    if (const auto* video = asVideo(*track)) {
      out.number("videoframerate", frameRate(*video));
    } else if (const auto* audio = asAudio(*track)) {
      out.number("audiosamplerate", audio->getSampleRate());
      out.number("audiochannels", audio->getChannels());
    }
  }
}

void writeTrackInfo(MessageWriter& out, const MetadataSummary& summary) {
  out.strictArray("trackinfo", summary.getTracks().size());
  for (const auto& track : summary.getTracks()) {
    out.item(AMF0ObjectBegin());
    out.number("length", track->getLength());
    out.number("timescale", track->getTimescale());
    if (!track->getLanguage().empty()) out.string("language", track->getLanguage());
    out.item(AMF0ObjectEnd());
  }
}

void writeTimeCode(MessageWriter& out, const MetadataSummary& summary) {
  if (!summary.getHasSmpte()) return;
  out.objectBegin("smpteTimeInfo");
  out.number("smpteOffset", summary.getSmpteOffset());
  out.item(AMF0ObjectEnd());
}

void writeCustomDefinitions(MessageWriter& out, const MetadataSummary& summary) {
  // Written also when empty: the key is part of every description.
  out.strictArray("custdef", summary.getCustomDefinitions().size());
  for (const auto& [name, value] : summary.getCustomDefinitions()) out.custom(name, value);
}

}  // namespace

void writeMetadataMessage(std::ostream& stream, const MetadataSummary& summary) {
  // The mask comes first, so that a short write cannot pass for a whole message.
  const qvs::util::ExceptionMask mask(stream, std::ios_base::eofbit | std::ios_base::failbit | std::ios_base::badbit);
  MessageWriter out(stream);
  out.item(AMF0String("onMetaData"));
  out.item(AMF0ArrayBegin());
  out.number("duration", summary.getDuration());
  writeCodecs(out, summary);
  writeProfiles(out, summary);
  writeRates(out, summary);
  writeTrackInfo(out, summary);
  writeTimeCode(out, summary);
  writeCustomDefinitions(out, summary);
  out.item(AMF0ArrayEnd());
}

}  // namespace ruvo::k2rpkgutil

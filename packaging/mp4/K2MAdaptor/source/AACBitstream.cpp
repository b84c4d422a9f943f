#include "packaging/mp4/K2MAdaptor/source/AACBitstream.h"

#include <iterator>

#include "packaging/mp4/K2MAdaptor/source/CBitstreamReader.h"

namespace ruvo::k2rpkgutil {
namespace {

constexpr std::uint32_t kEscapedObjectType = 31;
constexpr std::int32_t kSbrObjectType = 5;
constexpr std::int32_t kScalableObjectType = 6;
constexpr std::int32_t kErScalableObjectType = 20;
constexpr std::int32_t kErBsacObjectType = 22;
constexpr std::int32_t kPsObjectType = 29;
constexpr std::uint32_t kEscapedRate = 15;
constexpr std::uint32_t kExtensionSync = 0x2B7;

/// Hertz, by sampling frequency index (14496-3, table 1.18); the missing indices, 13 and 14, are reserved.
constexpr std::int32_t kSampleRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                         22050, 16000, 12000, 11025, 8000,  7350};

std::int32_t rateOf(std::uint32_t index) {
  return index < std::size(kSampleRates) ? kSampleRates[index] : 0;
}

/// Object types whose specific configuration has a syntax that is not read here (speech, synthesis, HILN, others).
bool isUnsupported(std::int32_t type) {
  return type == 8 || type == 9 || (type >= 12 && type <= 16) || (type >= 24 && type <= 28);
}

bool hasGASpecificConfig(std::int32_t type) {
  return (type >= 1 && type <= 4) || type == 6 || type == 7 || type == 17 || (type >= 19 && type <= 23);
}

bool hasErrorProtection(std::int32_t type) {
  return type == 17 || (type >= 19 && type <= 23);
}

bool hasResilienceFlags(std::int32_t type) {
  return type == 17 || type == 19 || type == 20 || type == 23;
}

class Reader {
 public:
  explicit Reader(AacConfig& config) : config_(config) {}

  AacVerdict read() {
    if (config_.dataSize < 1 || bits_.attach(config_.data, config_.dataSize) != 0) return AacVerdict::kNoData;
    const AacVerdict verdict = looksLikeAdts() ? readAdts() : readAudioSpecificConfig();
    if (verdict != AacVerdict::kRead) return verdict;
    // Looked at once, at the end: until then each field that could not be read has kept its value.
    if (bits_.error()) return AacVerdict::kTruncated;
    config_.parsed = AacConfig::kParsed;
    return AacVerdict::kRead;
  }

 private:
  /// Stricter than the sync word: an AudioSpecificConfig may begin with 0xFFF too, so layer, profile and rate index
  /// must make sense for ADTS as well.
  bool looksLikeAdts() {
    constexpr std::uint32_t kSync = 0xFFF00000;
    constexpr std::uint32_t kLayer = 0x60000;
    constexpr std::uint32_t kIdAndProfile = 0x8C000;
    const std::uint32_t word = bits_.peek32();
    return (word & kSync) == kSync && (word & kLayer) == 0 && (word & kIdAndProfile) != kIdAndProfile &&
           (word >> 10 & 0xF) <= 11 && bits_.bitsLeft() >= 28;
  }

  AacVerdict readAdts() {
    bits_.skipBits(16);
    config_.objectType = number(2) + 1;
    config_.sampleRate = rateOf(bits_.readBits(4));
    bits_.skipBits(1);
    config_.channelConfig = number(3);
    config_.sbrPresent = -1;
    config_.extensionObjectType = config_.objectType;
    config_.extensionSampleRate = config_.sampleRate;
    return AacVerdict::kRead;
  }

  AacVerdict readAudioSpecificConfig() {
    takeObjectType(config_.objectType);
    takeRate(config_.sampleRate);
    take(config_.channelConfig, 4);
    config_.sbrPresent = -1;
    config_.extensionSampleRate = config_.sampleRate;
    // Type 29 is parametric stereo on top of SBR, so it has the fields of SBR, too.
    if (config_.objectType == kSbrObjectType || config_.objectType == kPsObjectType) readExplicitSbr();
    if (isUnsupported(config_.objectType)) return AacVerdict::kUnsupported;
    if (hasGASpecificConfig(config_.objectType) && !readGASpecificConfig()) return AacVerdict::kUnsupported;
    if (hasErrorProtection(config_.objectType) && number(2) >= 2 && !bits_.error()) return AacVerdict::kUnsupported;
    if (config_.extensionObjectType != kSbrObjectType && bits_.bitsLeft() >= 16) readBackwardCompatibleExtension();
    return AacVerdict::kRead;
  }

  // For type 29 as well: parametric stereo comes with spectral band replication (14496-3, 1.6.2.1).
  void readExplicitSbr() {
    config_.extensionObjectType = kSbrObjectType;
    config_.sbrPresent = 1;
    takeRate(config_.extensionSampleRate);
    takeObjectType(config_.objectType);
    if (config_.objectType == kErBsacObjectType) bits_.skipBits(4);  // extension channel configuration
  }

  void readBackwardCompatibleExtension() {
    if (bits_.readBits(11) != kExtensionSync) return;
    takeObjectType(config_.extensionObjectType);
    if (config_.extensionObjectType != kSbrObjectType && config_.extensionObjectType != kErBsacObjectType) return;
    take(config_.sbrPresent, 1);
    if (config_.sbrPresent == 1) takeRate(config_.extensionSampleRate);
  }

  /// 14496-3, 4.4.1. Returns false if extensionFlag3 is set: no edition of the standard says what follows it.
  bool readGASpecificConfig() {
    take(config_.frameLengthFlag, 1);
    if (flag()) bits_.skipBits(14);  // core coder delay
    const bool extension = flag();
    if (config_.channelConfig == 0) readProgramConfig();
    if (config_.objectType == kScalableObjectType || config_.objectType == kErScalableObjectType) {
      bits_.skipBits(3);  // layer
    }
    if (!extension) return true;
    if (config_.objectType == kErBsacObjectType) {
      take(config_.numSubFrames, 5);
      take(config_.layerLength, 11);
    }
    if (hasResilienceFlags(config_.objectType)) bits_.skipBits(3);
    return !flag();
  }

  /// 14496-3, 4.4.1.1.
  void readProgramConfig() {
    bits_.skipBits(4 + 2 + 4);  // instance tag, object type, sampling frequency index
    const std::int32_t front = number(4);
    const std::int32_t side = number(4);
    const std::int32_t back = number(4);
    const std::int32_t lfe = number(2);
    const std::int32_t associatedData = number(3);
    const std::int32_t coupling = number(4);
    // Elements, not channels: a pair counts as one, as in existing descriptions.
    if (!bits_.error()) config_.channelConfig = front + side + back + lfe;
    if (flag()) bits_.skipBits(4);  // mono mixdown
    if (flag()) bits_.skipBits(4);  // stereo mixdown
    if (flag()) bits_.skipBits(3);  // matrix mixdown
    bits_.skipBits((front + side + back + coupling) * 5 + (lfe + associatedData) * 4);
    bits_.align();
    bits_.skipBytes(number(8));  // comment
  }

  std::int32_t number(std::int32_t bits) { return static_cast<std::int32_t>(bits_.readBits(bits)); }
  /// False beyond the end: missing bits read as ones, and must not switch on a branch that reads further ones.
  bool flag() { return bits_.readBit() != 0 && !bits_.error(); }

  // Each field keeps its value if the configuration breaks off in it: what was read before stays.
  void take(std::int32_t& field, std::int32_t bits) {
    const std::int32_t value = number(bits);
    if (!bits_.error()) field = value;
  }
  void takeObjectType(std::int32_t& field) {
    std::uint32_t type = bits_.readBits(5);
    if (type == kEscapedObjectType) type = 32 + bits_.readBits(6);
    if (!bits_.error()) field = static_cast<std::int32_t>(type);
  }
  void takeRate(std::int32_t& field) {
    const std::uint32_t index = bits_.readBits(4);
    const std::int32_t rate = index == kEscapedRate ? number(24) : rateOf(index);
    if (!bits_.error()) field = rate;
  }

  AacConfig& config_;
  CBitstreamReader bits_;
};

}  // namespace

AacVerdict readAacConfig(AacConfig& config) {
  return Reader(config).read();
}

}  // namespace ruvo::k2rpkgutil

#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "packaging/MetaTrackInfo.h"

namespace ruvo::k2rpkgutil {

/// The content of a stream's description, before it is written. A plain value, all zero and empty at first; setters
/// accept anything.
class MetadataSummary {
 public:
  using Tracks = std::vector<std::shared_ptr<ruvo::k2r::MetaTrackInfo>>;
  using Definitions = std::vector<std::pair<std::string, std::string>>;

  /// Seconds.
  double getDuration() const { return duration_; }
  void setDuration(double seconds) { duration_ = seconds; }
  /// In the order in which they are written. No pointer is null.
  const Tracks& getTracks() const { return tracks_; }
  void setTracks(Tracks tracks) { tracks_ = std::move(tracks); }
  /// Names and values that a host adds, in the order in which they are written. No recording has any.
  const Definitions& getCustomDefinitions() const { return customDefinitions_; }
  void setCustomDefinitions(Definitions definitions) { customDefinitions_ = std::move(definitions); }
  /// Whether profile and level are written.
  bool getHasAvc() const { return hasAvc_; }
  void setHasAvc(bool hasAvc) { hasAvc_ = hasAvc; }
  /// profile_idc and level_idc of ITU-T H.264.
  double getAvcProfile() const { return avcProfile_; }
  void setAvcProfile(double profile) { avcProfile_ = profile; }
  double getAvcLevel() const { return avcLevel_; }
  void setAvcLevel(double level) { avcLevel_ = level; }
  /// Whether the audio object type is written.
  bool getHasAac() const { return hasAac_; }
  void setHasAac(bool hasAac) { hasAac_ = hasAac; }
  /// Audio object type (ISO/IEC 14496-3, 1.5.1). buildMetadataMessage() leaves it 0.
  double getAacObjectType() const { return aacObjectType_; }
  void setAacObjectType(double objectType) { aacObjectType_ = objectType; }
  /// Whether the time code offset is written.
  bool getHasSmpte() const { return hasSmpte_; }
  void setHasSmpte(bool hasSmpte) { hasSmpte_ = hasSmpte; }
  /// Stored as given; recordings have 0.
  double getSmpteOffset() const { return smpteOffset_; }
  void setSmpteOffset(double offset) { smpteOffset_ = offset; }

 private:
  double duration_ = 0;
  Tracks tracks_;
  Definitions customDefinitions_;
  bool hasAvc_ = false;
  double avcProfile_ = 0;
  double avcLevel_ = 0;
  bool hasAac_ = false;
  double aacObjectType_ = 0;
  bool hasSmpte_ = false;
  double smpteOffset_ = 0;
};

}  // namespace ruvo::k2rpkgutil

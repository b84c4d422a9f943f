#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "packaging/MetaTrackInfo.h"

namespace ruvo::k2rpkgutil {

/// What a stream's description says. Plain values, all zero and empty at first.
class MetadataSummary {
 public:
  using Tracks = std::vector<std::shared_ptr<ruvo::k2r::MetaTrackInfo>>;
  using Definitions = std::vector<std::pair<std::string, std::string>>;

  /// Seconds.
  double getDuration() const { return duration_; }
  void setDuration(double seconds) { duration_ = seconds; }
  const Tracks& getTracks() const { return tracks_; }
  void setTracks(Tracks tracks) { tracks_ = std::move(tracks); }
  /// Names and values of the host's own.
  const Definitions& getCustomDefinitions() const { return customDefinitions_; }
  void setCustomDefinitions(Definitions definitions) { customDefinitions_ = std::move(definitions); }
  bool getHasAvc() const { return hasAvc_; }
  void setHasAvc(bool hasAvc) { hasAvc_ = hasAvc; }
  double getAvcProfile() const { return avcProfile_; }
  void setAvcProfile(double profile) { avcProfile_ = profile; }
  double getAvcLevel() const { return avcLevel_; }
  void setAvcLevel(double level) { avcLevel_ = level; }
  bool getHasAac() const { return hasAac_; }
  void setHasAac(bool hasAac) { hasAac_ = hasAac; }
  double getAacObjectType() const { return aacObjectType_; }
  void setAacObjectType(double objectType) { aacObjectType_ = objectType; }
  bool getHasSmpte() const { return hasSmpte_; }
  void setHasSmpte(bool hasSmpte) { hasSmpte_ = hasSmpte; }
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

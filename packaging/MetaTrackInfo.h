#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "util/fourcc.h"

namespace ruvo::k2r {

using qvs::util::FourCC;

/// One track in the description of a stream, in the doubles and texts of script data (AMF0 has no other numbers). Kept
/// apart from K2RTrack, so that the writer of the description needs no container types.
///
/// A plain value for one thread. The slot order is fixed, and there is no destructor slot: a `shared_ptr` made from the
/// derived class destroys it.
class MetaTrackInfo {
 public:
  enum Type : std::uint32_t { kAudio = 0, kVideo = 1, kData = 2 };

  /// A value of Type. It may contradict the class; writers of descriptions use both.
  virtual void setType(std::uint32_t type) = 0;
  /// Format code of the codec, such as `avc1`; 0 if it is not known.
  virtual void setCodecId(FourCC codecId) = 0;
  /// Duration of the track, in units of the timescale.
  virtual void setLength(double length) = 0;
  /// Units a second.
  virtual void setTimescale(double timescale) = 0;
  /// Three letters of ISO 639-2; empty if the description does not have it.
  virtual void setLanguage(std::string language) = 0;
  /// The getters return what was set, without a check, in the same units.
  virtual std::uint32_t getType() const = 0;
  virtual FourCC getCodecId() const = 0;
  virtual double getLength() const = 0;
  virtual double getTimescale() const = 0;
  virtual std::string getLanguage() const = 0;

 protected:
  ~MetaTrackInfo() = default;
};

/// The fields that all kinds of tracks have; all zero and empty at first.
class BasicMetaTrackInfo : public MetaTrackInfo {
 public:
  void setType(std::uint32_t type) override { type_ = type; }
  void setCodecId(FourCC codecId) override { codecId_ = codecId; }
  void setLength(double length) override { length_ = length; }
  void setTimescale(double timescale) override { timescale_ = timescale; }
  void setLanguage(std::string language) override { language_ = std::move(language); }
  std::uint32_t getType() const override { return type_; }
  FourCC getCodecId() const override { return codecId_; }
  double getLength() const override { return length_; }
  double getTimescale() const override { return timescale_; }
  std::string getLanguage() const override { return language_; }

 protected:
  explicit BasicMetaTrackInfo(Type type) : type_(type) {}
  BasicMetaTrackInfo(Type type, FourCC codecId, double length, double timescale, std::string language)
      : type_(type), codecId_(codecId), length_(length), timescale_(timescale), language_(std::move(language)) {}
  ~BasicMetaTrackInfo() = default;

 private:
  std::uint32_t type_;
  FourCC codecId_ = 0;
  double length_ = 0;
  double timescale_ = 0;
  std::string language_;
};

/// A track of sound.
class MetaAudioTrackInfo final : public BasicMetaTrackInfo {
 public:
  /// All fields 0 or empty but for the type, as in the other two classes.
  MetaAudioTrackInfo() : BasicMetaTrackInfo(kAudio) {}
  MetaAudioTrackInfo(FourCC codecId, double length, double timescale, std::string language, double sampleRate,
                     double channels)
      : BasicMetaTrackInfo(kAudio, codecId, length, timescale, std::move(language)),
        sampleRate_(sampleRate),
        channels_(channels) {}

  /// Hertz.
  double getSampleRate() const { return sampleRate_; }
  void setSampleRate(double sampleRate) { sampleRate_ = sampleRate; }
  /// Number of channels.
  double getChannels() const { return channels_; }
  void setChannels(double channels) { channels_ = channels; }

 private:
  double sampleRate_ = 0;
  double channels_ = 0;
};

/// A track of pictures.
class MetaVideoTrackInfo final : public BasicMetaTrackInfo {
 public:
  /// All fields 0 or empty but for the type.
  MetaVideoTrackInfo() : BasicMetaTrackInfo(kVideo) {}
  MetaVideoTrackInfo(FourCC codecId, double length, double timescale, std::string language, double width, double height,
                     double frameCount)
      : BasicMetaTrackInfo(kVideo, codecId, length, timescale, std::move(language)),
        width_(width),
        height_(height),
        frameCount_(frameCount) {}

  /// Pixels.
  double getWidth() const { return width_; }
  void setWidth(double width) { width_ = width; }
  double getHeight() const { return height_; }
  void setHeight(double height) { height_ = height; }
  /// Frames in the whole length; the frame rate of the description is computed from it.
  double getFrameCount() const { return frameCount_; }
  void setFrameCount(double frameCount) { frameCount_ = frameCount; }

 private:
  double width_ = 0;
  double height_ = 0;
  double frameCount_ = 0;
};

/// A track of script data, which has no fields beyond the common ones.
class MetaDataTrackInfo final : public BasicMetaTrackInfo {
 public:
  /// All fields 0 or empty but for the type.
  MetaDataTrackInfo() : BasicMetaTrackInfo(kData) {}
  MetaDataTrackInfo(FourCC codecId, double length, double timescale, std::string language)
      : BasicMetaTrackInfo(kData, codecId, length, timescale, std::move(language)) {}
};

}  // namespace ruvo::k2r

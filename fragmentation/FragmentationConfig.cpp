#include "fragmentation/FragmentationConfig.h"

#include "fragmentation/RecordingSettings.h"
#include "fragmentation/truncation.h"
#include "util/QVSException.h"

namespace ruvo::k2r {
namespace {

/// Durations as counts of frames, as the settings have them: fractions until they are truncated.
struct FrameSettings {
  double rate = 0.0;
  double framesPerKeyframeInterval = 0.0;
  double keyframeIntervalsPerFragment = 1.0;
  double precision = 1.0;
};

FrameSettings readFrameSettings(const RecordingSettings& settings) {
  FrameSettings frames;
  frames.rate = settings.readDouble("Recording/FrameRate", frames.rate);
  frames.framesPerKeyframeInterval =
      settings.readDouble("Recording/FramesPerKeyframeInterval", frames.framesPerKeyframeInterval);
  frames.keyframeIntervalsPerFragment =
      settings.readDouble("Recording/KeyframeIntervalsPerFragment", frames.keyframeIntervalsPerFragment);
  frames.precision = settings.readDouble("Recording/FramePrecision", frames.precision);
  return frames;
}

std::uint32_t wholeNumber(double value, const char* messageWhenZero) {
  const std::uint32_t number = truncateTo32Bits(value);
  if (number == 0) throw qvs::QVSException(messageWhenZero);
  return number;
}

constexpr char kInvalidFragmentDuration[] = "invalid fragment duration specified";

void computeFromFrames(const FrameSettings& frames, FragmentationConfig& config) {
  constexpr double kMillisecondsPerSecond = 1000.0;
  // The order of these operations is kept: another one rounds differently, and the truncation below makes 1 ms of it.
  const double frameSeconds = 1.0 / frames.rate;
  if (frameSeconds == 0.0) throw qvs::QVSException("invalid frame rate specified");
  const std::uint32_t interval =
      wholeNumber(frames.framesPerKeyframeInterval, "no value specified for frames-per-keyframe-interval");
  const std::uint32_t intervals =
      wholeNumber(frames.keyframeIntervalsPerFragment, "no value specified for keyframe-intervals-per-fragment");
  const std::uint32_t precision = wholeNumber(frames.precision, "no value specified for frame precision");

  // Modulo 2^32 by intent; a product that wraps to 0 is refused below like a duration of 0, by which a fragmenter would
  // divide.
  const std::uint32_t framesPerFragment = interval * intervals;
  config.fragmentDuration =
      wholeNumber(framesPerFragment * frameSeconds * kMillisecondsPerSecond, kInvalidFragmentDuration);
  config.durationPrecision = precision * frameSeconds * kMillisecondsPerSecond;
}

}  // namespace

FragmentationConfig readFragmentationConfig(IMOStreamOpenContext& context) {
  const RecordingSettings settings(context);
  FragmentationConfig config;
  config.fragmentDuration = settings.readUnsigned("Recording/FragmentDuration", config.fragmentDuration);
  const std::uint32_t precision = settings.readUnsigned("Recording/DurationPrecision", 100);
  config.allowedDrift = settings.readUnsigned("Recording/AllowedDrift", config.allowedDrift);
  if (config.fragmentDuration == 0) throw qvs::QVSException(kInvalidFragmentDuration);
  if (precision == 0) throw qvs::QVSException("invalid duration precision specified");
  config.durationPrecision = precision;

  // After the checks above: settings that are 0 are an error even where a frame rate overrides them.
  const FrameSettings frames = readFrameSettings(settings);
  if (frames.rate > 0) computeFromFrames(frames, config);
  return config;
}

}  // namespace ruvo::k2r

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host::serve {

/// What the name of a recording's directory says: `20261125T140320.500Z`, or `20261125T140320.500Z-2` if the clock was
/// set back onto one that exists. The name is also the stem of the recording's files.
struct RecordingName {
  /// When the first key frame was received, in milliseconds since 1970-01-01 UTC.
  std::int64_t beginMs = 0;
  /// 1 without a suffix.
  std::uint32_t number = 1;

  auto operator<=>(const RecordingName&) const = default;
};

/// Such a name; `beginMs` is in the years 1970 to 9999.
std::string recordingNameText(const RecordingName& name);
/// Nothing if the text is not exactly what recordingNameText() makes.
std::optional<RecordingName> parseRecordingName(std::string_view text);

/// A recording of a stream, and where it is: ROOT/<stream>/<name>.
struct RecordingPlace {
  /// Native path. That of the recording, which may be another one than its stream has by now.
  std::string root;
  std::string stream;
  std::string name;

  /// Native path of the stream's folder.
  std::string folder() const { return root + "/" + stream; }
};

/// Whether the text is a stream's name: [a-z0-9_-]{1,64}.
bool isStreamName(std::string_view text);

}  // namespace host::serve

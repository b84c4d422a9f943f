#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "imo/IMOStreamOpenContext.h"

namespace ruvo::k2r {

/// Typed readers of the settings of one stream, by their whole keys, slashes included. Each call asks the host again.
/// An absent key gives the default; so does one whose value the host never hands over, or says is longer than 1 MiB.
/// `context` outlives this object. Buffers on the way are wiped, as a value may be a password; the result is the
/// caller's to wipe.
class RecordingSettings {
 public:
  explicit RecordingSettings(IMOStreamOpenContext& context) : context_(context) {}

  /// The whole value is a decimal number, without blanks; one with a minus sign counts modulo 2^32. Throws
  /// boost::bad_lexical_cast for any other value.
  std::uint32_t readUnsigned(const char* key, std::uint32_t fallback) const;
  /// The whole value is a number, without blanks. Throws boost::bad_lexical_cast.
  double readDouble(const char* key, double fallback) const;
  /// True for "true" in any mix of cases; every other value is false, "1" included.
  bool readBool(const char* key, bool fallback) const;
  std::string readString(const char* key, const std::string& fallback) const;

 private:
  std::optional<std::string> read(const char* key) const;

  IMOStreamOpenContext& context_;
};

}  // namespace ruvo::k2r

#pragma once

#include <string>

#include "imo/IMOStreamContext.h"
#include "util/QVSException.h"
#include "wrappers/k2m/Exception.h"
#include "wrappers/rkx/RKXException.h"

namespace qvs::k2r {

/// Writes one line to the host's log. If the host throws, only the line is lost: lines are written in the middle of
/// steps that have to be completed.
inline void logLine(IMOStreamContext& host, const char* text, IMOLogLevel level) noexcept {
  try {
    host.log(text, level, level == kIMOLogError);
  } catch (...) {  // The log itself has failed.
  }
}
/// These copy nothing: the host gets the text for the time of the call.
inline void logError(IMOStreamContext& host, const std::string& text) noexcept {
  logLine(host, text.c_str(), kIMOLogError);
}
inline void logWarning(IMOStreamContext& host, const std::string& text) noexcept {
  logLine(host, text.c_str(), kIMOLogWarning);
}

/// The exception has no text, only a status.
inline void logError(IMOStreamContext& host, const rkx::RKXException& failure) {
  logError(host, "RKX error - " + std::to_string(failure.status()));
}

/// Runs `body` at the boundary to the host and returns its result. If it throws, the result is `onFailure`, and the log
/// has a line: the text of an exception of ours, the status of one of the libraries, `unknownError` for anything else.
template <typename Result, typename Body>
Result guarded(IMOStreamContext& host, const char* unknownError, Result onFailure, Body&& body) noexcept {
  try {
    try {
      return body();
    } catch (const krvo::k2m::Exception& failure) {
      logError(host, "K2M error: " + std::to_string(failure.status()));
    } catch (const rkx::RKXException& failure) {
      logError(host, failure);
    } catch (const QVSException& failure) {
      logError(host, failure.message());
    } catch (...) {
      logLine(host, unknownError, kIMOLogError);
    }
  } catch (...) {  // No memory for the line.
  }
  return onFailure;
}

/// The same for an operation without a result, and for a step whose failure must not end the operation.
template <typename Body>
void guardedStep(IMOStreamContext& host, const char* unknownError, Body&& body) noexcept {
  guarded(host, unknownError, false, [&] {
    body();
    return true;
  });
}

}  // namespace qvs::k2r

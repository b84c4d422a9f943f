#pragma once

#include <exception>
#include <string>

#include "imo/IMOStreamContext.h"
#include "util/QVSException.h"
#include "wrappers/k2m/Exception.h"
#include "wrappers/rkx/RKXException.h"

namespace qvs::k2r {

/// One line for the host's log. A line that the host throws at is lost, and nothing else: lines are written half-way
/// through steps that have to be finished.
inline void logLine(IMOStreamContext& host, const char* text, IMOLogLevel level) noexcept {
  try {
    host.log(text, level, level == kIMOLogError);
  } catch (...) {  // There is nobody left to tell.
  }
}
inline void logError(IMOStreamContext& host, const std::string& text) noexcept {
  logLine(host, text.c_str(), kIMOLogError);
}
inline void logWarning(IMOStreamContext& host, const std::string& text) noexcept {
  logLine(host, text.c_str(), kIMOLogWarning);
}

inline void logError(IMOStreamContext& host, const rkx::RKXException& failure) {
  logError(host, "RKX error - " + std::to_string(failure.status()));
}

/// Runs `body` at the boundary to the host, and answers what it does: what it throws becomes a line in the host's log
/// and `onFailure`. `unknownError` is logged for what is no failure of ours, whatever its type.
template <typename Answer, typename Body>
Answer guarded(IMOStreamContext& host, const char* unknownError, Answer onFailure, Body&& body) noexcept {
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

/// The same for an operation without an answer, and for steps behind which the operation goes on.
template <typename Body>
void guardedStep(IMOStreamContext& host, const char* unknownError, Body&& body) noexcept {
  guarded(host, unknownError, false, [&] {
    body();
    return true;
  });
}

}  // namespace qvs::k2r

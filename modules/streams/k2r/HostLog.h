#pragma once

#include <exception>
#include <string>

#include "imo/IMOStreamContext.h"
#include "util/QVSException.h"
#include "wrappers/k2m/Exception.h"
#include "wrappers/rkx/RKXException.h"

namespace qvs::k2r {

/// Lines for the host's log.
inline void logError(IMOStreamContext& host, const std::string& text) {
  host.log(text.c_str(), kIMOLogError, true);
}
inline void logWarning(IMOStreamContext& host, const std::string& text) {
  host.log(text.c_str(), kIMOLogWarning, false);
}

inline void logError(IMOStreamContext& host, const rkx::RKXException& failure) {
  logError(host, "RKX error - " + std::to_string(failure.status()));
}

/// Runs `body`, whose answer is a bool, at the boundary to the host: what it throws becomes a line in the host's log
/// and false. `unknownError` is logged for what is no failure of ours.
template <typename Body>
bool guarded(IMOStreamContext& host, const char* unknownError, Body&& body) noexcept {
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
      host.log(unknownError, kIMOLogError, true);
    }
  } catch (...) {  // The log itself failed, for want of memory: there is nobody left to tell.
  }
  return false;
}

}  // namespace qvs::k2r

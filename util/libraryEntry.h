#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <utility>

// What the entries of a C library with statuses and handles are made of, on either side of the entries: a library's own
// functions and the callbacks that it is given must both let no exception pass.

namespace qvs::util {

/// A failure that the other side learns as a bare status, which is not 0.
class StatusError : public std::exception {
 public:
  explicit StatusError(std::uint32_t status) : status_(status) {}

  std::uint32_t status() const { return status_; }
  const char* what() const noexcept override { return "library status"; }

 private:
  std::uint32_t status_;
};

/// The status that each kind of exception becomes; a StatusError becomes its own.
struct FailureStatuses {
  /// MalformedInput: bytes that do not follow their format.
  std::uint32_t malformedInput = 0;
  /// std::out_of_range: a number that does not fit its field.
  std::uint32_t outOfRange = 0;
  /// std::length_error: a container that cannot become that large.
  std::uint32_t tooLong = 0;
  /// std::bad_alloc.
  std::uint32_t outOfMemory = 0;
  /// Any other std::exception.
  std::uint32_t otherException = 0;
  /// Whatever is thrown that is no std::exception.
  std::uint32_t notAnException = 0;
};

/// For a library that distinguishes only a lack of memory from other failures.
constexpr FailureStatuses memoryOrOther(std::uint32_t outOfMemory, std::uint32_t otherException,
                                        std::uint32_t notAnException) {
  return {.malformedInput = otherException,
          .outOfRange = otherException,
          .tooLong = otherException,
          .outOfMemory = outOfMemory,
          .otherException = otherException,
          .notAnException = notAnException};
}

/// The status of the exception being handled.
std::uint32_t statusOfCurrentException(const FailureStatuses& statuses) noexcept;

/// Runs `body` and returns 0, or the status of what it throws.
template <typename Body>
std::uint32_t guarded(const FailureStatuses& statuses, const Body& body) noexcept {
  try {
    body();
    return 0;
  } catch (...) {
    return statusOfCurrentException(statuses);
  }
}

/// Gives a handle to the caller, who owns it from here on.
template <typename Handle, typename... Parts>
Handle* giveHandle(Parts&&... parts) {
  return std::make_unique<Handle>(Handle{std::forward<Parts>(parts)...}).release();
}

/// Takes back what giveHandle() gave. Returns 0, or `badArgument` for a null pointer.
template <typename Handle>
std::uint32_t takeHandle(Handle* handle, std::uint32_t badArgument) noexcept {
  if (handle == nullptr) return badArgument;
  const std::unique_ptr<Handle> ended(handle);
  return 0;
}

}  // namespace qvs::util

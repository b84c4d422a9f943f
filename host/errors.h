#pragma once

#include <stdexcept>

namespace host {

/// The exit status of the program. The numbers are part of the interface for scripts (README.md).
enum class ExitStatus : int {
  kOk = 0,
  /// The recording could not be opened, or the input could not be read.
  kFailed = 1,
  kBadUsage = 2,
  /// The recording was finished, but some messages were refused, or errors came up.
  kFlawed = 3,
  /// A check found damage.
  kDamaged = 4,
  /// A check found a recording that an append or a repair makes whole.
  kRepairable = 5,
  /// The recording was finished, but some of what was received is not in it, or its files could not be finished.
  kIncomplete = 6,
};

/// A failure that ends a command; the text is for the user. One sentence without `error: ` and without a line end. Exit
/// status 1, unless a class below says otherwise.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A call that makes no sense: a wrong option, value or setting. Exit status 2.
class UsageError : public CommandError {
 public:
  using CommandError::CommandError;
};

/// The words of the command line are not a correct call of a command, so none was run.
class CallError : public UsageError {
 public:
  using UsageError::UsageError;
};

/// The input cannot be opened, or cannot be read any further.
class InputError : public CommandError {
 public:
  using CommandError::CommandError;
};

}  // namespace host

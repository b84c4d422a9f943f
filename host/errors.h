#pragma once

#include <stdexcept>

namespace host {

/// What the program answers to its caller.
enum class ExitStatus : int {
  kOk = 0,
  /// The recording could not be opened, or the input could not be read.
  kFailed = 1,
  kBadUsage = 2,
  /// The recording was finished, but some messages were refused, or errors came up on the way.
  kFlawed = 3,
  /// A check found damage.
  kDamaged = 4,
  /// A check found what an append or a repair makes whole.
  kRepairable = 5,
  /// The recording was finished, but some of what was received is not in it, or its files could not be finished.
  kIncomplete = 6,
};

/// What a command cannot get over; the text is for the user.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The same where the user asked for what makes no sense.
class UsageError : public CommandError {
 public:
  using CommandError::CommandError;
};

/// The words of the command line are no call of a command, so that none was run.
class CallError : public UsageError {
 public:
  using UsageError::UsageError;
};

/// The input cannot be opened, or not be read any further.
class InputError : public CommandError {
 public:
  using CommandError::CommandError;
};

}  // namespace host

#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "host/StopSignal.h"
#include "wrappers/mtg/InputStream.h"

namespace host {

/// A file or standard input, for the tag-stream library. Waits for data without a limit, unless giveUpAfter() sets one.
/// A request to stop is reported as the end of the file. Failures throw
/// mtg::Exception with status 5, because the library passes on nothing else; failure() then has the reason.
class FileInput final : public mtg::InputStream {
 public:
  /// Opens the file. Throws InputError if that fails. `stop` outlives the input.
  FileInput(const std::string& path, const StopSignal& stop);
  /// Standard input. It is not closed at the end and its position is never set: other processes may share it.
  explicit FileInput(const StopSignal& stop);
  ~FileInput() override { close(); }
  FileInput(const FileInput&) = delete;
  FileInput& operator=(const FileInput&) = delete;

  /// Sets how long to wait for data; after that, the input has failed. 0 is no limit.
  void giveUpAfter(std::chrono::milliseconds limit) { stallLimit_ = limit; }
  /// What to call it in messages: the path, or "standard input".
  const std::string& name() const { return name_; }
  /// The reason of the last failure, for the user; empty if nothing has failed.
  const std::string& failure() const { return failure_; }

  /// Whether a request to stop was reported as the end of the file.
  bool isStopped() const { return isStopped_; }
  /// The first bytes that were read, at most three.
  const std::string& start() const { return start_; }

  // Not counted: its owner is a TagStream, which outlives the reader.
  void addReference() override {}
  void release() override {}
  /// These are called by the library, on the thread that reads the input.
  std::uint32_t read(void* buffer, std::uint32_t count) override;
  void seek(std::int64_t offset, std::uint32_t mode) override;
  std::int64_t tell() override;
  void open() override {}
  void close() override;

 private:
  /// Returns at once for a regular file. Returns false after a request to stop. Throws as fail() does after the time
  /// limit.
  bool waitForBytes();
  /// Sets failure() and throws mtg::Exception.
  [[noreturn]] void fail(const std::string& reason);

  std::string name_;
  std::string failure_;
  std::string start_;
  const StopSignal& stop_;
  int fd_;
  /// Neither seeks nor closes then.
  bool standardInput_;
  bool isStopped_ = false;
  /// A regular file never makes a reader wait, so it is not polled before each read.
  bool mayWait_ = true;
  /// 0 for none.
  std::chrono::milliseconds stallLimit_{0};
};

}  // namespace host

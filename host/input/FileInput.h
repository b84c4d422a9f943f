#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "host/StopSignal.h"
#include "wrappers/mtg/InputStream.h"

namespace host {

/// A file or standard input, for the tag-stream library. Waits for bytes for as long as it takes, unless
/// giveUpAfter() says otherwise; a request to stop is the end of the file. Each operation is one call of the system;
/// what fails is an mtg::Exception with code 5, and failure() then tells what it was.
class FileInput final : public mtg::InputStream {
 public:
  /// Opens the file. Throws InputError where that fails. `stop` outlives the input.
  FileInput(const std::string& path, const StopSignal& stop);
  /// Standard input, which stays open behind this, and is never moved: others may read on.
  explicit FileInput(const StopSignal& stop);
  ~FileInput() override { close(); }
  FileInput(const FileInput&) = delete;
  FileInput& operator=(const FileInput&) = delete;

  /// An input that gives nothing for so long has failed.
  void giveUpAfter(std::chrono::milliseconds limit) { stallLimit_ = limit; }
  const std::string& name() const { return name_; }
  /// For the user; empty where nothing has failed.
  const std::string& failure() const { return failure_; }

  /// The first bytes that were read, three at most.
  const std::string& start() const { return start_; }

  void addReference() override {}
  void release() override {}
  std::uint32_t read(void* buffer, std::uint32_t count) override;
  void seek(std::int64_t offset, std::uint32_t mode) override;
  std::int64_t tell() override;
  void open() override {}
  void close() override;

 private:
  bool waitForBytes();
  [[noreturn]] void fail(const std::string& reason);

  std::string name_;
  std::string failure_;
  std::string start_;
  const StopSignal& stop_;
  int fd_;
  bool standardInput_;
  /// 0 for none.
  std::chrono::milliseconds stallLimit_{0};
};

}  // namespace host

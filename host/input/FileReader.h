#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/StopSignal.h"

namespace host {

/// Reads a file, a pipe or a terminal front to back, without seeking, through a buffer of fixed size.
class FileReader {
 public:
  /// Throws InputError where the file cannot be opened. `stop` outlives the reader.
  FileReader(const std::string& path, const StopSignal& stop);
  /// Standard input, which stays open behind the reader.
  explicit FileReader(const StopSignal& stop);
  ~FileReader();
  FileReader(const FileReader&) = delete;
  FileReader& operator=(const FileReader&) = delete;

  /// Fills `target`, waiting for as long as it takes. Answers the bytes read: fewer at the end of the file, and after a
  /// request to stop. Throws InputError where the file cannot be read.
  std::size_t read(std::span<std::byte> target);
  /// Passes over `count` bytes, or those that there are.
  void skip(std::size_t count);
  const std::string& name() const { return name_; }

 private:
  /// Fills the buffer anew. False at the end, and after a request to stop.
  bool refill();

  std::string name_;
  const StopSignal& stop_;
  int fd_;
  bool owned_;
  std::vector<std::byte> buffer_;
  /// What is left of the buffer.
  std::span<const std::byte> pending_;
};

}  // namespace host

#pragma once

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "host/Log.h"

namespace test {

/// A log that is kept in memory.
class LogCapture {
 public:
  LogCapture() : file_(std::tmpfile()) {
    if (!file_) throw std::runtime_error("no temporary file");
  }

  host::Log& log() { return log_; }
  /// All that was written so far.
  std::string text() const {
    std::string content(static_cast<std::size_t>(std::ftell(file_.get())), '\0');
    std::rewind(file_.get());
    if (std::fread(content.data(), 1, content.size(), file_.get()) != content.size()) content = "(lost)";
    std::fseek(file_.get(), 0, SEEK_END);
    return content;
  }

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Close> file_;
  host::Log log_{file_.get()};
};

}  // namespace test

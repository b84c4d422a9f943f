#pragma once

#include <cstdint>

#include "imo/export.h"

/// Filled by the status calls of IMOFileContext.
struct IMOFileStatus {
  /// Bytes in the file.
  std::int64_t size = 0;
};

/// Flags of IMOFileContext::open, combined by or.
enum IMOOpenFlags : std::uint32_t {
  kIMOReadWrite = 0x0002,
  kIMOCreate = 0x0100,
  kIMOTruncate = 0x0200,
  kIMOBinary = 0x8000,
};

/// The host's file services, which carry the segment files; the module writes the small files of a recording itself,
/// see IMOStreamAdaptor. Implemented by the host; valid while a stream lives. Called on the thread that records the
/// stream. One object may serve several streams, and is then called by their threads at the same time. Paths have
/// backslashes as separators.
///
/// Operations must not throw, see IMOStreamContext. They may fail at any time: a fragment that could not be written
/// stays in memory and is offered again, and nothing that is on disk is lost.
///
/// When the last write of a fragment has returned, the fragment has to be as durable as the host promises its
/// recordings to be: the module names its bytes in the index right after that, and there is no separate flush. The last
/// write is the one that reaches the end of the `mdat`, whose size is in the first write of the fragment. A host that
/// does not look at the bytes makes each write durable. See docs/hosting.md.
class IMO_API IMOFileContext {
 public:
  /// Opens a file with kIMOBinary | kIMOCreate | kIMOReadWrite, and kIMOTruncate for a new segment. `mode` is 0x180:
  /// the owner reads and writes. `share` is 0. Returns a handle, at least 0, or -1.
  virtual std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) = 0;
  /// Closes a handle. `reserved` is 0.
  virtual void close(std::int32_t handle, std::uint32_t reserved) = 0;
  /// Reads up to `length` bytes from `offset`. Returns the number of bytes read; below 1 counts as nothing.
  virtual std::int32_t read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) = 0;
  /// Writes `length` bytes at `offset`, which may be inside the file, at its end, or beyond it. Returns the number of
  /// bytes written; below 1 counts as nothing. If it is less than `length`, the rest comes in another call; if it is
  /// nothing, the fragment has failed, and all its bytes come again with the next one. A flush that fails is such a
  /// failure.
  virtual std::int32_t write(std::int32_t handle, std::uint64_t offset, const void* buffer, std::uint32_t length) = 0;
  /// Fills the status of an open file; returns 0 on success. `reserved` is 0.
  virtual std::int32_t fileStatus(std::int32_t handle, IMOFileStatus* status, std::uint32_t reserved) = 0;
  /// Fills the status of a path; returns 0 if it exists, -1 if not, and anything else if that is unknown, which ends an
  /// opening. `reserved` is 0. Also called for small files, so it has to see what the module writes by itself.
  virtual std::int32_t pathStatus(const char* path, IMOFileStatus* status, std::uint32_t reserved) = 0;
  /// Removes a whole recording directory, with all that is in it; called with 3 and 1. Returns 0 if it is gone. Called
  /// for each new recording, also if there is no such directory, for which either result will do.
  virtual std::int32_t remove(const char* path, std::uint32_t kind, std::uint32_t recursive) = 0;
  /// Makes a directory. Returns 0 on success; any other value ends the opening.
  virtual std::int32_t createDirectory(const char* path) = 0;

 protected:
  IMOFileContext() = default;
  ~IMOFileContext() = default;
};

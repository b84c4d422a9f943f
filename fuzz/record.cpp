// A host that sends anything: a stream of record() calls made from the input, then a stop. The recording's small files
// must parse whatever was sent.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <sstream>
#include <vector>

#include "fragmentation/AfraBox.h"
#include "fragmentation/BootstrapReader.h"
#include "modules/streams/k2r/k2rAdaptor.h"
#include "tests/support/StreamBuilder.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "util/bytes.h"

namespace {

/// The calls that an input stands for: each a type, a step in time, a size and that many bytes of the input.
///
///     0  u8   type; kinds of streams are found fast by the high bit: 0x80 stands for audio or video by its bit 0
///     1  u16  step in time, in ms; 0xFFFF is a jump of a day
///     3  u16  size; what the input lacks is not sent
class Calls {
 public:
  explicit Calls(std::span<const std::byte> input) : in_(input) {}

  bool next() {
    if (in_.remaining() < 5) return false;
    const std::uint8_t kind = in_.u8();
    type = (kind & 0x80) != 0 ? static_cast<std::uint8_t>(8 + (kind & 1)) : kind;
    const std::uint16_t step = in_.u16();
    time += step == 0xFFFF ? 86400000U : step;
    const std::uint16_t size = in_.u16();
    data = in_.bytes(std::min<std::size_t>(size, in_.remaining()));
    return true;
  }

  std::uint8_t type = 0;
  std::uint32_t time = 0;
  std::span<const std::byte> data;

 private:
  qvs::util::ByteReader in_;
};

void checkSmallFiles(const std::filesystem::path& directory) {
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    std::istringstream in(test::readWholeFile(entry.path()));
    ruvo::k2r::BootstrapInfo bootstrap;
    ruvo::k2r::AfraIndex index;
    if (entry.path().extension() == ".bootstrap") ruvo::k2r::readBootstrap(in, bootstrap);
    if (entry.path().extension() == ".k2i") {
      ruvo::k2r::readAfra(in, index);
      if (!ruvo::k2r::hasConsecutiveFragments(index)) std::abort();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::TempDirectory directory;
  static test::DiskFileContext files;
  const std::span input(reinterpret_cast<const std::byte*>(data), size);
  if (input.empty()) return 0;

  test::TestHost host(&files);
  host.settings["Recording/FragmentDuration"] = "1000";
  host.settings["Recording/SegmentDuration"] = (data[0] & 1) != 0 ? "3000" : "0";
  qvs::k2r::k2rAdaptor adaptor(&host);
  const std::filesystem::path target = directory.path() / "cam1";
  void* stream = nullptr;
  if (adaptor.open(&host, test::modulePath(target).c_str(), kOpenRecord, nullptr, stream) != kStreamOpened) {
    std::abort();
  }
  const test::StreamMessage metadata = test::metadata(0);
  if ((data[0] & 4) == 0) {
    adaptor.record(stream, metadata.type, metadata.data.data(), static_cast<std::uint32_t>(metadata.data.size()), 0);
  }
  Calls calls(input.subspan(1));
  while (calls.next()) {
    adaptor.record(stream, calls.type, calls.data.data(), static_cast<std::uint32_t>(calls.data.size()), calls.time);
  }
  if ((data[0] & 2) == 0) adaptor.stopRecord(stream);
  adaptor.close(stream);
  checkSmallFiles(target);
  return 0;
}

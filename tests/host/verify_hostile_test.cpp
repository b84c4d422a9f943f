// Whatever the bytes, a check ends with an answer.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>

#include "host/errors.h"
#include "host/inspect/describeFile.h"
#include "tests/host/RecordingMaker.h"

namespace {

using namespace test;

/// Changes that damage often makes, and that readers trip over: single bits, fields of all ones or zeros, runs that are
/// cut out, doubled, or overwritten by others, and noise behind a start that lets a reader go on.
std::string mutate(std::string bytes, std::mt19937& random) {
  const auto below = [&random](std::size_t limit) { return limit == 0 ? 0 : random() % limit; };
  for (std::size_t changes = 1 + below(4); changes > 0 && !bytes.empty(); --changes) {
    const std::size_t at = below(bytes.size());
    const std::size_t length = std::min<std::size_t>(1 + below(16), bytes.size() - at);
    const std::size_t field = std::min<std::size_t>(4, bytes.size() - at);
    switch (below(7)) {
      case 0:
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << below(8)));
        break;
      case 1:
        bytes.replace(at, field, field, '\xFF');
        break;
      case 2:
        bytes.replace(at, field, field, '\0');
        break;
      case 3:
        bytes.erase(at, length);
        break;
      case 4:
        bytes.insert(at, bytes.substr(below(bytes.size()), length));
        break;
      case 5:
        bytes.resize(at);
        break;
      default:
        bytes.resize(at + below(2000));
        std::generate(bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.end(),
                      [&] { return static_cast<char>(random()); });
    }
  }
  return bytes;
}

class Hostile : public ::testing::Test {
 protected:
  /// With other bytes in a file, neither call may end in another way than by an answer or the error for files that
  /// cannot be opened.
  void lookWith(const std::string& suffix, const std::string& bytes) const {
    const std::string good = recording_.read(suffix);
    recording_.write(suffix, bytes);
    try {
      recording_.verify();
      host::InspectErrors errors;
      host::describePath(recording_.directory(), errors);
    } catch (const host::CommandError& error) {
      ADD_FAILURE() << error.what();
    }
    recording_.write(suffix, good);
  }

  const MadeRecording recording_{
      {.messages = stream().keyFramesEvery(3000).framesEvery(1000).audio(1100).frameBytes(40).until(40001),
       .settings = {{"Recording/SegmentDuration", "16000"}}}};
};

TEST_F(Hostile, SurvivesChangedFiles) {
  const char* const files[] = {".control", ".bootstrap", ".meta", "Seg1.k2i", "Seg2.k2i", "Seg1.k2r", "Seg2.k2r"};
  for (unsigned seed = 0; seed < 1800; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const char* const suffix = files[random() % std::size(files)];
    lookWith(suffix, mutate(recording_.read(suffix), random));
  }
}

TEST_F(Hostile, TakesNoCountOnTrust) {
  const struct {
    const char* suffix;
    std::size_t offset;
  } counts[] = {{".bootstrap", 46}, {"Seg1.k2i", 17}, {"Seg1.k2i", 21}};
  for (const auto& count : counts) {
    SCOPED_TRACE(count.offset);
    lookWith(count.suffix, recording_.read(count.suffix).replace(count.offset, 4, "\xFF\xFF\xFF\xFF"));
  }
}

}  // namespace

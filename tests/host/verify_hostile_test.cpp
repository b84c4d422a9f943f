// Whatever the bytes, a check ends with an answer.

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "host/errors.h"
#include "host/inspect/describeFile.h"
#include "host/verify/verifyRecording.h"
#include "tests/host/RecordingMaker.h"

namespace {

using namespace test;

const char* const kFiles[] = {".control", ".bootstrap", ".meta", "Seg1.k2i", "Seg2.k2i", "Seg1.k2r", "Seg2.k2r"};

/// Changes that damage often makes, and that readers trip over: single bits, fields of all ones or zeros, runs that are
/// cut out, doubled, or overwritten by others.
std::string mutate(std::string bytes, std::mt19937& random) {
  const auto below = [&random](std::size_t limit) { return limit == 0 ? 0 : random() % limit; };
  for (std::size_t changes = 1 + below(4); changes > 0 && !bytes.empty(); --changes) {
    const std::size_t at = below(bytes.size());
    const std::size_t length = std::min<std::size_t>(1 + below(16), bytes.size() - at);
    switch (below(6)) {
      case 0:
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << below(8)));
        break;
      case 1:
        bytes.replace(at, std::min<std::size_t>(4, bytes.size() - at), std::min<std::size_t>(4, bytes.size() - at),
                      '\xFF');
        break;
      case 2:
        bytes.replace(at, std::min<std::size_t>(4, bytes.size() - at), std::min<std::size_t>(4, bytes.size() - at),
                      '\0');
        break;
      case 3:
        bytes.erase(at, length);
        break;
      case 4:
        bytes.insert(at, bytes.substr(below(bytes.size()), length));
        break;
      default:
        bytes.resize(at);
    }
  }
  return bytes;
}

class Hostile : public ::testing::Test {
 protected:
  /// Neither call may end in another way than by an answer or the error for files that cannot be opened.
  void look(unsigned seed) const {
    SCOPED_TRACE(seed);
    try {
      host::verifyRecording(recording_.directory());
      host::InspectErrors errors;
      host::describePath(recording_.directory(), errors);
    } catch (const host::CommandError& error) {
      ADD_FAILURE() << error.what();
    }
  }

  const MadeRecording recording_{
      {.messages = stream().keyFramesEvery(3000).framesEvery(1000).audio(1100).frameBytes(40).until(40001),
       .settings = {{"Recording/SegmentDuration", "16000"}}}};
};

TEST_F(Hostile, SurvivesChangedFiles) {
  for (unsigned seed = 0; seed < 1500; ++seed) {
    std::mt19937 random(seed);
    const std::string suffix = kFiles[random() % std::size(kFiles)];
    const std::string good = recording_.read(suffix);
    recording_.write(suffix, mutate(good, random));
    look(seed);
    recording_.write(suffix, good);
  }
}

TEST_F(Hostile, SurvivesRandomFiles) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    const std::string suffix = kFiles[random() % std::size(kFiles)];
    std::string bytes(random() % 2000, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    const std::string good = recording_.read(suffix);
    // Behind a start that lets a reader go on.
    recording_.write(suffix, good.substr(0, random() % (good.size() + 1)) + bytes);
    look(seed);
    recording_.write(suffix, good);
  }
}

TEST_F(Hostile, TakesNoCountOnTrust) {
  const struct {
    const char* suffix;
    std::size_t offset;
  } counts[] = {{".bootstrap", 46}, {"Seg1.k2i", 17}, {"Seg1.k2i", 21}};
  for (const auto& count : counts) {
    const std::string good = recording_.read(count.suffix);
    std::string bad = good;
    bad.replace(count.offset, 4, "\xFF\xFF\xFF\xFF");
    recording_.write(count.suffix, bad);
    look(static_cast<unsigned>(count.offset));
    recording_.write(count.suffix, good);
  }
}

}  // namespace

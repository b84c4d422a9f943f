// Protected recordings of a media file, and the way back: what k2r unprotect gives is what was recorded in the clear.

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <unordered_set>

#include "host/exporting/RecordedTags.h"
#include "host/files/SegmentMap.h"
#include "tests/endtoend/shell.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "util/bytes.h"
#include "util/tagHeader.h"

namespace {

namespace fs = std::filesystem;
using namespace test;

struct ClearTag {
  host::TagContent content;
  std::string data;

  /// Whether a NAL unit of the frame has a nal_ref_idc that is not 0.
  bool isReference() const {
    qvs::util::ByteReader in(qvs::util::asBytes(data).subspan(5));
    while (in.remaining() > 0) {
      if ((in.bytes(in.u32()).front() & std::byte{0x60}) != std::byte{0}) return true;
    }
    return false;
  }
};

/// The tags of a clear recording.
std::vector<ClearTag> tagsOf(const std::string& recording) {
  std::vector<ClearTag> tags;
  const auto directory = host::readRecordingDirectory(recording);
  host::RecordedTags(directory).forEach({}, [&](const host::RecordedTag& tag) {
    tags.push_back({tag.content, {reinterpret_cast<const char*>(tag.data.data()), tag.data.size()}});
  });
  return tags;
}

/// What is encrypted.
struct Choice {
  bool audio = true;
  bool video = true;
  bool data = true;
  int level = 2;

  std::string options() const {
    const auto flag = [](const char* name, bool value) {
      return std::string(" --set Recording/VantryV2/Encrypt") + name + (value ? "=true" : "=false");
    };
    return flag("Audio", audio) + flag("Video", video) + flag("Data", data) +
           " --set Recording/VantryV2/VideoEncryptLevel=" + std::to_string(level);
  }
  bool covers(const ClearTag& tag) const {
    if (tag.content.isSequenceHeader()) return false;
    if (tag.content.isAudio()) return audio;
    if (!tag.content.isVideo()) return data;
    return video && (level == 2 || tag.content.isKeyFrame() || (level == 1 && tag.isReference()));
  }
};

class Unprotecting : public testing::Test {
 protected:
  Unprotecting() {
    // Frames that others refer to, and B frames that none does.
    makeClip(
        "-f lavfi -i testsrc2=size=160x90:rate=25:duration=9 -f lavfi -i sine=duration=9 -c:v libx264 -pix_fmt yuv420p "
        "-preset ultrafast -bf 2 -b_strategy 0 -g 50 -c:a aac",
        path("clip.mp4"));
    must(k2r("keys new '" + path("keys") + "'"));
  }

  static std::string k2r(const std::string& arguments) { return std::string(K2R_PROGRAM) + " " + arguments; }
  std::string path(const std::string& name) const { return directory_.file(name); }
  std::string config() const { return " --config '" + path("keys/recording.conf") + "'"; }
  void must(const std::string& line) { outputs_ += mustRun(line); }
  void record(const std::string& name, const std::string& options) {
    must(k2r("record '" + path("clip.mp4") + "' --quiet --durability process --out '" + path(name) + "'" + options));
  }
  std::string unprotecting(const std::string& from, const std::string& key = "license-server.key") {
    return k2r("unprotect '" + path(from) + "' --key '" + path("keys/" + key) + "' --out '" + path("opened") + "'");
  }

  /// Unprotects `secret`, and holds the result against the recording `plain` of the same stream.
  void expectTheSame() {
    must(unprotecting("secret"));
    must(k2r("verify '" + path("secret") + "'"));
    must(k2r("verify '" + path("opened") + "'"));
    for (const char* name : {"plain", "opened"})
      must(k2r("export '" + path(name) + "' --out '" + path(name) + ".mtg'"));
    must("cd '" + directory_.path().string() + "' && cmp plain.mtg opened.mtg && rm -r opened *.mtg");
  }

  /// Nothing that the choice covers stands in any file; what it does not cover stays readable.
  void expectCovered(const Choice& choice) {
    constexpr std::size_t kWindow = 16;
    std::unordered_set<std::string_view> windows;
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(path("secret"))) {
      // The description beside the segments is in the clear, as any player needs it.
      if (!entry.path().string().ends_with(".meta")) files.push_back(readWholeFile(entry.path()));
    }
    for (const std::string_view file : files) {
      for (std::size_t at = 0; at + kWindow <= file.size(); ++at) windows.insert(file.substr(at, kWindow));
    }
    std::size_t covered = 0;
    for (const ClearTag& tag : tagsOf(path("plain"))) {
      const auto sample = std::string_view(tag.data).substr(*tag.content.sampleOffset);
      std::size_t found = 0;
      std::size_t searched = 0;
      for (std::size_t at = 0; at + kWindow <= sample.size(); ++at) {
        const auto window = sample.substr(at, kWindow);
        if (std::set<char>(window.begin(), window.end()).size() < 8) continue;  // runs of zeros are everywhere
        ++searched;
        found += windows.count(window);
      }
      if (choice.covers(tag)) ++covered;
      ASSERT_EQ(found, choice.covers(tag) ? 0 : searched)
          << "of a tag of type " << int{tag.content.type()} << ", " << sample.size() << " bytes";
    }
    EXPECT_EQ(covered > 0, choice.audio || choice.video);
    const std::string key = readWholeFile(path("keys/common.key"));
    EXPECT_FALSE(windows.contains(key));
    EXPECT_EQ(outputs_.find(key), std::string::npos);
  }

  TempDirectory directory_;
  std::string outputs_;
};

TEST_F(Unprotecting, GivesBackTheClearRecordingOfEveryChoice) {
  const std::string rolling = " --set Recording/SegmentDuration=4000 --set Recording/FragmentDuration=2000";
  record("plain", rolling);
  for (const Choice& choice : {Choice{.level = 0}, Choice{.level = 1}, Choice{}, Choice{.audio = false, .level = 0},
                               Choice{.video = false}, Choice{.audio = false, .video = false, .data = false}}) {
    SCOPED_TRACE(choice.options());
    record("secret", rolling + config() + choice.options());
    expectTheSame();
    expectCovered(choice);
    fs::remove_all(path("secret"));
  }
}

TEST_F(Unprotecting, GivesBackAnAppendToWhatACrashLeft) {
  record("plain", " --no-stop");
  record("secret", " --no-stop" + config());
  expectTheSame();
  record("plain", " --append");
  record("secret", " --append" + config());
  expectTheSame();
  expectCovered({});
}

TEST_F(Unprotecting, SaysWhyNotAndLeavesNothing) {
  record("secret", config());
  record("plain", "");
  must(k2r("keys new '" + path("others") + "'"));
  must("cp -r '" + path("secret") + "' '" + path("changed") + "' && cd '" + path("changed") +
       "' && for f in *; do mv $f changed${f#secret}; done");
  // The last byte but one block of the last cipher text decides on the padding.
  const std::string segment = path("changed") + "/changedSeg1.k2r";
  host::FileView file(segment);
  std::string bytes = readWholeFile(segment);
  bytes[host::mapSegment(file).fragments.back().end() - qvs::util::kTagBackPointerSize - 17] ^= '\x7F';
  writeWholeFile(segment, bytes);

  const struct {
    const char* from;
    const char* key;
    const char* reason;
  } rows[] = {{"secret", "../others/license-server.key", "the key is not that of the license server"},
              {"secret", "transport.key", "the key is not that of the license server"},
              {"secret", "license-server.crt", "no private key in PEM or DER"},
              {"secret", "missing", "cannot be read"},
              {"changed", "license-server.key", "does not end in the padding of a sample"},
              {"plain", "license-server.key", "is not protected"},
              {"keys", "license-server.key", "holds no recording"}};
  for (const auto& row : rows) {
    const CommandResult result = run(unprotecting(row.from, row.key));
    EXPECT_EQ(result.status, 1) << row.from;
    EXPECT_NE(result.output.find(row.reason), std::string::npos) << result.output;
    EXPECT_FALSE(fs::exists(path("opened")));
    EXPECT_FALSE(fs::exists(path("opened.unprotecting")));
  }

  fs::create_directory(path("opened"));
  EXPECT_EQ(run(unprotecting("secret")).status, 1);
  EXPECT_TRUE(fs::is_empty(path("opened")));
}

TEST_F(Unprotecting, RefusesChangedMetadata) {
  record("secret", config());
  const std::string segment = path("secret") + "/secretSeg1.k2r";
  const std::string drmMeta = path("secret") + "/secret.drmmeta";
  const std::string whole[] = {readWholeFile(segment), readWholeFile(drmMeta)};
  const auto expectRefused = [&](const std::string& file, std::string content, std::size_t at) {
    content[at] ^= '\x01';
    writeWholeFile(file, content);
    EXPECT_EQ(run(unprotecting("secret")).status, 1) << file << " at " << at;
    EXPECT_FALSE(fs::exists(path("opened")));
  };
  for (const auto mark : {"frma", "schm", "AES-CBC", "akey", "flxs", "adaf"})
    expectRefused(segment, whole[0], whole[0].find(mark) + 5);
  expectRefused(segment, whole[0], whole[0].find("flxs") + 200);
  writeWholeFile(segment, whole[0]);
  for (const std::size_t at : {5UL, 60UL, 400UL, whole[1].size() - 1}) expectRefused(drmMeta, whole[1], at);
  fs::remove(drmMeta);
  EXPECT_EQ(run(unprotecting("secret")).status, 1);
}

TEST_F(Unprotecting, ListsTheProtectedStreamsToOtherTools) {
  record("secret", config());
  // Rate and channels are what ffprobe's decoder takes the cipher text for. It complains of that, too.
  const auto streams = nlohmann::json::parse(mustRun("ffprobe -v quiet -of json -show_entries "
                                                     "stream=codec_name,codec_type,width,height '" +
                                                     path("secret") + "/secretSeg1.k2r'"))
                           .at("streams");
  ASSERT_EQ(streams.size(), 3U) << "with the hints";
  EXPECT_EQ(streams[0].at("codec_name"), "h264");
  EXPECT_EQ(streams[0].at("width"), 160);
  EXPECT_EQ(streams[0].at("height"), 90);
  EXPECT_EQ(streams[1].at("codec_name"), "aac");
}

}  // namespace

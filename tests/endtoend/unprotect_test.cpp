// Protected recordings of a media file, and the way back: what k2r unprotect gives is what was recorded in the clear.

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <unordered_set>

#include "host/files/FileView.h"
#include "platform/container/SegmentReader.h"
#include "tests/endtoend/shell.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "util/bytes.h"
#include "util/tagHeader.h"

namespace {

namespace fs = std::filesystem;
using namespace test;

/// The tags of a segment, whole, in the order of the file.
std::vector<std::string> tagsOf(const fs::path& segment) {
  std::vector<std::string> tags;
  host::FileView file(segment.string());
  krvo::container::SegmentReader reader(file);
  for (auto box = reader.boxAt(reader.firstFragment()); box; box = reader.boxAt(box->end())) {
    if (box->type != qvs::util::operator""_4cc("afra", 4)) continue;
    const auto fragment = reader.readFragment(box->offset);
    for (const auto& tag : reader.readTags(fragment)) {
      std::string bytes(tag.end() - tag.offset, '\0');
      file.read(tag.offset, std::as_writable_bytes(std::span(bytes)));
      tags.push_back(std::move(bytes));
    }
  }
  return tags;
}

std::vector<std::string> tagsOfAll(const fs::path& recording) {
  std::vector<std::string> all;
  for (int number = 1;; ++number) {
    const auto segment = recording / (recording.filename().string() + "Seg" + std::to_string(number) + ".k2r");
    if (!fs::exists(segment)) return all;
    const auto own = tagsOf(segment);
    all.insert(all.end(), own.begin(), own.end());
  }
}

/// Of a stored tag.
std::string_view dataOf(std::string_view tag) {
  tag.remove_prefix(qvs::util::kTagHeaderSize);
  tag.remove_suffix(qvs::util::kTagBackPointerSize);
  return tag;
}

bool isVideo(std::string_view tag) {
  return (tag[0] & 0x1F) == 9;
}
bool isAudio(std::string_view tag) {
  return (tag[0] & 0x1F) == 8;
}
bool isConfiguration(std::string_view tag) {
  return (isVideo(tag) || isAudio(tag)) && dataOf(tag)[1] == 0;
}
bool isKeyFrame(std::string_view tag) {
  return (dataOf(tag)[0] & 0xF0) == 0x10;
}

/// Whether a NAL unit of the frame has a nal_ref_idc that is not 0.
bool isReference(std::string_view tag) {
  qvs::util::ByteReader in(qvs::util::asBytes(dataOf(tag).substr(5)));
  while (in.remaining() > 0) {
    if ((in.bytes(in.u32()).front() & std::byte{0x60}) != std::byte{0}) return true;
  }
  return false;
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
  bool covers(std::string_view clearTag) const {
    if (isConfiguration(clearTag)) return false;
    if (isAudio(clearTag)) return audio;
    if (!isVideo(clearTag)) return data;
    return video && (level == 2 || isKeyFrame(clearTag) || (level == 1 && isReference(clearTag)));
  }
};

class Unprotecting : public testing::Test {
 protected:
  void SetUp() override {
    // Frames that others refer to, and B frames that none does.
    must(
        "ffmpeg -v error -f lavfi -i testsrc2=size=160x90:rate=25:duration=9 -f lavfi -i sine=duration=9 -c:v "
        "libx264 "
        "-pix_fmt yuv420p -preset ultrafast -bf 2 -b_strategy 0 -g 50 -c:a aac '" +
        clip() + "'");
    must(k2r("keys new '" + path("keys") + "'"));
  }

  static std::string k2r(const std::string& arguments) { return std::string(K2R_PROGRAM) + " " + arguments; }
  std::string path(const std::string& name) const { return directory_.file(name); }
  std::string clip() const { return path("clip.mp4"); }
  std::string config() const { return " --config '" + path("keys/recording.conf") + "'"; }

  void must(const std::string& line) {
    const CommandResult result = run(line);
    ASSERT_EQ(result.status, 0) << line << "\n" << result.output;
    outputs_ += result.output;
  }
  void record(const std::string& name, const std::string& options) {
    must(k2r("record '" + clip() + "' --quiet --durability process --out '" + path(name) + "'" + options));
  }
  CommandResult unprotect(const std::string& from, const std::string& to,
                          const std::string& key = "license-server.key") {
    return run(k2r("unprotect '" + path(from) + "' --key '" + path("keys/" + key) + "' --out '" + path(to) + "'"));
  }

  /// Unprotects `secret`, and holds the result against the recording `plain` of the same stream.
  void expectTheSame(const std::string& plain, const std::string& secret) {
    const CommandResult result = unprotect(secret, "opened");
    ASSERT_EQ(result.status, 0) << result.output;
    outputs_ += result.output;
    must(k2r("verify '" + path(secret) + "'"));
    must(k2r("verify '" + path("opened") + "'"));
    const auto tags = tagsOfAll(path(plain));
    EXPECT_GT(tags.size(), 200U);
    EXPECT_TRUE(tagsOfAll(path("opened")) == tags);
    std::size_t files = 0;
    for (const auto& entry : fs::directory_iterator(path(plain))) {
      const std::string suffix = entry.path().filename().string().substr(plain.size());
      const auto opened = path("opened") + "/opened" + suffix;
      ASSERT_TRUE(fs::exists(opened)) << suffix;
      // Segments have the time of day in them.
      if (!suffix.ends_with(".k2r")) {
        EXPECT_EQ(readWholeFile(opened), readWholeFile(entry.path())) << suffix;
      }
      ++files;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(path("opened")), {}), static_cast<std::ptrdiff_t>(files));
    fs::remove_all(path("opened"));
  }

  /// Nothing that the choice covers stands in any file; what it does not cover stays readable.
  void expectCovered(const std::string& plain, const std::string& secret, const Choice& choice) {
    constexpr std::size_t kWindow = 16;
    std::unordered_set<std::string_view> windows;
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(path(secret))) {
      // The description beside the segments is in the clear, as any player needs it.
      if (!entry.path().string().ends_with(".meta")) files.push_back(readWholeFile(entry.path()));
    }
    for (const std::string& file : files) {
      for (std::size_t at = 0; at + kWindow <= file.size(); ++at)
        windows.insert(std::string_view(file).substr(at, kWindow));
    }
    std::size_t covered = 0;
    for (const std::string& tag : tagsOfAll(path(plain))) {
      const auto data = dataOf(tag).substr(isVideo(tag) ? 5 : isAudio(tag) ? 2 : 0);
      std::size_t found = 0;
      std::size_t searched = 0;
      for (std::size_t at = 0; at + kWindow <= data.size(); ++at) {
        const auto window = data.substr(at, kWindow);
        if (std::set<char>(window.begin(), window.end()).size() < 8) continue;  // runs of zeros are everywhere
        ++searched;
        found += windows.count(window);
      }
      if (choice.covers(tag)) {
        ++covered;
        ASSERT_EQ(found, 0U) << "of a tag of type " << int{tag[0]} << ", " << data.size() << " bytes";
      } else {
        ASSERT_EQ(found, searched);
      }
    }
    EXPECT_EQ(covered > 0, choice.audio || choice.video);
    const std::string key = readWholeFile(path("keys/common.key"));
    EXPECT_FALSE(windows.contains(key));
    EXPECT_EQ(outputs_.find(key), std::string::npos);
  }

  /// The same stream in the clear and protected, for each choice.
  void expectAll(const std::vector<Choice>& choices) {
    record("plain", "");
    for (const Choice& choice : choices) {
      SCOPED_TRACE(choice.options());
      record("secret", config() + choice.options());
      expectTheSame("plain", "secret");
      expectCovered("plain", "secret", choice);
      fs::remove_all(path("secret"));
    }
  }

  TempDirectory directory_;
  std::string outputs_;
};

TEST_F(Unprotecting, GivesBackTheClearRecordingOfEveryLevel) {
  expectAll({{.level = 0}, {.level = 1}, {.level = 2}});
}

TEST_F(Unprotecting, GivesBackTheClearRecordingOfEveryKind) {
  expectAll({{.audio = false, .level = 0}, {.video = false}, {.audio = false, .video = false, .data = false}});
}

TEST_F(Unprotecting, GivesBackEverySegmentAndEveryAppend) {
  const std::string rolling = " --set Recording/SegmentDuration=4000 --set Recording/FragmentDuration=2000";
  record("plain", rolling);
  record("secret", rolling + config());
  expectTheSame("plain", "secret");
  record("plain", rolling + " --append");
  record("secret", rolling + config() + " --append");
  expectTheSame("plain", "secret");
  expectCovered("plain", "secret", {});
}

TEST_F(Unprotecting, GivesBackWhatACrashLeft) {
  record("plain", " --no-stop");
  record("secret", " --no-stop" + config());
  expectTheSame("plain", "secret");
}

TEST_F(Unprotecting, TakesOtherCodecs) {
  const struct {
    const char* name;
    const char* arguments;
  } rows[] = {{"mp3", "-f lavfi -i sine=duration=9 -c:a libmp3lame -f mp3"},
              {"aac", "-f lavfi -i sine=duration=9 -c:a aac -f adts"},
              {"h263",
               "-f lavfi -i testsrc2=size=176x144:rate=25:duration=9 -f lavfi -i sine=duration=9 -c:v flv -g 50 "
               "-c:a libmp3lame -ar 44100 -f flv"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    must(std::string("ffmpeg -y -v error ") + row.arguments + " '" + clip() + "'");
    record(std::string("plain-") + row.name, "");
    record(std::string("secret-") + row.name, config());
    const CommandResult result = unprotect(std::string("secret-") + row.name, "opened");
    ASSERT_EQ(result.status, 0) << result.output;
    const auto tags = tagsOfAll(path(std::string("plain-") + row.name));
    EXPECT_GT(tags.size(), 200U);
    EXPECT_TRUE(tagsOfAll(path("opened")) == tags);
    must(k2r("verify '" + path("opened") + "'"));
    fs::remove_all(path("opened"));
  }
}

TEST_F(Unprotecting, SaysWhyNotAndLeavesNothing) {
  record("secret", config());
  record("plain", "");
  must(k2r("keys new '" + path("others") + "'"));
  must("cp -r '" + path("secret") + "' '" + path("changed") + "' && cd '" + path("changed") +
       "' && for f in *; do mv $f changed${f#secret}; done");
  // The last byte but one block of the last cipher text decides on the padding.
  const std::string segment = path("changed") + "/changedSeg1.k2r";
  std::string bytes = readWholeFile(segment);
  const auto last = tagsOf(segment).back();
  bytes[bytes.rfind(last) + last.size() - qvs::util::kTagBackPointerSize - 17] ^= '\x7F';
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
    const CommandResult result = unprotect(row.from, "opened", row.key);
    EXPECT_EQ(result.status, 1) << row.from;
    EXPECT_NE(result.output.find(row.reason), std::string::npos) << result.output;
    EXPECT_FALSE(fs::exists(path("opened")));
    EXPECT_FALSE(fs::exists(path("opened.unprotecting")));
  }

  fs::create_directory(path("opened"));
  EXPECT_EQ(unprotect("secret", "opened").status, 1);
  EXPECT_TRUE(fs::is_empty(path("opened")));
}

TEST_F(Unprotecting, RefusesChangedMetadata) {
  record("secret", config());
  const std::string segment = path("secret") + "/secretSeg1.k2r";
  const std::string drmMeta = path("secret") + "/secret.drmmeta";
  const std::string whole[] = {readWholeFile(segment), readWholeFile(drmMeta)};
  const std::string_view marks[] = {"frma", "schm", "AES-CBC", "akey", "flxs", "adaf"};
  const auto expectRefused = [&](const std::string& file, std::string content, std::size_t at) {
    content[at] ^= '\x01';
    writeWholeFile(file, content);
    EXPECT_EQ(unprotect("secret", "opened").status, 1) << file << " at " << at;
    EXPECT_FALSE(fs::exists(path("opened")));
  };
  for (const auto mark : marks) expectRefused(segment, whole[0], whole[0].find(mark) + 5);
  expectRefused(segment, whole[0], whole[0].find("flxs") + 200);
  writeWholeFile(segment, whole[0]);
  for (const std::size_t at : {5UL, 60UL, 400UL, whole[1].size() - 1}) expectRefused(drmMeta, whole[1], at);
  fs::remove(drmMeta);
  EXPECT_EQ(unprotect("secret", "opened").status, 1);
}

}  // namespace

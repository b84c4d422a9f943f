#include "packaging/MTGMediaSource.h"

#include "packaging/RefCountedMemoryArena.h"
#include "tests/packaging/recordingFixture.h"
#include "tests/support/Amf0.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/tagFile.h"

namespace ruvo::k2rpkgutil {
namespace {

using test::Amf0;
using test::StreamMessage;
using test::tracksOf;

class MTGMediaSourceTest : public testing::Test, public IPackagerContext {
 protected:
  IMemoryArena& getArena() override { return arena_; }

  MTGMediaSource& open(std::span<const std::byte> image) {
    test::writeWholeFile(path_, test::textOf(image));
    return source_.emplace(*this, path_, ruvo::k2r::openFlagsFor(false, true));
  }
  MTGMediaSource& open(const std::vector<StreamMessage>& messages) { return open(test::tagFile(messages)); }

  std::vector<std::shared_ptr<K2RTrack>> tracks() {
    const std::unique_ptr<ITrackIterator> iterator(source_->getTracks());
    std::vector<std::shared_ptr<K2RTrack>> tracks;
    while (iterator->hasNext()) iterator->next(tracks.emplace_back());
    return tracks;
  }

  test::TempDirectory directory_;
  std::string path_ = directory_.file("in.mtg");
  RefCountedMemoryArena arena_;
  std::optional<MTGMediaSource> source_;
};

StreamMessage message(std::uint8_t type, std::uint32_t time, const char* data) {
  return {type, time, test::fromHex(data)};
}

TEST_F(MTGMediaSourceTest, DescribesTheWholeStream) {
  const auto document = open(test::stream().keyFramesEvery(2000).audio(23).until(4000)).getDocumentProperties();
  EXPECT_EQ(std::tuple(document.version, document.duration, document.timescale), std::tuple(1U, 3979U, 1000U));
  EXPECT_EQ(std::tuple(document.rate, document.volume), std::tuple(1.0F, 1.0F));
  EXPECT_EQ(tracksOf(*source_),
            "vide eng 1000 1 3979 640x360 0 0 1 0 0 avc1 vide 640x360 72x72 1 24 0\n"
            "soun eng 1000 1 3979 0x0 1 0 1 0 0 mp4a soun 44000x2x16 0\n");
}

TEST_F(MTGMediaSourceTest, DescribesCodecAndSoundOfTheFirstTagWithData) {
  const std::tuple<std::uint8_t, const char*, const char*> rows[] = {
      {9, "11", "jpeg"}, {9, "12", "H263"}, {9, "25", "VP6A"}, {9, "17", "avc1"}, {9, "13", "- v"}, {8, "00", ".mp3"},
      {8, "ef", ".mp3"}, {8, "5f", "nmos"}, {8, "bf", "spex"}, {8, "7f", "- s"},  {8, "af", "mp4a"}};
  for (const auto& [type, data, said] : rows) {
    open({message(type, 0, ""), message(type, 1, data)});
    EXPECT_THAT(test::describe(*tracks().at(0)->sampleDescriptors.at(0)), testing::StartsWith(said)) << data;
  }
  open({message(8, 0, "25")});
  EXPECT_THAT(tracksOf(*source_), testing::HasSubstr("11000x2x8"));
}

TEST_F(MTGMediaSourceTest, TakesThePictureSizeFromADescriptionAtTheStart) {
  const StreamMessage description = test::metadata(0), other = message(18, 0, "02 0002 6f6e"),
                      video = message(9, 0, "17010000");
  const auto behind = [&](std::size_t count, const StreamMessage& last) {
    std::vector<StreamMessage> messages(count, video);
    messages.push_back(last);
    return messages;
  };
  const auto described = [&](const std::string& value) {
    return std::vector{message(18, 0, (Amf0().string("onMetaData").hex() + value).c_str()), video};
  };
  const auto members = [&](const Amf0& some) { return described("03" + some.hex() + Amf0().end().hex()); };
  const Amf0 height = Amf0().name("height").number(360);
  const std::tuple<const char*, std::vector<StreamMessage>, std::string> rows[] = {
      {"behind another script tag", {other, description, video}, "640x360"},
      {"the tenth tag", behind(9, description), "640x360"},
      {"the eleventh tag", behind(10, description), "0x0"},
      {"a first tag with a time", {message(9, 1, "17010000"), description}, "0x0"},
      {"only the first description counts", {members(height)[0], description, video}, "0x360"},
      {"a width that is no number", members(Amf0().name("width").string("").name("height").number(360)), "0x360"},
      {"no end", described("08 00000000" + height.hex()), "0x360"}};
  for (const auto& [why, messages, size] : rows) {
    open(messages);
    EXPECT_THAT(tracksOf(*source_), testing::EndsWith(" avc1 vide " + size + " 72x72 1 24 0\n")) << why;
  }
}

TEST_F(MTGMediaSourceTest, FindsTheEndOfAFileThatIsCutOff) {
  const std::vector<StreamMessage> messages = {message(9, 0, "17"), message(9, 4000000000U, "27"),
                                               message(9, 70, "27")};
  auto image = test::tagFile(messages);
  EXPECT_EQ(open(image).getDocumentProperties().duration, 70U) << "the last tag's time, the greatest or not";
  image.resize(image.size() - 8);
  EXPECT_EQ(open(image).getDocumentProperties().duration, 4000000000U);
  EXPECT_EQ(open(std::vector<StreamMessage>{}).getDocumentProperties().duration, 0U);
}

TEST_F(MTGMediaSourceTest, HasATrackForEachKindOfMediaTags) {
  open({test::metadata(0), message(18, 40, "05")});
  EXPECT_TRUE(tracks().empty());
  std::unique_ptr<ISampleIterator> samples;
  source_->getSamples(samples);
  EXPECT_FALSE(samples->hasNext());
  open({message(8, 0, "af01"), message(9, 10, "17")});
  EXPECT_TRUE(tracks().at(1)->sampleDescriptors.empty()) << "audio in front of the video is not seen";
}

TEST_F(MTGMediaSourceTest, MakesAMessageOfEachTag) {
  // Type and data of a tag; where its sample begins, and whether it is a key frame.
  const std::tuple<std::uint8_t, const char*, std::uint32_t, bool> rows[] = {{9, "1701000000aabb", 16, true},
                                                                             {9, "2701000000aa", 16, false},
                                                                             {9, "1700", 11, true},
                                                                             {9, "22aabb", 12, false},
                                                                             {9, "25aabb", 13, false},
                                                                             {8, "af01aabb", 13, false},
                                                                             {8, "2faabb", 12, false},
                                                                             {8, "7faa", 11, false},
                                                                             {8, "af", 11, false},
                                                                             {9, "", 11, false}};
  std::vector<StreamMessage> messages = {test::metadata(0)};
  for (const auto& [type, data, sampleOffset, keyFrame] : rows)
    messages.push_back(message(type, static_cast<std::uint32_t>(messages.size()), data));
  open(messages);
  std::unique_ptr<ISampleIterator> samples;
  source_->getSamples(samples);
  std::uint32_t time = 0;
  for (const auto& [type, data, sampleOffset, keyFrame] : rows) {
    ASSERT_TRUE(samples->hasNext());
    const StreamMessage& stored = messages[++time];
    ruvo::k2r::SampleInfo info;
    samples->nextInfo(info);
    const auto kind = type == 8 ? k2r::SampleKind::Audio : k2r::SampleKind::Video;
    EXPECT_EQ(info, (ruvo::k2r::SampleInfo{kind, time, keyFrame, stored.data.empty()})) << data;
    NQMessage tag;
    samples->currentMessage(tag);
    const auto image = test::tagFile({&stored, 1});
    EXPECT_EQ(test::hex({tag.header(), tag.totalSize()}), test::hex(std::span(image).subspan(13))) << data;
    EXPECT_EQ(tag.sampleOffset(), sampleOffset) << data;
  }
  EXPECT_FALSE(samples->hasNext());
}

}  // namespace
}  // namespace ruvo::k2rpkgutil

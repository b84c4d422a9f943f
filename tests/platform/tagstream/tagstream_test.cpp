// Tag streams as the tag-stream library reads them, through the handles on it.

#include "tests/support/statusOf.h"
#include "tests/support/tagFile.h"
#include "tests/support/testing.h"
#include "wrappers/mtg/Reader.h"

namespace mtg {
namespace {

using test::fromHex;
using test::MemoryInput;

constexpr const char* kHeader = "4d5447 01 05 00000009 00000000 ";
constexpr const char* kThreeTags =
    "12 000002 000000 00 000000 0305   0000000d"
    "29 000003 030405 82 000007 170100 0000000e"  // protected, a time beyond 31 bits, a stream id
    "08 000001 000005 00 000000 af     0000000c";

/// Each tag as "<type> <time>;", after what `text` has had already.
std::string timesOf(const TagIterator& tags, std::string&& text = {}) {
  while (const auto tag = tags.next())
    text += std::to_string(tag->info().type) + ' ' + std::to_string(tag->info().timestamp) + ';';
  return text;
}

constexpr auto statusOf = [](const auto& call) { return test::statusOf<Exception>(call); };

/// A reader and what it needs.
struct File {
  explicit File(const std::string& image, bool seeks = true) : File(fromHex(image), seeks) {}
  explicit File(std::vector<std::byte> bytes, bool seeks = true)
      : input(std::move(bytes), seeks), reader(input, allocator) {}

  MemoryInput input;
  Allocator allocator;
  Reader reader;
};

TEST(TagStreamLibrary, GivesEachTagAsItIsStored) {
  const File file(std::string(kHeader) + kThreeTags);
  const TagIterator tags = file.reader.tags();
  EXPECT_EQ(tags.nextEntry().info().dataSize, 2U);
  const Tag tag = tags.nextEntry();
  const MTGTagInfo info = tag.info();
  EXPECT_EQ(std::tuple(info.type, info.dataSize, info.timestamp, info.streamId), std::tuple(9, 3, 0x82030405U, 7));
  std::vector<std::byte> bytes(tag.length());
  tag.copyHeaderAndData(bytes);
  EXPECT_EQ(test::hex(bytes), "29000003 03040582 00000717 0100");
  EXPECT_THAT(tag.viewHeaderAndData(), testing::ElementsAreArray(bytes));
  EXPECT_EQ(statusOf([&] { tag.copyHeaderAndData(std::span(bytes).first(5)); }), kKrvoMTGBadArgument);
}

TEST(TagStreamLibrary, WalksBothWaysAndByType) {
  const File file(std::string(kHeader) + kThreeTags);
  EXPECT_EQ(timesOf(file.reader.tags()), "18 0;9 2181235717;8 5;");
  EXPECT_EQ(timesOf(file.reader.tags(true)), "8 5;9 2181235717;18 0;");
  EXPECT_EQ(timesOf(file.reader.tagsByTypes({9, 8})), "9 2181235717;8 5;");
  EXPECT_EQ(timesOf(file.reader.tagsByTypes({})), "");
  EXPECT_EQ(statusOf([&] { file.reader.tagsByTypes({15}).nextEntry(); }), kKrvoMTGNoMoreEntries);
}

TEST(TagStreamLibrary, TakesTimesForSignedNumbers) {
  MemoryInput input(fromHex(std::string(kHeader) + kThreeTags));
  const Allocator allocator;
  KrvoMTGReader* reader = nullptr;
  KrvoMTGInputStreamCallBacks stream{};
  input.fill(stream);
  ASSERT_EQ(KrvoMTGDocOpenForRead(&stream, &allocator.callBacks(), &reader), kKrvoMTGOk);
  const std::tuple<std::int32_t, std::int32_t, const char*> rows[] = {
      {0, 5, "18 0;8 5;"}, {0, 4, "18 0;"}, {1, 5, "8 5;"}, {INT32_MIN, -1, "9 2181235717;"}, {6, 4, ""}};
  for (const auto& [from, to, times] : rows) {
    KrvoMTGTagIterator* tags = nullptr;
    ASSERT_EQ(KrvoMTGReaderGetTags(reader, from, to, 0, &tags), kKrvoMTGOk);
    EXPECT_EQ(timesOf(TagIterator(tags)), times) << from << " to " << to;
  }
  EXPECT_EQ(KrvoMTGReleaseReader(reader), kKrvoMTGOk);
  EXPECT_EQ(input.references, 0);
}

/// The tags of a file, or "status <number>".
std::string answerTo(const std::string& image, bool seeks, bool reversed) {
  MemoryInput input(fromHex(image), seeks);
  const Allocator allocator;
  std::string answer;
  const auto status = statusOf([&] { answer = timesOf(Reader(input, allocator).tags(reversed)); });
  EXPECT_EQ(input.references, 0) << image;
  return status == kKrvoMTGOk ? answer : "status " + std::to_string(status);
}

TEST(TagStreamLibrary, GoesByTheHeaderAndEndsWhereATagIsCutShort) {
  const std::string tag = "08 000001 000005 00 000000 af 0000000c", whole = kHeader + tag, next = "09 000001 000006";
  const std::string noTagStream = "status 3", badHeader = "status 4", noWayBack = "status 9";
  // With what is read front to back, and back to front.
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {whole, "8 5;", "8 5;"},
      {whole + next + "00 000000 17", "8 5;9 6;", noWayBack},           // no back pointer
      {whole + next + "00 000000 17 0000000b", "8 5;9 6;", noWayBack},  // a wrong one
      {whole + "09 000001 0000", "8 5;", noWayBack},                    // half a header
      {whole + "09 ffffff 000006 00 000000 1700", "8 5;", noWayBack},   // more data than the file has
      {"4d5447 01 05 0000000c aabbcc 00000000" + tag, "8 5;", "8 5;"},
      {"4d5447 01 05 ffffffff 00000000" + tag, "", ""},  // a header larger than the file
      {"", noTagStream, noTagStream},
      {"4d5447 02 05 00000009 00000000", noTagStream, noTagStream},
      {"4d5431 01 05 00000009 00000000", noTagStream, noTagStream},
      {"4d5447 01 05 00000008 00000000", badHeader, badHeader}};
  for (const auto& [image, forward, backward] : rows) {
    for (const bool seeks : {true, false}) EXPECT_EQ(answerTo(image, seeks, false), forward) << image << seeks;
    EXPECT_EQ(answerTo(image, true, true), backward) << image;
  }
}

TEST(TagStreamLibrary, PassesOnTheDecodersStatusAndRefusesOtherKindsAndNull) {
  struct : ScriptDecoder {
    std::unique_ptr<ScriptValue> read(std::span<const std::byte>) override { throw Exception(MemoryInput::kFailure); }
  } decoder;
  const File file(std::string(kHeader) + kThreeTags);
  const TagIterator tags = file.reader.tags();
  const Tag script = tags.nextEntry(), video = tags.nextEntry(), audio = tags.nextEntry();
  const std::pair<std::function<void()>, std::uint32_t> rows[] = {
      {[&] { script.scriptData(decoder); }, MemoryInput::kFailure},
      {[&] { video.audioInfo(); }, kKrvoMTGOtherKind},
      {[&] { audio.scriptData(decoder); }, kKrvoMTGOtherKind},
      {[&] { Tag().scriptData(decoder); }, kKrvoMTGBadArgument},
      {[] { ScriptData(nullptr).name(); }, kKrvoMTGBadArgument},
      {[] { ScriptDataIterator(nullptr).next(); }, kKrvoMTGBadArgument}};
  for (const auto& [use, status] : rows) EXPECT_EQ(statusOf(use), status);
}

/// Frames of 100 bytes to 200 kB, so that some are larger than what is read ahead.
std::vector<test::StreamMessage> manySizes() {
  std::vector<test::StreamMessage> messages;
  for (std::uint32_t i = 0; i < 40; ++i) messages.push_back(test::avcFrame(i * 40, i == 0, 100 + i * i * 125, i));
  return messages;
}

TEST(TagStreamLibrary, SeesWhatIsWrittenMeanwhile) {
  auto messages = manySizes();
  const auto longer = test::tagFile(messages);
  messages.pop_back();
  File file(test::tagFile(messages));
  const TagIterator tags = file.reader.tags();
  timesOf(tags);
  file.input.bytes = longer;
  EXPECT_EQ(timesOf(tags), "9 1560;");
}

TEST(TagStreamLibrary, PassesOnTheStreamsStatusAndContinuesAfterIt) {
  const auto bytes = test::tagFile(manySizes());
  const Allocator allocator;
  MemoryInput input(bytes);
  input.failingRead = 0;
  EXPECT_EQ(statusOf([&] { timesOf(Reader(input, allocator).tags()); }), MemoryInput::kFailure);
  EXPECT_EQ(input.references, 0);
  File file(bytes);
  const std::string all = timesOf(file.reader.tags());
  const TagIterator tags = file.reader.tags();
  std::string seen;
  file.input.failingRead = file.input.reads + 5;
  EXPECT_EQ(statusOf([&] { timesOf(tags, std::move(seen)); }), MemoryInput::kFailure);
  EXPECT_EQ(timesOf(tags, std::move(seen)), all);
}

TEST(TagStreamLibrary, RefusesWhatIsNoStreamAndFailsWithoutMemory) {
  MemoryInput input(fromHex(kHeader));
  KrvoMTGInputStreamCallBacks stream{};
  KrvoMTGReader* reader = nullptr;
  auto allocator = Allocator().callBacks();
  const auto open = [&] { return KrvoMTGDocOpenForRead(&stream, &allocator, &reader); };
  EXPECT_EQ(open(), kKrvoMTGBadArgument) << "no size";
  input.fill(stream);
  const auto read = std::exchange(stream.read, nullptr);
  EXPECT_EQ(open(), kKrvoMTGBadArgument) << "no read";
  stream.read = read;
  allocator.alloc = [](void*, std::uint64_t) -> void* { return nullptr; };
  EXPECT_EQ(open(), kKrvoMTGOutOfMemory);
  EXPECT_EQ(input.references, 0);
}

}  // namespace
}  // namespace mtg

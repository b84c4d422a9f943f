// Counted objects, their buffers, and messages in a buffer.

#include <thread>

#include "tests/support/testing.h"
#include "tests/util/failures.h"
#include "util/NQBuffer.h"
#include "util/bytes.h"
#include "util/messagebuffer.h"
#include "util/tagHeader.h"

namespace qvs::util {
namespace {

/// Counts the objects that ended, and looks at the holder that it is in as it does.
class Probe : public NQObject {
 public:
  explicit Probe(int& ended) : ended_(ended) {}
  ~Probe() override {
    ++ended_;
    EXPECT_TRUE(holder == nullptr || holder->get() == nullptr) << "no dangling holder";
  }

  NQPtr<Probe>* holder = nullptr;

 private:
  int& ended_;
};

TEST(NQPtr, EndsItsObjectWithTheLastHolderAndTakesTheNewOneBeforeItDropsTheOld) {
  int ended = 0;
  {
    auto held = NQPtr<Probe>::make(ended);
    held->holder = &held;
    EXPECT_EQ(held->addRef(), 2);
    EXPECT_EQ(held->release(), 1);
  }
  EXPECT_EQ(ended, 1);
  struct Link : NQObject {
    NQPtr<Link> next;
  };
  auto head = NQPtr<Link>::make();
  head->next = NQPtr<Link>::make();
  head = head->next;
  EXPECT_EQ(head->refCount(), 1);
}

TEST(NQObject, CountIsExactAmongThreads) {
  const auto shared = NQPtr<NQObject>::make();
  const auto holdOften = [&] {
    for (int turn = 0; turn < 20000; ++turn) NQPtr<NQObject> copy(shared);
  };
  std::thread other(holdOften);
  holdOften();
  other.join();
  EXPECT_EQ(shared->refCount(), 1);
}

NQMemoryPtr blockOf(const char* image) {
  const auto bytes = test::fromHex(image);
  auto memory = NQMemoryPtr::make(static_cast<std::uint32_t>(bytes.size()));
  std::ranges::copy(bytes, memory->data());
  memory->setUsedLength(memory->capacity());
  return memory;
}

TEST(NQMemory, ResizeKeepsWhatFits) {
  auto memory = blockOf("01020304");
  EXPECT_TRUE(memory->resize(2));
  EXPECT_EQ(test::hex(memory->used()), "0102");
  EXPECT_TRUE(memory->resize(8));
  test::failingBuffers = 1;
  EXPECT_FALSE(memory->resize(9));
  EXPECT_EQ(memory->capacity(), 8U);
  EXPECT_EQ(test::hex(std::span(memory->data(), 2)), "0102");
}

TEST(NQBuffer, WindowStaysWithinItsBlock) {
  NQBuffer buffer(blockOf("01020304"));
  buffer.setEnd(3);
  buffer.setStart(1);
  buffer.setEnd(5);
  buffer.setEnd(0);
  buffer.setStart(4);
  EXPECT_EQ(test::hex(buffer.window()), "0203");
  EXPECT_EQ(buffer.room(), 1U);
  buffer.setEnd(1);
  EXPECT_TRUE(buffer.window().empty());
  buffer.setEnd(3);
  EXPECT_TRUE(buffer.resize(2));
  EXPECT_EQ(test::hex(buffer.window()), "02") << "cut to the block";
  buffer.attach(nullptr);
  EXPECT_TRUE(buffer.data() == nullptr && buffer.capacity() == 0 && buffer.window().empty() && !buffer.resize(1));
}

struct MessageBufferTest : testing::Test {
  MessageBufferTest() { buffer.allocate(); }

  MessageBuffer buffer;
};

TEST_F(MessageBufferTest, WritesMembersByteForByteAndCountsThem) {
  EXPECT_TRUE(buffer.append(0x29, asBytes("ab"), 0x12345678));
  EXPECT_TRUE(buffer.append(8, {}, 1));
  EXPECT_EQ(test::hex(buffer.buffer().window()),
            "29000002 34567812 00000061 62000000 0d080000 00000001 00000000 0000000b");
  EXPECT_EQ(std::tuple(buffer.appended(), buffer.firstSize(), buffer.firstTime()), std::tuple(2U, 17U, 0x12345678U));
  EXPECT_EQ(buffer.lastTime(), 0x12345678U) << "the highest one";
  EXPECT_EQ(buffer.contents(), MessageBuffer::kHasVideo);
}

TEST_F(MessageBufferTest, DoublesUntilAMessageFitsAndRefusesWhatItCannotHold) {
  buffer.append(9, asBytes("first"), 1);
  buffer.append(9, std::vector<std::byte>(32768 - 20 - 15), 2);
  EXPECT_EQ(buffer.buffer().capacity(), 32768U);
  test::failingBuffers = 1;
  EXPECT_FALSE(buffer.append(9, std::vector<std::byte>(100000), 3));
  EXPECT_EQ(buffer.appended(), 2U);
  EXPECT_TRUE(buffer.append(9, std::vector<std::byte>(100000), 3));
  EXPECT_EQ(buffer.buffer().capacity(), 262144U);
  EXPECT_EQ(buffer.buffer().end(), 32768U + 100015);
  EXPECT_EQ(test::hex(buffer.buffer().window().subspan(11, 5)), "66697273 74");
  EXPECT_FALSE(MessageBuffer().append(9, asBytes("x"), 1));
  EXPECT_FALSE(buffer.append(9, std::vector<std::byte>(kMaxTagDataSize + 1), 1));
  EXPECT_EQ(buffer.appended(), 3U);
  EXPECT_TRUE(buffer.append(9, std::vector<std::byte>(kMaxTagDataSize), 1));
}

}  // namespace
}  // namespace qvs::util

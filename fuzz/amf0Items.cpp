// AMF0 items read one after another, each of a kind that the byte before it chooses: an item that was read is
// written as bytes from which the same item is read.

#include <array>

#include "fuzz/fuzzing.h"
#include "server/AMF0Items.h"

namespace {

using namespace qvs::amfmessage;

template <typename Item>
void readAndWriteBack(std::istream& in) {
  Item item;
  item.readFrom(in);
  std::stringstream image;
  item.writeTo(image);
  Item back;
  back.readFrom(image);
  std::ostringstream again;
  back.writeTo(again);
  fuzz::require(image.str() == again.str(), "an item comes back from its bytes");
  fuzz::require(image.peek() == std::istream::traits_type::eof(), "an item reads all that it wrote");
}

constexpr std::array kReaders = {
    readAndWriteBack<AMF0ObjectBegin>, readAndWriteBack<AMF0ObjectEnd>,        readAndWriteBack<AMF0ArrayBegin>,
    readAndWriteBack<AMF0ArrayEnd>,    readAndWriteBack<AMF0StrictArrayBegin>, readAndWriteBack<AMF0Number>,
    readAndWriteBack<AMF0String>,      readAndWriteBack<AMF0NoHeaderString>,   readAndWriteBack<AMF0PropObjectBegin>,
    readAndWriteBack<AMF0PropNumber>,  readAndWriteBack<AMF0PropString>};

}  // namespace

void fuzz::target(Bytes input) {
  auto in = streamOf(input);
  takes<ParseException, std::ios_base::failure>([&] {
    for (int kind = in.get(); kind >= 0; kind = in.get())
      kReaders[static_cast<std::size_t>(kind) % kReaders.size()](in);
  });
}

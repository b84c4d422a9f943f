#include "util/StreamReader.h"

#include <algorithm>
#include <bit>
#include <cstddef>

#include "util/bytes.h"

namespace qvs::util {

double StreamReader::f64() {
  return std::bit_cast<double>(u64());
}

std::string StreamReader::zeroTerminated() {
  std::string text;
  for (char c = 0; in_.get(c), c != 0;) text.push_back(c);
  return text;
}

std::string StreamReader::bytes(std::uint64_t count) {
  constexpr std::uint64_t kStep = 65536;
  // Not one resize to `count`: it comes from the file and may be any 64-bit number.
  std::string result;
  while (count > 0) {
    const std::size_t step = static_cast<std::size_t>(std::min(count, kStep));
    const std::size_t old = result.size();
    result.resize(old + step);
    in_.read(result.data() + old, static_cast<std::streamsize>(step));
    count -= step;
  }
  return result;
}

void StreamReader::skip(std::uint64_t count) {
  // Not ignore(), whose count is signed: this one may come from a file.
  for (; count > 0; --count) u8();
}

std::uint64_t StreamReader::take(int width) {
  std::byte image[8];
  in_.read(reinterpret_cast<char*>(image), width);
  return loadBigEndian(image, static_cast<std::size_t>(width));
}

}  // namespace qvs::util

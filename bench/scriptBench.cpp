// The message layer: a stream's description decoded, and aggregates taken apart.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/allocationCount.h"
#include "server/NQCommand.h"
#include "server/compositemessage.h"
#include "shared_nqserver/NQDataArray.h"
#include "util/bytes.h"
#include "util/tagHeader.h"

namespace {

using Bytes = std::vector<std::byte>;

constexpr std::uint8_t kAmf3 = 3;

/// What an encoder sends before a stream.
Bytes typicalMetadata(std::uint8_t encoding) {
  const bool isAmf3 = encoding == kAmf3;
  const auto members = NQDataArrayPtr::make();
  // The first member of an AMF3 object names its class.
  if (isAmf3) members->append(makeText(""), NQDataValue::string(""));
  const auto add = [&](const char* name, NQDataValue value) { members->append(makeText(name), std::move(value)); };
  const std::pair<const char*, double> numbers[] = {
      {"duration", 0},      {"width", 1920},        {"height", 1080},
      {"framerate", 29.97}, {"videocodecid", 7},    {"videodatarate", 6000},
      {"avcprofile", 100},  {"avclevel", 41},       {"videokeyframe_frequency", 2},
      {"audiocodecid", 10}, {"audiodatarate", 128}, {"audiosamplerate", 48000},
      {"audiochannels", 2}, {"audiodelay", 0.04},   {"filesize", 0}};
  for (const auto& [name, value] : numbers) add(name, NQDataValue::number(value));
  add("stereo", NQDataValue::boolean(true));
  add("encoder", NQDataValue::string("an encoder of some name, version 1.2.3"));
  add("creationdate", NQDataValue::string("Wed Nov 25 12:00:00 2026"));
  NQCommand command;
  command.setEncoding(encoding);
  command.setName("onMetaData");
  command.addArgument(
      NQDataValue::container(isAmf3 ? NQDataKind::kAvmPlusObjectType : NQDataKind::kObjectType, members));
  const auto message = command.toDataMessage();
  return {message->payload().begin(), message->payload().end()};
}

void countAllocations(benchmark::State& state, std::uint64_t before) {
  state.counters["allocs"] =
      static_cast<double>(bench::allocationCount().allocations - before) / static_cast<double>(state.iterations());
}

void decodeMetadata(benchmark::State& state) {
  const auto encoding = static_cast<std::uint8_t>(state.range(0));
  const Bytes payload = typicalMetadata(encoding);
  const auto kind = encoding == 0 ? qvs::MessageKind::kData : qvs::MessageKind::kDataEx;
  const std::uint64_t before = bench::allocationCount().allocations;
  for (auto _ : state) {
    const NQCommand command(kind, payload, true);
    if (command.argument(0).array()->find("WIDTH").toDouble() != 1920) state.SkipWithError("decoded wrongly");
  }
  countAllocations(state, before);
  state.counters["payload"] = static_cast<double>(payload.size());
}

/// Audio and video in turns, of a low-rate stream, up to 64 KiB.
NQMemoryPtr aggregateBody(std::uint32_t& members) {
  constexpr std::size_t kSize = 65536;
  qvs::util::ByteWriter body;
  std::uint32_t time = 0;
  for (members = 0;; ++members) {
    const bool isVideo = members % 3 == 0;
    const std::uint32_t size = isVideo ? 1500 : 190;
    if (body.size() + size + qvs::util::kTagOverhead > kSize) break;
    body.u8(isVideo ? 9 : 8);
    body.u24(size);
    body.u24(time & 0xFFFFFF);
    body.u8(static_cast<std::uint8_t>(time >> 24));
    body.u24(0);
    const Bytes payload(size, static_cast<std::byte>(isVideo ? 0x27 : 0xAF));
    body.bytes(payload);
    body.u32(size + qvs::util::kTagHeaderSize);
    time += 13;
  }
  const auto bytes = body.bytes();
  auto block = NQMemoryPtr::make(static_cast<std::uint32_t>(bytes.size()));
  std::copy(bytes.begin(), bytes.end(), block->data());
  return block;
}

void parseAggregate(benchmark::State& state) {
  std::uint32_t members = 0;
  const NQMemoryPtr body = aggregateBody(members);
  const std::uint64_t before = bench::allocationCount().allocations;
  for (auto _ : state) {
    const auto composite = qvs::CompositeMessagePtr::make(body, body->capacity());
    if (composite->memberCount() != members) state.SkipWithError("members are missing");
  }
  countAllocations(state, before);
  state.SetItemsProcessed(state.iterations() * members);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(body->capacity()));
}

void splitAggregate(benchmark::State& state) {
  std::uint32_t members = 0;
  const NQMemoryPtr body = aggregateBody(members);
  const auto composite = qvs::CompositeMessagePtr::make(body, body->capacity());
  const std::uint64_t before = bench::allocationCount().allocations;
  for (auto _ : state) {
    qvs::CompositeMessagePtr first;
    qvs::CompositeMessagePtr second;
    composite->splitByCount(members / 2, first, second);
    if (first->memberCount() + second->memberCount() != members) state.SkipWithError("members are missing");
  }
  countAllocations(state, before);
}

/// Payloads of which each byte makes as much of a decoder's memory as its format lets it.
struct Shape {
  const char* name;
  /// After the name "onMetaData"; `%` is the element count, as AMF0 or as AMF3 writes it.
  std::string_view front;
  std::string_view element;
  std::string_view back = {};
};
using namespace std::string_view_literals;
constexpr Shape kShapes[] = {
    {"AMF0 numbers", "\x0a%"sv, "\0\x3f\xf0\0\0\0\0\0\0"sv},
    {"AMF0 nulls", "\x0a%"sv, "\x05"sv},
    {"AMF0 arguments", ""sv, "\x05"sv},
    {"AMF0 objects", "\x0a%"sv, "\x03\0\0\x09"sv},
    {"AMF0 members", "\x03"sv, "\0\x02#\x05"sv, "\0\0\x09"sv},
    {"AMF0 long texts", "\x0a%"sv, "\x02\0\x28xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"sv},
    {"AMF3 integers", "\x11\x09%\x01"sv, "\x04\x05"sv},
    {"AMF3 byte arrays", "\x11\x09%\x01"sv, "\x0c\x01"sv},
    {"AMF3 strings", "\x11\x09%\x01"sv, "\x06\x05#"sv},
    {"AMF3 dates", "\x11\x09%\x01"sv, "\x08\x01\0\0\0\0\0\0\0\0"sv},
    {"AMF3 objects", "\x11\x09%\x01"sv, "\x0a\x03\x01"sv},
    {"AMF3 arrays", "\x11\x09%\x01"sv, "\x09\x01\x01"sv},
    {"AMF3 class names", "\x11\x0a%\x01"sv, "\x01"sv},
    {"AMF3 vector", "\x11\x0d%\0"sv, "\0\0\0\1"sv},
};

void putCount(qvs::util::ByteWriter& out, const Shape& shape, std::size_t count) {
  const auto number = static_cast<std::uint32_t>(count);
  if (shape.front.front() == '\x0a') return out.u32(number);
  // A class has the number of its members above four bits of the U29, an array its elements above one.
  const std::uint32_t head = shape.front[1] == '\x0a' ? number << 4 | 3 : number << 1 | 1;
  out.u8(static_cast<std::uint8_t>(0x80 | head >> 22));
  out.u8(static_cast<std::uint8_t>(0x80 | head >> 15));
  out.u8(static_cast<std::uint8_t>(0x80 | head >> 8));
  out.u8(static_cast<std::uint8_t>(head));
}

/// A payload of about `size` bytes; `#` in an element are two letters that differ from element to element.
Bytes payloadOf(const Shape& shape, std::size_t size) {
  const std::size_t count = (size - 32) / (shape.element.size() + (shape.element.find('#') != shape.element.npos));
  qvs::util::ByteWriter out;
  out.bytes(qvs::util::asBytes("\x02\0\x0aonMetaData"sv));
  for (const char c : shape.front) {
    if (c == '%')
      putCount(out, shape, count);
    else
      out.u8(static_cast<std::uint8_t>(c));
  }
  for (std::size_t i = 0; i < count; ++i) {
    for (const char c : shape.element) {
      if (c == '#')
        out.u16(static_cast<std::uint16_t>(0x4141 + i % 0x3E00));
      else
        out.u8(static_cast<std::uint8_t>(c));
    }
  }
  out.bytes(qvs::util::asBytes(shape.back));
  return {out.bytes().begin(), out.bytes().end()};
}

/// At most how much memory a payload takes while it is read, a byte of it, and whether it was taken.
void decodeLarge(benchmark::State& state) {
  const Shape& shape = kShapes[state.range(0)];
  const Bytes payload = payloadOf(shape, static_cast<std::size_t>(state.range(1)) << 10);
  const std::int64_t before = bench::allocationCount().liveBytes;
  bench::resetPeak();
  bool isTaken = true;
  for (auto _ : state) {
    try {
      const NQCommand command(qvs::MessageKind::kData, payload, true);
    } catch (const NQBreakConnection&) {
      isTaken = false;
    }
  }
  state.SetLabel(std::string(shape.name) + (isTaken ? "" : ", refused"));
  state.counters["peak/byte"] =
      static_cast<double>(bench::allocationCount().peakBytes - before) / static_cast<double>(payload.size());
}

BENCHMARK(decodeLarge)
    ->ArgNames({"shape", "KiB"})
    ->ArgsProduct({benchmark::CreateDenseRange(0, std::size(kShapes) - 1, 1), {64, 1024, 16383}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(decodeMetadata)->Arg(0)->Arg(3)->ArgName("AMF");
BENCHMARK(parseAggregate);
BENCHMARK(splitAggregate);

}  // namespace

BENCHMARK_MAIN();

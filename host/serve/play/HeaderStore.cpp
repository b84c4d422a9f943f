#include "host/serve/play/HeaderStore.h"

#include <algorithm>

#include "host/files/RecordedSegments.h"
#include "host/files/inFile.h"
#include "host/plain/plainHeader.h"

namespace host::serve {

HeaderPointer HeaderStore::add(std::vector<std::byte> header) {
  std::string name = plainHeaderName(header);
  const std::lock_guard lock(mutex_);
  if (HeaderPointer known = headers_[name].lock()) return known;
  std::erase_if(headers_, [](const auto& entry) { return entry.second.expired(); });
  auto added = std::make_shared<const StoredHeader>(StoredHeader{.name = name, .bytes = std::move(header)});
  headers_[std::move(name)] = added;
  return added;
}

HeaderPointer HeaderStore::used(const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto found = headers_.find(name);
  return found == headers_.end() ? nullptr : found->second.lock();
}

HeaderPointer HeaderStore::find(const std::string& name, const std::vector<Place>& places) {
  if (HeaderPointer known = used(name)) return known;
  // This also forgets recordings that were removed.
  constexpr std::size_t kMostRecordings = 50000;
  const std::lock_guard lock(search_);
  if (names_.size() > kMostRecordings) names_.clear();
  for (const Place& place : places) {
    const auto known = names_.find(place.path);
    if (known != names_.end() && std::ranges::find(known->second, name) == known->second.end()) continue;
    const auto headers = read(place.path);
    if (!headers) continue;
    HeaderPointer wanted;
    std::vector<std::string> names;
    for (const HeaderPointer& header : *headers) {
      names.push_back(header->name);
      if (header->name == name) wanted = header;
    }
    if (place.isFinished) names_[place.path] = std::move(names);
    if (wanted) return wanted;
  }
  return nullptr;
}

std::optional<std::vector<HeaderPointer>> HeaderStore::read(const std::string& path) try {
  constexpr std::size_t kWindow = std::size_t{16} << 10;
  std::vector<HeaderPointer> headers;
  const RecordingDirectory directory = readRecordingDirectory(path);
  for (const std::uint32_t number : directory.segments) {
    const std::string segment = directory.pathOf(directory.segmentName(number));
    inSegment(segment, [&] {
      OpenSegment open(segment, kWindow);
      headers.push_back(add(readPlainHeader(open.file(), open.reader().firstFragment())));
    });
  }
  return headers;
} catch (const CommandError& error) {
  log_.warning(error.what());
  return std::nullopt;
}

}  // namespace host::serve

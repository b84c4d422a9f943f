#include "host/serve/play/FragmentBodies.h"

#include <fmt/format.h>

#include <cstddef>
#include <utility>

#include "host/files/inFile.h"
#include "platform/container/reading/fragmentReader.h"

namespace host::serve {
namespace {

/// Where the address puts the fragment on the time line of the view.
PlainPlace placeOf(const PlayedFragment& fragment, const FragmentAddress& address) {
  const TimedFragment& timed = fragment.timed();
  PlainPlace place{.sequenceNumber = address.sequenceNumber(), .shiftMs = shiftTo(address.placeMs, timed)};
  if (address.lastDurations.empty()) {
    const TimedFragment& next = fragment.recording->timeline.fragments[fragment.index + 1];
    place.lastDurations = durationsUntil(timed, place.shiftMs, next, shiftTo(address.placeMs + timed.durationMs, next));
  }
  for (std::size_t i = 0; i < address.lastDurations.size(); ++i) {
    place.lastDurations[timed.tracks[i].id] = address.lastDurations[i];
  }
  return place;
}

}  // namespace

std::shared_ptr<const Body> FragmentBodies::get(const PlayedFragment& fragment, const FragmentAddress& address,
                                                const std::string& path) {
  const std::string key = fmt::format("{}/{}", fragment.recording->directory.path, address.text());
  if (auto known = kept_.find(key)) return known;
  const auto file = files_.open(path);
  const auto boxes = boxesOf(key, fragment, address, path, file);
  Body body;
  body.add(boxes->boxes);
  for (std::size_t i = 0; i < boxes->spans.size(); ++i) {
    if (i > 0) body.add(boxes->inserted);
    body.add(file, boxes->spans[i].offset, boxes->spans[i].size);
  }
  auto copy = copies_.copy(body);
  // Not kept in memory: it would keep the file of a removed segment open.
  if (!copy) return std::make_shared<const Body>(std::move(body));
  auto whole = std::make_shared<const Body>(*std::move(copy));
  kept_.put(key, whole, whole->size());
  return whole;
}

FragmentBodies::Boxes FragmentBodies::boxesOf(const std::string& key, const PlayedFragment& fragment,
                                              const FragmentAddress& address, const std::string& path,
                                              const OpenFiles::File& file) {
  if (auto known = boxes_.find(key)) return known;
  const PlainPlace place = placeOf(fragment, address);
  auto made = inSegment(path, [&] {
    OpenFileSource source(*file);
    const auto& movie = fragment.recording->timeline.segment(fragment.timed().segment).movie;
    const auto stored = krvo::container::readFragment(source, fragment.timed().boxes.position(), movie);
    return std::make_shared<const PlainFragment>(makePlainFragment(source, movie, stored, place));
  });
  boxes_.put(key, made, made->boxes.size() + made->inserted.size() + made->spans.size() * sizeof(made->spans[0]));
  return made;
}

}  // namespace host::serve

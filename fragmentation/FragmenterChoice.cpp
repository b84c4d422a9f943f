#include "fragmentation/FragmenterChoice.h"

namespace ruvo::k2r {
namespace {

constexpr bool kDropLeadIn = true;

Fragmenter* viewOf(std::monostate /*none*/) {
  return nullptr;
}

Fragmenter* viewOf(Fragmenter& fragmenter) {
  return &fragmenter;
}

}  // namespace

void FragmenterChoice::makeForNew(std::uint32_t fragmentDuration) {
  owned_.emplace<DualFragmenter>(fragmentDuration, kDropLeadIn);
}

void FragmenterChoice::makeForAppend(std::uint32_t fragmentDuration, bool hasVideo) {
  if (hasVideo) {
    owned_.emplace<AVFragmenter>(fragmentDuration, kDropLeadIn);
  } else {
    owned_.emplace<AudioFragmenter>(fragmentDuration, kDropLeadIn);
  }
}

Fragmenter* FragmenterChoice::get() {
  return std::visit([](auto& fragmenter) { return viewOf(fragmenter); }, owned_);
}

}  // namespace ruvo::k2r

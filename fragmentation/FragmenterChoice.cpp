#include "fragmentation/FragmenterChoice.h"

namespace ruvo::k2r {
namespace {

// Always: pictures before the first key frame cannot be decoded.
constexpr bool kDropLeadIn = true;

Fragmenter* viewOf(std::monostate /*none*/) {
  return nullptr;
}

Fragmenter* viewOf(Fragmenter& fragmenter) {
  return &fragmenter;
}

std::optional<std::uint64_t> openNumberOf(std::monostate /*none*/, SampleKind /*next*/) {
  return std::nullopt;
}

std::optional<std::uint64_t> openNumberOf(const DualFragmenter& fragmenter, SampleKind next) {
  return fragmenter.openNumber(next);
}

template <typename Machine>
std::optional<std::uint64_t> openNumberOf(const Machine& fragmenter, SampleKind /*next*/) {
  return fragmenter.openNumber();
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

std::optional<std::uint64_t> FragmenterChoice::openNumber(SampleKind next) const {
  return std::visit([next](const auto& fragmenter) { return openNumberOf(fragmenter, next); }, owned_);
}

}  // namespace ruvo::k2r

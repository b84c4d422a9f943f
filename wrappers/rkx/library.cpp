#include "wrappers/rkx/library.h"

#include <atomic>

#include "wrappers/rkx/RKXException.h"

namespace rkx {
namespace {

/// The 64-bit words of a table that are used here: the first, which is their number, and four functions.
constexpr std::uint64_t kWordsUsed = 5;

template <typename Table>
const Table& keptTable(std::atomic<const Table*>& kept, RKXStatus (*ask)(const Table**)) {
  if (const Table* const table = kept.load(std::memory_order_acquire)) return *table;
  const Table* table = nullptr;
  // A shorter table comes from an older library: the words after its end are not functions. Nothing is stored then, so
  // the next call asks again.
  if (ask(&table) != kRKXOk || table == nullptr || table->words < kWordsUsed) throw RKXException(kRKXNoInterface);
  // Without a lock: threads that come at once store the same table.
  kept.store(table, std::memory_order_release);
  return *table;
}

}  // namespace

void initialise(LibraryBlock& block) {
  check(RKXInitialize(block.data()));
}

void terminate(LibraryBlock& block) noexcept {
  RKXTerminate(block.data());
}

const RKXEncryptorInterface& encryptorTable() {
  static std::atomic<const RKXEncryptorInterface*> kept = nullptr;
  return keptTable(kept, &RKX_GetEncryptorInterface);
}

const RKXMetadataInterface& metadataTable() {
  static std::atomic<const RKXMetadataInterface*> kept = nullptr;
  return keptTable(kept, &RKX_GetMetadataInterface);
}

}  // namespace rkx

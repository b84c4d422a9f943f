#include "wrappers/rkx/tables.h"

#include <atomic>
#include <cstdint>

#include "wrappers/rkx/RKXException.h"

namespace rkx {
namespace {

/// The word that counts them, and four more.
constexpr std::uint64_t kWordsUsed = 5;

template <typename Table>
const Table& keptTable(std::atomic<const Table*>& kept, RKXStatus (*ask)(const Table**)) {
  if (const Table* const table = kept.load(std::memory_order_acquire)) return *table;
  const Table* table = nullptr;
  if (ask(&table) != kRKXOk || table == nullptr || table->words < kWordsUsed) throw RKXException(kRKXNoInterface);
  kept.store(table, std::memory_order_release);
  return *table;
}

}  // namespace

const RKXEncryptorInterface& encryptorTable() {
  static std::atomic<const RKXEncryptorInterface*> kept = nullptr;
  return keptTable(kept, &RKX_GetEncryptorInterface);
}

const RKXMetadataInterface& metadataTable() {
  static std::atomic<const RKXMetadataInterface*> kept = nullptr;
  return keptTable(kept, &RKX_GetMetadataInterface);
}

}  // namespace rkx

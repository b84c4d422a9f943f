#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "server/Amf3Marker.h"
#include "shared_nqserver/NQDataArray.h"

/// The values to which later ones may refer, in the order of their first occurrence: objects and arrays of both
/// formats, and the dates, XML and byte arrays of AMF3 (AMF 3 specification, 3.8 and on). Indexes are those on the
/// wire. Belongs to its serializer.
class ObjectTable {
 public:
  /// Marks entries of AMF0: the marker of AMF3 strings, which have a table of their own and never come here.
  static constexpr Amf3Marker kAMF0 = Amf3Marker::kString;

  struct Entry {
    /// A container over the array of a value with members; else the date, XML or byte array itself, which is undefined
    /// while writing.
    NQDataValue value;
    /// The AMF3 marker of the value, or kAMF0. It is stored here and not in the array, since one array may be written
    /// by several serializers in several forms.
    Amf3Marker objectKind = kAMF0;
    /// Whether its members are being read or written.
    bool isOpen = false;
  };

  /// Adds an entry that is open until the end of a scope, also when an exception ends it. The table is not cleared
  /// meanwhile, and outlives the scope.
  class Opening {
   public:
    Opening(ObjectTable& table, const NQDataArrayPtr& array, Amf3Marker objectKind);
    ~Opening();
    Opening(const Opening&) = delete;
    Opening& operator=(const Opening&) = delete;

   private:
    ObjectTable& table_;
    std::size_t index_;
  };

  /// The index that the next entry gets.
  std::size_t nextObjectIndex() const { return entries_.size(); }
  /// Number of open entries, which is the depth of nesting.
  std::size_t openCount() const { return openCount_; }
  /// Adds an entry that is not open.
  void enter(NQDataValue value, Amf3Marker objectKind);
  void clear() { entries_.clear(); }

  /// Null for an index that does not exist. A view, valid until the next `clear`.
  const Entry* at(std::size_t index) const { return index < entries_.size() ? &entries_[index] : nullptr; }
  /// Index of the first entry with this very array (not an equal one) and, if given, this kind. Linear in the number of
  /// entries.
  std::optional<std::uint32_t> find(const NQDataArray* array, std::optional<Amf3Marker> objectKind) const;

 private:
  /// A deque: a vector that grows needs twice its size for a while, and the allowance of a payload counts the size
  /// once.
  std::deque<Entry> entries_;
  std::size_t openCount_ = 0;
};

/// A value of a container kind over the array of an entry. If the entry is open, the value is to become part of that
/// array itself: it is a back reference then, which keeps the object alive but not its members, so that no cycle leaks.
NQDataValue referenceTo(const ObjectTable::Entry& entry, NQDataKind kind);

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "server/Amf3Marker.h"
#include "shared_nqserver/NQDataArray.h"

/// What later script values may refer to, in the order in which it came: objects and arrays of both formats, and what
/// else AMF3 counts among its objects (1.3, 3.8 and on).
class ObjectTable {
 public:
  /// Of what AMF0 brought: the marker of AMF3 strings, which are not counted here.
  static constexpr Amf3Marker kAMF0 = Amf3Marker::kString;

  struct Entry {
    /// Over the array of what has members; else the date, XML or byte array itself, undefined while writing.
    NQDataValue value;
    /// The AMF3 marker that brought it, or kAMF0. Stands here and not with the array, which may go to several
    /// serializers in several forms.
    Amf3Marker objectKind = kAMF0;
    /// Its members are being read or written.
    bool isOpen = false;
  };

  /// Opens an entry for a scope. The table is not cleared meanwhile.
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

  std::size_t nextObjectIndex() const { return entries_.size(); }
  /// How many entries are open, one in another.
  std::size_t openCount() const { return openCount_; }
  void enter(NQDataValue value, Amf3Marker objectKind);
  void clear() { entries_.clear(); }

  /// Null past the end. A view, until the next entry.
  const Entry* at(std::size_t index) const { return index < entries_.size() ? &entries_[index] : nullptr; }
  /// Where this very array stands: as what AMF3 brought by `objectKind`, or as anything. Looks at all entries.
  std::optional<std::uint32_t> find(const NQDataArray* array, std::optional<Amf3Marker> objectKind) const;

 private:
  /// A deque, which takes no more than it holds while it grows.
  std::deque<Entry> entries_;
  std::size_t openCount_ = 0;
};

/// A value of a container kind over the array of an entry; a back reference where the entry is open, as the value then
/// goes into that array.
NQDataValue referenceTo(const ObjectTable::Entry& entry, NQDataKind kind);

#pragma once

#include <cstddef>
#include <istream>
#include <ostream>

#include "fragmentation/AfraIndex.h"
#include "util/QVSException.h"
#include "util/bytes.h"

namespace ruvo::k2r {

/// A box of another type or version than an index's.
class InvalidAfraFormat : public qvs::QVSException {
 public:
  InvalidAfraFormat() : QVSException("Could not parse afra index") {}
};

/// Reads a whole `afra` box from the stream's position into `index`, which is a default one: the lists are appended to.
/// The counts decide how much is read: the box size does not bound it, and what follows the last entry stays unread.
/// Flags are ignored. Takes no memory for a count before its entries have come, so a false count costs nothing. Throws
/// InvalidAfraFormat for another type or version, and std::ios_base::failure if the input ends early; `index` then has
/// what was read so far and is of no use.
void readAfra(std::istream& in, AfraIndex& index);

/// Appends the whole box (the layout is at AfraIndex). A number too large for a narrow field is cut to its low bits;
/// the recorder's own indexes have wide fields only. Throws std::out_of_range from 2^32 entries of a kind on; `out`
/// then ends in part of a box.
void appendAfra(qvs::util::ByteWriter& out, const AfraIndex& index);

// The box in two parts, for a writer that adds entries to a file. One after the other they are the whole box.

/// Bytes in front of the first global entry, if there is one.
std::size_t afraHeadSize(const AfraIndex& index);
/// Bytes of a global entry.
std::size_t afraEntrySize(const AfraIndex& index);
/// Appends everything up to the first global entry. The box size is that of the whole box.
void appendAfraHead(qvs::util::ByteWriter& out, const AfraIndex& index);
/// Appends the global entries after the first `skipped` ones.
void appendAfraEntries(qvs::util::ByteWriter& out, const AfraIndex& index, std::size_t skipped);

/// The whole box to a stream, in one write. Also throws std::ios_base::failure if the stream takes less.
void writeAfra(std::ostream& out, const AfraIndex& index);

}  // namespace ruvo::k2r

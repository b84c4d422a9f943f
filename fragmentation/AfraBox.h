#pragma once

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

/// Reads a whole `afra` box from the stream's position into `index`, a default one; its lists are appended to. Goes by
/// the counts: the box size does not bound the read, and what follows the last entry stays unread. Throws
/// InvalidAfraFormat, and std::ios_base::failure where the input ends early.
void readAfra(std::istream& in, AfraIndex& index);

/// Appends the whole box. A number that a narrow field cannot hold is cut to its low bits. Throws std::out_of_range
/// from 2^32 entries on; `out` then ends in part of a box.
void appendAfra(qvs::util::ByteWriter& out, const AfraIndex& index);

/// The same to a stream, in one write. Throws std::ios_base::failure, too, where the stream takes less.
void writeAfra(std::ostream& out, const AfraIndex& index);

}  // namespace ruvo::k2r

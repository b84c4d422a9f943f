#pragma once

#include <istream>

#include "fragmentation/BootstrapInfo.h"
#include "util/QVSException.h"

namespace ruvo::k2r {

/// A box of another type or version than a bootstrap's.
class InvalidBootstrapFormat : public qvs::QVSException {
 public:
  InvalidBootstrapFormat() : QVSException("Could not parse bootstrap info") {}
};

/// Reads a whole `abst` box from the stream's position into `info`, which is a default one: tables and lists are
/// appended to. The counts decide how much is read: the box size does not bound it, and what follows the last table
/// stays unread. Flags of `abst` and versions of `asrt` and `afrt` are ignored. Throws InvalidBootstrapFormat for
/// another type of a box or version of `abst`, and std::ios_base::failure if the input ends early; `info` then has what
/// was read so far. The stream's exception mask is restored.
void readBootstrap(std::istream& in, BootstrapInfo& info);

}  // namespace ruvo::k2r

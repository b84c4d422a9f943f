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

/// Reads a whole `abst` box from the stream's position into `info`, a default one; its tables and lists are appended
/// to. Goes by the counts: the box size does not bound the read, and what follows the last table stays unread. Throws
/// InvalidBootstrapFormat, and std::ios_base::failure where the input ends early.
void readBootstrap(std::istream& in, BootstrapInfo& info);

}  // namespace ruvo::k2r

#pragma once

#include "imo/IMOStreamAdaptor.h"

namespace test {

/// The entry of the built module, loaded as a host loads it. Throws std::runtime_error with the loader's words.
IMOCreateAdaptorFunction loadModule();

}  // namespace test

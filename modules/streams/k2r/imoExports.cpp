// Emits and exports what belongs to the interface classes that module and host share: constructors, virtual tables and
// type information, for hosts and modules that link against them. This file is compiled without optimisation, which
// would inline all of it.

#include "imo/imo.h"

namespace qvs::k2r {

template <typename Interface>
class Emitted : public Interface {
 protected:
  Emitted() {}  // Not defaulted: an explicit instantiation emits only what is user-provided.
  ~Emitted() = default;
};

template class Emitted<IMOFileContext>;
template class Emitted<IMOStreamContext>;
template class Emitted<IMOStreamOpenContext>;
template class Emitted<IMOStreamAdaptor>;
template class Emitted<IContextHolder>;
template class Emitted<IAllContextHolder>;
template class Emitted<ISegmentHolder>;
template class Emitted<IMOServerContext>;
template class Emitted<IQvsServerContext>;
template class Emitted<IMOFlowContext>;
template class Emitted<IMOCodecAdaptor>;

// The class that is not abstract has no instantiation above: taking the addresses of calls emits its operations.
[[gnu::used]] static constexpr void (*kSetters[])(QvsVariant&) = {[](QvsVariant& v) { v.setU8(0); },
                                                                  [](QvsVariant& v) { v.setU16(0); },
                                                                  [](QvsVariant& v) { v.setU32(0); },
                                                                  [](QvsVariant& v) { v.setI8(0); },
                                                                  [](QvsVariant& v) { v.setI16(0); },
                                                                  [](QvsVariant& v) { v.setI32(0); },
                                                                  [](QvsVariant& v) { v.setI64(0); },
                                                                  [](QvsVariant& v) { v.setFloat(0); },
                                                                  [](QvsVariant& v) { v.setDouble(0); },
                                                                  [](QvsVariant& v) { v.setString(nullptr); },
                                                                  [](QvsVariant& v) { v.setBuffer(nullptr, 0); }};

}  // namespace qvs::k2r

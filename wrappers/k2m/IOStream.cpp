#include "wrappers/k2m/IOStream.h"

#include "platform/container/krvo_k2m.h"
#include "util/libraryEntry.h"

namespace krvo::k2m {
namespace {

/// Runs an operation for the library and returns the status for its result. No exception may reach the
/// library, whose frames have C linkage. The classes are tried from the special to the general: an Exception keeps its
/// number.
template <typename Operation>
KrvoStatus statusOf(const Operation& operation) noexcept {
  constexpr auto kStatuses = qvs::util::memoryOrOther(kKrvoOutOfMemory, kKrvoForeignException, kKrvoUnknown);
  return qvs::util::guarded(kStatuses, operation);
}

IOStream& stream(void* context) {
  return *static_cast<IOStream*>(context);
}

}  // namespace

KrvoK2MIOStreamCallBacks makeCallBacks(IOStream& target) {
  // The lambdas capture nothing themselves, so that they convert to the function pointers of the record.
  KrvoK2MIOStreamCallBacks table{};
  table.size = sizeof(table);
  table.context = &target;
  table.addReference = [](void* context) { return statusOf([=] { stream(context).addReference(); }); };
  table.release = [](void* context) { return statusOf([=] { stream(context).release(); }); };
  table.open = [](void* context) { return statusOf([=] { stream(context).open(); }); };
  table.close = [](void* context) { return statusOf([=] { stream(context).close(); }); };
  table.read = [](void* context, void* buffer, std::uint64_t count, std::uint64_t* done) {
    return statusOf([=] { *done = stream(context).read(buffer, count); });
  };
  table.seek = [](void* context, std::int64_t offset, std::uint32_t mode) {
    return statusOf([=] { stream(context).seek(offset, mode); });
  };
  table.tell = [](void* context, std::uint64_t* position) {
    return statusOf([=] { *position = stream(context).tell(); });
  };
  table.write = [](void* context, const void* buffer, std::uint64_t count, std::uint64_t* done) {
    return statusOf([=] { *done = stream(context).write(buffer, count); });
  };
  table.flush = [](void* context) { return statusOf([=] { stream(context).flush(); }); };
  return table;
}

KrvoK2MWarningHandlerCallBacks makeCallBacks(WarningHandler& handler) {
  KrvoK2MWarningHandlerCallBacks table{};
  table.size = sizeof(table);
  table.context = &handler;
  table.warning = [](void* context, std::uint32_t code, std::uint32_t* reply) {
    return statusOf([=] { *reply = static_cast<WarningHandler*>(context)->warning(code); });
  };
  return table;
}

}  // namespace krvo::k2m

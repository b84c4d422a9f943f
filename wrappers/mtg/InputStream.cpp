#include "wrappers/mtg/InputStream.h"

#include "platform/tagstream/krvo_mtg.h"
#include "wrappers/mtg/statusOf.h"

namespace mtg {
namespace {

InputStream& stream(void* context) {
  return *static_cast<InputStream*>(context);
}

}  // namespace

void InputStream::fill(KrvoMTGInputStreamCallBacks& table) {
  // The lambdas capture nothing themselves, so that they convert to the function pointers of the record.
  table.size = sizeof(table);
  table.context = this;
  table.addReference = [](void* context) { return statusOf([=] { stream(context).addReference(); }); };
  table.release = [](void* context) { return statusOf([=] { stream(context).release(); }); };
  table.read = [](void* context, void* buffer, std::uint32_t count, std::uint32_t* done) {
    return statusOf([=] { *done = stream(context).read(buffer, count); });
  };
  table.seek = [](void* context, std::int64_t offset, std::uint32_t mode) {
    return statusOf([=] { stream(context).seek(offset, mode); });
  };
  table.tell = [](void* context, std::int64_t* position) {
    return statusOf([=] { *position = stream(context).tell(); });
  };
  table.open = [](void* context) { return statusOf([=] { stream(context).open(); }); };
  table.close = [](void* context) { return statusOf([=] { stream(context).close(); }); };
}

}  // namespace mtg

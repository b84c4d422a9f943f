#include "wrappers/mtg/InputStream.h"

#include "platform/tagstream/krvo_mtg.h"
#include "wrappers/mtg/answer.h"

namespace mtg {
namespace {

InputStream& stream(void* context) {
  return *static_cast<InputStream*>(context);
}

}  // namespace

void InputStream::fill(KrvoMTGInputStreamCallBacks& table) {
  table.size = sizeof(table);
  table.context = this;
  table.addReference = [](void* context) { return answer([=] { stream(context).addReference(); }); };
  table.release = [](void* context) { return answer([=] { stream(context).release(); }); };
  table.read = [](void* context, void* buffer, std::uint32_t count, std::uint32_t* done) {
    return answer([=] { *done = stream(context).read(buffer, count); });
  };
  table.seek = [](void* context, std::int64_t offset, std::uint32_t mode) {
    return answer([=] { stream(context).seek(offset, mode); });
  };
  table.tell = [](void* context, std::int64_t* position) {
    return answer([=] { *position = stream(context).tell(); });
  };
  table.open = [](void* context) { return answer([=] { stream(context).open(); }); };
  table.close = [](void* context) { return answer([=] { stream(context).close(); }); };
}

}  // namespace mtg

#include "host/input/openInput.h"

#include <utility>

#include "host/errors.h"
#include "host/input/AvInput.h"
#include "host/input/TagStream.h"

namespace host {

std::unique_ptr<Input> openInput(const std::string& name, const std::vector<std::string>& maps, Log& log,
                                 const StopSignal& stop) {
  const bool standardInput = name == "-";
  if (!standardInput && !isTagStream(name)) return std::make_unique<AvInput>(name, maps, log, stop);
  if (!maps.empty()) throw UsageError("--map chooses streams of a media file; of a tag stream every tag is recorded");
  auto file = standardInput ? std::make_unique<FileInput>(stop) : std::make_unique<FileInput>(name, stop);
  return std::make_unique<TagStream>(std::move(file));
}

}  // namespace host

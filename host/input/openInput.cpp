#include "host/input/openInput.h"

#include <utility>

#include "host/errors.h"
#include "host/input/AvInput.h"
#include "host/input/RetimedTags.h"
#include "host/input/TagStream.h"

namespace host {

namespace {

std::unique_ptr<Input> openTagStream(const std::string& name, const InputOptions& options, Log& log,
                                     const StopSignal& stop) {
  if (!options.maps.empty()) {
    throw UsageError("--map chooses streams of a media file; of a tag stream every tag is recorded");
  }
  if (!options.avOptions.empty()) throw UsageError("--input-option is for libavformat, which reads no tag stream");
  auto file = name == "-" ? std::make_unique<FileInput>(stop) : std::make_unique<FileInput>(name, stop);
  if (options.stallTimeout) file->giveUpAfter(*options.stallTimeout);
  return std::make_unique<RetimedTags>(std::make_unique<TagStream>(std::move(file)), options, log);
}

std::unique_ptr<Input> openMedia(const std::string& name, const InputOptions& options, Log& log,
                                 const StopSignal& stop) {
  if (options.keepTimes) throw UsageError("--keep-times is for tag streams; the times of other inputs are made");
  return std::make_unique<AvInput>(name, options, log, stop);
}

}  // namespace

std::unique_ptr<Input> openSource(const std::string& name, const InputOptions& options, Log& log,
                                  const StopSignal& stop) {
  const bool isTags = name == "-" || isTagStream(name);
  return (isTags ? openTagStream : openMedia)(name, options, log, stop);
}

std::unique_ptr<CodecChanges> openInput(const std::string& name, const InputOptions& options, Log& log,
                                        const StopSignal& stop) {
  return std::make_unique<CodecChanges>(openSource(name, options, log, stop), options.keepTimes);
}

}  // namespace host

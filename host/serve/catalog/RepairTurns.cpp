#include "host/serve/catalog/RepairTurns.h"

namespace host::serve {

bool RepairTurns::repairOnce(const RecordingPlace& recording, const std::function<bool()>& repair) {
  const std::string path = recording.folder() + "/" + recording.name;
  {
    std::unique_lock lock(mutex_);
    if (finished_.contains(path)) return false;
    if (!underWay_.insert(path).second) {
      ended_.wait(lock, [&] { return !underWay_.contains(path); });
      return false;
    }
  }
  const bool isFinished = repair();
  const std::scoped_lock lock(mutex_);
  underWay_.erase(path);
  if (isFinished) finished_.insert(path);
  ended_.notify_all();
  return isFinished;
}

}  // namespace host::serve

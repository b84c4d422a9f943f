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
  bool isFinished = false;
  try {
    isFinished = repair();
  } catch (...) {
    end(path, false);  // Or those who wait would wait for ever.
    throw;
  }
  end(path, isFinished);
  return isFinished;
}

void RepairTurns::end(const std::string& path, bool isFinished) {
  const std::scoped_lock lock(mutex_);
  underWay_.erase(path);
  if (isFinished) finished_.insert(path);
  ended_.notify_all();
}

}  // namespace host::serve

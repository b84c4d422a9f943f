#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/inspect/RecordingOverview.h"
#include "host/output.h"

namespace host {

/// What cannot be read, a line each: file, place and reason, for the user.
using InspectErrors = std::vector<std::string>;

/// How much of a recording's directory is described. A single file always has its fields.
enum class Detail {
  kSummary,
  /// The fields of all files, too, which reads every fragment and tag.
  kFields,
};

struct Description {
  Json document;
  /// Only of a recording's directory; also the member `summary` of `document`.
  std::optional<RecordingOverview> overview;
};

/// Describes a recording's directory; or a file of a recording or a tag stream, recognised by its content, or a control
/// file by its name or size. What cannot be read is under `error` in the document, and in `errors`; if there is nothing
/// at `path`, that is all. Takes no lock and changes nothing.
Description describePath(const std::string& path, Detail detail, InspectErrors& errors);

}  // namespace host

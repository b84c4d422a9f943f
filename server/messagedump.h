#pragma once

#include <string>

#include "shared_nqserver/nqmessage.h"

/// A message on one line, for diagnostics: " kMsgVideo idByte=9 streamId=1 time=40 kVideoCodecH264", time in
/// milliseconds. Control messages, audio, commands and AMF0 data have their content after these fields. If the content
/// of a command is malformed, the line ends in "BAD_PARSE" after what could be read, and the parse log is written.
/// Arguments after NQCommand::kMaxText bytes are "...". Throws std::bad_alloc only.
std::string dumpMessage(const qvs::SingleMessagePtr& message);

#pragma once

#include <string>

#include "shared_nqserver/nqmessage.h"

/// What a message is, on one line, for diagnostics: " kMsgVideo idByte=9 streamId=1 time=40 kVideoCodecH264". Control
/// messages, audio, commands and AMF0 data have their content behind these fields; of a payload that is no command the
/// line has as much as could be read, and then "BAD_PARSE". Ends in "..." where a command is longer than
/// NQCommand::kMaxText.
std::string dumpMessage(const qvs::SingleMessagePtr& message);

#pragma once

// Everything that a host compiles against. The host loads the module with dlopen(), asks dlsym() for
// "IMOCreateAdaptor", and gives it an IMOStreamContext; the adaptor that it gets records any number of streams.
// docs/hosting.md says how, examples/minimalHost.cpp is a host in one file.

#include "imo/IMOFileContext.h"
#include "imo/IMOStreamAdaptor.h"
#include "imo/IMOStreamContext.h"
#include "imo/IMOStreamOpenContext.h"
#include "imo/QvsVariant.h"
#include "imo/holders.h"
#include "imo/serverContexts.h"
#include "imo/types.h"

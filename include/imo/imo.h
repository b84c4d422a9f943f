#pragma once

// Everything that a host compiles against.

#include "imo/IMOFileContext.h"
#include "imo/IMOStreamAdaptor.h"
#include "imo/IMOStreamContext.h"
#include "imo/IMOStreamOpenContext.h"
#include "imo/QvsVariant.h"
#include "imo/holders.h"
#include "imo/serverContexts.h"
#include "imo/types.h"

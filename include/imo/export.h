#pragma once

/// On what host and module share: visible from outside of a shared library whatever its default is.
#define IMO_API __attribute__((visibility("default")))

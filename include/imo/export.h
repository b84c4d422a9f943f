#pragma once

/// For declarations that host and module share: visible outside of a shared library, whatever its default is.
#define IMO_API __attribute__((visibility("default")))

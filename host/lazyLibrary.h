#pragma once

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstddef>
#include <tuple>

#include "host/errors.h"

// For sources that define the functions of a shared library, as the library's own header declares them: each loads the
// library with its first call and passes everything on. The program then starts without it, and without all that it
// brings. Any thread may call such a function.
//
//     namespace host { namespace { void* codec() { static void* const loaded = loadLibrary("lib.so.1"); ... } } }
//     extern "C" { LAZY_2(codec, name_of_a_function_with_two_arguments) }

namespace host {

/// Loads a library, which stays until the process ends. Bound lazily, as in a program that links it: a command calls
/// few of its functions. Throws CommandError.
inline void* loadLibrary(const char* name) {
  void* const library = ::dlopen(name, RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) throw CommandError(fmt::format("a library is missing: {}", ::dlerror()));
  return library;
}

/// Throws CommandError.
template <typename Function>
Function* findFunction(void* library, const char* name) {
  void* const address = ::dlsym(library, name);
  if (address == nullptr) throw CommandError(fmt::format("a library is too old: {}", ::dlerror()));
  return reinterpret_cast<Function*>(address);
}

template <typename Function>
struct Signature;
template <typename R, typename... Arguments>
struct Signature<R(Arguments...)> {
  using Result = R;
  template <std::size_t kIndex>
  using Argument = std::tuple_element_t<kIndex, std::tuple<Arguments...>>;
};

}  // namespace host

// Some functions are declared with attributes, which do not belong to a type. No harm: only callers need them.
#pragma GCC diagnostic ignored "-Wignored-attributes"

// The header of each library declares its functions, so the compiler checks what is defined here. `library` is a
// function in namespace host that returns the handle.
#define RESULT(name) host::Signature<decltype(name)>::Result
#define ARGUMENT(name, index) host::Signature<decltype(name)>::Argument<index>
#define PASS_ON(library, name, ...)                                                         \
  static auto* const function = host::findFunction<decltype(name)>(host::library(), #name); \
  return function(__VA_ARGS__);
#define LAZY_0(library, name) \
  RESULT(name) name() {       \
    PASS_ON(library, name)    \
  }
#define LAZY_1(library, name)              \
  RESULT(name) name(ARGUMENT(name, 0) a) { \
    PASS_ON(library, name, a)              \
  }
#define LAZY_2(library, name)                                   \
  RESULT(name) name(ARGUMENT(name, 0) a, ARGUMENT(name, 1) b) { \
    PASS_ON(library, name, a, b)                                \
  }
#define LAZY_3(library, name)                                                        \
  RESULT(name) name(ARGUMENT(name, 0) a, ARGUMENT(name, 1) b, ARGUMENT(name, 2) c) { \
    PASS_ON(library, name, a, b, c)                                                  \
  }
#define LAZY_4(library, name)                                                                             \
  RESULT(name) name(ARGUMENT(name, 0) a, ARGUMENT(name, 1) b, ARGUMENT(name, 2) c, ARGUMENT(name, 3) d) { \
    PASS_ON(library, name, a, b, c, d)                                                                    \
  }

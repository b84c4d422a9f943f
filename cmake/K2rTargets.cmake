# One way to declare the targets of this tree: a static library per folder, built from every source in it.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# GNUInstallDirs uses the folder of the architecture for the prefix /usr only; ours is the same for every prefix, since the
# way from the program to the module is compiled in.
if(CMAKE_LIBRARY_ARCHITECTURE)
  set(K2R_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE})
else()
  set(K2R_LIBDIR ${CMAKE_INSTALL_LIBDIR})
endif()

# The host finds its module beside itself, in whichever folder the build is.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wconversion
                    -Wsign-conversion -Wcast-align -Wimplicit-fallthrough -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 takes the inlined growth of a std::vector<std::byte> for an overflow, and an empty std::optional for a number
  # that is read; the sanitizers and clang watch over these instead.
  add_compile_options(-Wno-stringop-overflow -Wno-array-bounds -Wno-restrict -Wno-stringop-overread
                      -Wno-maybe-uninitialized)
endif()

# What makes a fault in a reader of foreign bytes harder to use. Sanitizers bring their own checks.
add_compile_options($<$<CONFIG:Release>:-fstack-protector-strong> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=3>)
add_link_options($<$<CONFIG:Release>:LINKER:-z,relro,-z,now>)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  # Marked for shadow stacks alone: the C library's start files have no landing pads for indirect branches, ours do.
  add_compile_options($<$<CONFIG:Release>:-fcf-protection=full>)
  add_link_options($<$<CONFIG:Release>:LINKER:-z,shstk>)
endif()

# What nearly every source includes, compiled once: three quarters of a build are spent in the front end. Sources include
# what they use all the same; scripts/lint.sh compiles them without this.
set(K2R_STANDARD_HEADERS <algorithm> <array> <cstddef> <cstdint> <cstring> <functional> <limits> <map> <memory> <optional>
                         <span> <sstream> <stdexcept> <string> <string_view> <utility> <vector>)
add_library(k2r_precompiled OBJECT ${CMAKE_CURRENT_LIST_DIR}/precompiled.cpp)
target_precompile_headers(k2r_precompiled PRIVATE ${K2R_STANDARD_HEADERS})

# k2r_library(NAME LINKS...): the static library of the current folder, from all *.cpp below it, tests excepted.
function(k2r_library name)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  add_library(${name} STATIC ${sources})
  set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARGN})
  target_precompile_headers(${name} REUSE_FROM k2r_precompiled)
endfunction()

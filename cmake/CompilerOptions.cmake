# Everything that decides how sources are compiled: language, warnings, sanitizers, compiler cache.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_SCAN_FOR_MODULES OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# The three products stand side by side in the build folder, where clients look for them.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Release, Debug or RelWithDebInfo" FORCE)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

find_program(CORVETH_CCACHE ccache)
if(CORVETH_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # A precompiled header carries times and macros that the cache would otherwise take for differences.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CORVETH_CCACHE})
endif()

set(CORVETH_SANITIZE "" CACHE STRING "Sanitizers to build with, for instance address,undefined or thread")
option(CORVETH_PRECOMPILED_HEADERS "Precompile the headers that most sources include" ON)

add_library(corveth_options INTERFACE)
target_include_directories(corveth_options INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_compile_options(corveth_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Werror
  $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>)
if(CORVETH_SANITIZE)
  target_compile_options(corveth_options INTERFACE
    -fsanitize=${CORVETH_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(corveth_options INTERFACE -fsanitize=${CORVETH_SANITIZE})
endif()

function(corveth_precompile target)
  if(CORVETH_PRECOMPILED_HEADERS)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()

# corveth_export_only(TARGET MAP): nothing leaves the library but what the version script names.
function(corveth_export_only target map)
  target_link_options(${target} PRIVATE LINKER:--version-script,${map})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
endfunction()

# What every target is compiled with: warnings as errors, hardening, the sanitizers of the preset.
set(VELMORA_SANITIZERS "" CACHE STRING "Comma-separated sanitizers, as -fsanitize takes them")

add_library(velmora_build_options INTERFACE)
target_include_directories(velmora_build_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(velmora_build_options INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor
  -Wold-style-cast -Wcast-qual -Wformat=2 -Wundef -fstack-protector-strong)
if(NOT APPLE)
  target_link_options(velmora_build_options INTERFACE -Wl,-z,relro,-z,now)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  # A fifth of clang-tidy's time, were it to look for them.
  target_compile_options(velmora_build_options INTERFACE
    -Wreserved-identifier -Wreserved-macro-identifier)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # g++ 12 sees overlaps and overruns in std::string's own concatenation: GCC bug 105651.
  set(mistaken -Wno-restrict -Wno-array-bounds -Wno-stringop-overflow)
  target_compile_options(velmora_build_options INTERFACE ${mistaken})
  target_link_options(velmora_build_options INTERFACE ${mistaken})
endif()

if(VELMORA_SANITIZERS)
  target_compile_options(velmora_build_options INTERFACE
    -fsanitize=${VELMORA_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # This check looks at memory through a pipe, and complains about every object where a test has
  # used up the descriptors.
  target_compile_options(velmora_build_options INTERFACE -fno-sanitize=vptr)
  target_link_options(velmora_build_options INTERFACE -fsanitize=${VELMORA_SANITIZERS})
elseif(CMAKE_BUILD_TYPE STREQUAL "Release")
  target_compile_definitions(velmora_build_options INTERFACE _FORTIFY_SOURCE=2)
endif()

find_package(Threads REQUIRED)
target_link_libraries(velmora_build_options INTERFACE Threads::Threads)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Most of the time in which a file is compiled, the standard library's headers are read. Off in the
# presets in which a forgotten #include has to show: tidy, and darwin-cross for the other library.
option(VELMORA_PRECOMPILED_HEADERS "Read the most used headers once for all files" OFF)

# Gives TARGET the headers that OWNER, the first of its kind, precompiles: these, and what follows.
function(velmora_precompile target owner)
  if(NOT VELMORA_PRECOMPILED_HEADERS)
    return()
  elseif(NOT target STREQUAL owner)
    target_precompile_headers(${target} REUSE_FROM ${owner})
    # No target has precompiled them for another language.
    get_target_property(sources ${target} SOURCES)
    list(FILTER sources INCLUDE REGEX "\\.mm$")
    set_source_files_properties(${sources} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
  else()
    target_precompile_headers(${target} PRIVATE <algorithm> <array> <chrono> <condition_variable>
      <filesystem> <functional> <memory> <mutex> <optional> <string> <string_view>
      <system_error> <thread> <utility> <variant> <vector> ${ARGN})
  endif()
endfunction()

# One library per room: velmora_room(NAME [FILES…] LINKS LIBRARIES…).
function(velmora_room name)
  cmake_parse_arguments(ROOM "" "" "FILES;LINKS" ${ARGN})
  add_library(velmora_${name} STATIC ${ROOM_FILES})
  target_link_libraries(velmora_${name} PUBLIC ${ROOM_LINKS} PRIVATE velmora_build_options)
  velmora_precompile(velmora_${name} velmora_portable)
endfunction()

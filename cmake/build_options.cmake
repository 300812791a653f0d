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
  # g++ 12 sees overlaps in std::string's own concatenation: GCC bug 105651.
  target_compile_options(velmora_build_options INTERFACE -Wno-restrict)
endif()

if(VELMORA_SANITIZERS)
  target_compile_options(velmora_build_options INTERFACE
    -fsanitize=${VELMORA_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # This check looks at memory through a pipe, and complains about every object where a test has
  # used up the descriptors.
  target_compile_options(velmora_build_options INTERFACE -fno-sanitize=vptr)
  target_link_options(velmora_build_options INTERFACE -fsanitize=${VELMORA_SANITIZERS})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Instrumented, the standard library's own regular expressions look uninitialized to g++.
    target_compile_options(velmora_build_options INTERFACE -Wno-maybe-uninitialized)
  endif()
elseif(CMAKE_BUILD_TYPE STREQUAL "Release")
  target_compile_definitions(velmora_build_options INTERFACE _FORTIFY_SOURCE=2)
endif()

find_package(Threads REQUIRED)
target_link_libraries(velmora_build_options INTERFACE Threads::Threads)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# One library per room: velmora_room(NAME [FILES…] LINKS LIBRARIES…).
function(velmora_room name)
  cmake_parse_arguments(ROOM "" "" "FILES;LINKS" ${ARGN})
  add_library(velmora_${name} STATIC ${ROOM_FILES})
  target_link_libraries(velmora_${name} PUBLIC ${ROOM_LINKS} PRIVATE velmora_build_options)
endfunction()

# Compiles and links for macOS on a Debian machine, with what scripts/darwin-sdk has put together.
# A check of names and formats: no product is built this way. Without chains of fixups, every pointer
# of the linked file can be followed as it stands.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 24)

if(NOT VELMORA_DARWIN_ARCHITECTURE)
  set(VELMORA_DARWIN_ARCHITECTURE arm64)
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELMORA_DARWIN_ARCHITECTURE)
get_filename_component(project ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
set(sdk ${project}/build/darwin-sdk)
set(llvm /usr/lib/llvm-19)
if(NOT EXISTS ${sdk}/complete)
  message(FATAL_ERROR "Run scripts/darwin-sdk first.")
endif()

set(CMAKE_SYSTEM_PROCESSOR ${VELMORA_DARWIN_ARCHITECTURE})
set(CMAKE_OSX_ARCHITECTURES "" CACHE STRING "")
set(CMAKE_OSX_SYSROOT "" CACHE STRING "")
set(CMAKE_OSX_DEPLOYMENT_TARGET "" CACHE STRING "")
foreach(language CXX OBJCXX)
  set(CMAKE_${language}_COMPILER ${llvm}/bin/clang++)
  set(CMAKE_${language}_COMPILER_TARGET ${VELMORA_DARWIN_ARCHITECTURE}-apple-macos15)
  string(JOIN " " CMAKE_${language}_FLAGS_INIT
    -fblocks -nostdinc -nostdinc++
    "-isystem ${CMAKE_CURRENT_LIST_DIR}/stub"
    "-isystem ${sdk}/libcxx"
    "-isystem ${llvm}/include/c++/v1"
    "-isystem ${llvm}/lib/clang/19/include"
    "-isystem ${sdk}/include")
endforeach()
set(CMAKE_AR ${llvm}/bin/llvm-ar CACHE FILEPATH "")
set(CMAKE_RANLIB ${llvm}/bin/llvm-ranlib CACHE FILEPATH "")
set(CMAKE_INSTALL_NAME_TOOL ${llvm}/bin/llvm-install-name-tool CACHE FILEPATH "")
string(JOIN " " CMAKE_EXE_LINKER_FLAGS_INIT
  -B${llvm}/bin -fuse-ld=lld -mlinker-version=711 -nostdlib -Wl,-adhoc_codesign
  -Wl,-fatal_warnings -Wl,-no_fixup_chains -F${sdk}/frameworks -L${sdk}/lib -lc++ -lSystem -lobjc)

set(nlohmann_json_DIR ${CMAKE_CURRENT_LIST_DIR}/nlohmann_json)
set(CMAKE_FIND_ROOT_PATH ${sdk})
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

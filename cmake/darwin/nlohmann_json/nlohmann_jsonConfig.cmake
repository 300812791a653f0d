# Debian's package, by its headers alone: in its own folder lie those of another system.
if(NOT TARGET nlohmann_json::nlohmann_json)
  add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
  target_include_directories(nlohmann_json::nlohmann_json SYSTEM INTERFACE
    ${CMAKE_CURRENT_LIST_DIR}/../../../build/darwin-sdk/headers)
endif()

include(/usr/share/cmake/nlohmann_json/nlohmann_jsonConfigVersion.cmake)
set(PACKAGE_VERSION_UNSUITABLE FALSE)  # it asks for 64 bits before they are known

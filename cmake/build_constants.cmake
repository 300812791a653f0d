# The names fixed at build time. A wrong one would protect nothing without saying so, hence the
# checks here, before anything is compiled. Nothing here needs a project: cmake -P runs it as well.
set(CLIENT_BUNDLE_IDENTIFIER "com.velmora.app" CACHE STRING
  "Bundle identifier of the client application")
set(VENDOR_LABEL_PREFIX "com.velmora." CACHE STRING
  "Prefix of the vendor's own launchd labels, lower-case, ending with a full stop")
set(CODE_SIGNING_ANCHORS "/etc/velmora/code-signing-anchors.pem" CACHE STRING
  "PEM file of the certificates that a code signature's chain may end in (Linux)")

if(NOT CLIENT_BUNDLE_IDENTIFIER MATCHES "^[A-Za-z0-9.-]+$")
  message(FATAL_ERROR "CLIENT_BUNDLE_IDENTIFIER \"${CLIENT_BUNDLE_IDENTIFIER}\" may hold only "
    "letters, digits, full stops and hyphens.")
endif()
if(VENDOR_LABEL_PREFIX MATCHES "[A-Z]" OR NOT VENDOR_LABEL_PREFIX MATCHES "\\.$")
  message(FATAL_ERROR "VENDOR_LABEL_PREFIX \"${VENDOR_LABEL_PREFIX}\" must be lower-case and end "
    "with a full stop; otherwise it would protect no label.")
endif()
if(NOT VENDOR_LABEL_PREFIX MATCHES "^([a-z_][a-z0-9_]*\\.)+$")
  message(FATAL_ERROR "VENDOR_LABEL_PREFIX \"${VENDOR_LABEL_PREFIX}\" cannot begin a D-Bus "
    "interface name: elements of letters, digits and underscores, none beginning with a digit.")
endif()
string(LENGTH "${VENDOR_LABEL_PREFIX}VelmoraMaintenanceHelperXPC" interface_length)
if(interface_length GREATER 255)
  message(FATAL_ERROR "VENDOR_LABEL_PREFIX is too long for a D-Bus interface name.")
endif()
if(NOT CODE_SIGNING_ANCHORS MATCHES "^/[^\"\\\\]+$")
  message(FATAL_ERROR "CODE_SIGNING_ANCHORS \"${CODE_SIGNING_ANCHORS}\" must be an absolute path.")
endif()

set(HELPER_SERVICE_NAME "${CLIENT_BUNDLE_IDENTIFIER}.maintenance-helper")
set(templates ${PROJECT_SOURCE_DIR})
set(generated ${PROJECT_BINARY_DIR}/generated)
configure_file(${templates}/protocol/build_constants.h.in
  ${generated}/protocol/build_constants.h @ONLY)
configure_file(${templates}/resources/Info.plist.in ${generated}/resources/Info.plist @ONLY)
file(READ ${generated}/resources/Info.plist INFORMATION_PROPERTY_LIST)
configure_file(${templates}/resources/information_property_list.cc.in
  ${generated}/resources/information_property_list.cc @ONLY)

# For the scripts, which are told the names rather than repeat them.
file(WRITE ${PROJECT_BINARY_DIR}/build_constants.env
"ClientBundleIdentifier='${CLIENT_BUNDLE_IDENTIFIER}'
HelperServiceName='${HELPER_SERVICE_NAME}'
VendorLabelPrefix='${VENDOR_LABEL_PREFIX}'
CodeSigningAnchors='${CODE_SIGNING_ANCHORS}'
")

# Values that a build may carry: client ids and an embedded model key. They reach the program as
# Info.json, never as compiled-in strings.
set(HALCYRA_BUILD_VALUES
  HalcyraEmbeddedLLMAPIKey
  HalcyraGoogleOAuthClientId HalcyraGoogleOAuthClientSecret
  HalcyraMicrosoftOAuthClientId
  HalcyraSalesforceOAuthClientId HalcyraSalesforceOAuthClientSecret)

set(members "")
foreach(key IN LISTS HALCYRA_BUILD_VALUES)
  set(${key} "" CACHE STRING "Build value ${key} of Info.json")
  string(REPLACE "\\" "\\\\" value "${${key}}")
  string(REPLACE "\"" "\\\"" value "${value}")
  list(APPEND members "  \"${key}\": \"${value}\"")
endforeach()
list(JOIN members ",\n" members)
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/Info.json CONTENT "{\n${members}\n}\n" @ONLY)

include(GNUInstallDirs)
target_compile_definitions(halcyra-cli PRIVATE
  HALCYRA_VERSION="${PROJECT_VERSION}"
  HALCYRA_INSTALLED_INFO="${CMAKE_INSTALL_FULL_DATADIR}/halcyra/Info.json")
install(FILES ${CMAKE_BINARY_DIR}/Info.json DESTINATION ${CMAKE_INSTALL_DATADIR}/halcyra)

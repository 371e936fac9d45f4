# Values that a build may carry: client ids and an embedded model key. They reach the program as
# Info.json, never as compiled-in strings.
# Cache variable, then its key in Info.json.
set(halcyra_build_values
  HALCYRA_EMBEDDED_LLM_API_KEY HalcyraEmbeddedLLMAPIKey
  HALCYRA_GOOGLE_OAUTH_CLIENT_ID HalcyraGoogleOAuthClientId
  HALCYRA_GOOGLE_OAUTH_CLIENT_SECRET HalcyraGoogleOAuthClientSecret
  HALCYRA_MICROSOFT_OAUTH_CLIENT_ID HalcyraMicrosoftOAuthClientId
  HALCYRA_SALESFORCE_OAUTH_CLIENT_ID HalcyraSalesforceOAuthClientId
  HALCYRA_SALESFORCE_OAUTH_CLIENT_SECRET HalcyraSalesforceOAuthClientSecret)

set(members "")
while(halcyra_build_values)
  list(POP_FRONT halcyra_build_values variable key)
  set(${variable} "" CACHE STRING "Build value ${key} of Info.json")
  string(REPLACE "\\" "\\\\" value "${${variable}}")
  string(REPLACE "\"" "\\\"" value "${value}")
  list(APPEND members "  \"${key}\": \"${value}\"")
endwhile()
list(JOIN members ",\n" members)
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/Info.json CONTENT "{\n${members}\n}\n" @ONLY)

include(GNUInstallDirs)
target_compile_definitions(halcyra-cli PRIVATE
  HALCYRA_VERSION="${PROJECT_VERSION}"
  HALCYRA_INSTALLED_INFO="${CMAKE_INSTALL_FULL_DATADIR}/halcyra/Info.json")
install(FILES ${CMAKE_BINARY_DIR}/Info.json DESTINATION ${CMAKE_INSTALL_DATADIR}/halcyra)

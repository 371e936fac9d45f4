# The libraries of the house, each behind one name. Headers are system headers: warnings as errors
# hold for our own code only.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(OpenSSL REQUIRED)
find_package(CURL REQUIRED)
pkg_check_modules(ICU REQUIRED icu-uc icu-i18n)
pkg_check_modules(SECRET REQUIRED IMPORTED_TARGET libsecret-1)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)

# What a program with HALCYRA_SELF_CONTAINED uses of ICU is part of it: to load ICU's libraries costs
# each start 2 ms and each process 4 MB. Tests, which are many, share the system's.
set(icu_archives "")
foreach(name i18n uc data)
  find_library(HALCYRA_ICU_${name} libicu${name}.a HINTS ${ICU_LIBRARY_DIRS} REQUIRED)
  list(APPEND icu_archives ${HALCYRA_ICU_${name}})
endforeach()
set(self_contained $<BOOL:$<TARGET_PROPERTY:HALCYRA_SELF_CONTAINED>>)
add_library(halcyra_icu INTERFACE)
target_include_directories(halcyra_icu SYSTEM INTERFACE ${ICU_INCLUDE_DIRS})
target_link_libraries(halcyra_icu INTERFACE
  "$<IF:${self_contained},${icu_archives},${ICU_LINK_LIBRARIES}>" Threads::Threads)
add_library(halcyra::icu ALIAS halcyra_icu)

add_library(halcyra_json INTERFACE)
target_link_libraries(halcyra_json INTERFACE nlohmann_json::nlohmann_json)
add_library(halcyra::json ALIAS halcyra_json)

# Asio's own code is compiled once, in platform/AsioImplementation.cpp.
add_library(halcyra_asio INTERFACE)
target_link_libraries(halcyra_asio INTERFACE Threads::Threads)
add_library(halcyra::asio ALIAS halcyra_asio)
add_compile_definitions(BOOST_ASIO_SEPARATE_COMPILATION BOOST_ASIO_NO_DEPRECATED)

add_library(halcyra_openssl INTERFACE)
target_link_libraries(halcyra_openssl INTERFACE OpenSSL::SSL OpenSSL::Crypto)
add_library(halcyra::openssl ALIAS halcyra_openssl)

# These are loaded at their first use (platform/linux/SharedLibrary.h): only their headers are needed.
add_library(halcyra_curl INTERFACE)
target_include_directories(halcyra_curl SYSTEM INTERFACE ${CURL_INCLUDE_DIRS})
target_link_libraries(halcyra_curl INTERFACE ${CMAKE_DL_LIBS})
add_library(halcyra::curl ALIAS halcyra_curl)

add_library(halcyra_secret INTERFACE)
target_include_directories(halcyra_secret SYSTEM INTERFACE ${SECRET_INCLUDE_DIRS})
target_link_libraries(halcyra_secret INTERFACE ${CMAKE_DL_LIBS})
add_library(halcyra::secret ALIAS halcyra_secret)

add_library(halcyra_systemd INTERFACE)
target_include_directories(halcyra_systemd SYSTEM INTERFACE ${SYSTEMD_INCLUDE_DIRS})
target_link_libraries(halcyra_systemd INTERFACE ${CMAKE_DL_LIBS})
add_library(halcyra::systemd ALIAS halcyra_systemd)

find_package(CLI11 REQUIRED)
add_library(halcyra_cli11 INTERFACE)
target_link_libraries(halcyra_cli11 INTERFACE CLI11::CLI11)
add_library(halcyra::cli11 ALIAS halcyra_cli11)

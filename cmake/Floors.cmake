# A floor is one folder under src/ and one static library. Code includes "folder/Header.h", and that
# path resolves only through the floor's own include root, a folder of the build tree that holds one
# link to the source folder. So an include of a floor that is not among DEPENDS does not compile.

# What stands where a library has no source of its own. Not written again, or each configuring would
# compile anew what is compiled with it.
if(NOT EXISTS ${CMAKE_BINARY_DIR}/empty.cpp)
  file(TOUCH ${CMAKE_BINARY_DIR}/empty.cpp)
endif()

# Heavy headers that most files need, compiled once.
set(halcyra_headers
  <algorithm> <chrono> <functional> <map> <memory> <optional> <span> <string> <string_view>
  <unordered_map> <variant> <vector>
  <nlohmann/json.hpp>
  <boost/asio/awaitable.hpp> <boost/asio/co_spawn.hpp> <boost/asio/io_context.hpp>
  <boost/asio/ip/tcp.hpp> <boost/asio/steady_timer.hpp> <boost/asio/use_awaitable.hpp>)
add_library(halcyra_pch STATIC ${CMAKE_BINARY_DIR}/empty.cpp)
target_link_libraries(halcyra_pch PRIVATE halcyra::json)
target_precompile_headers(halcyra_pch PRIVATE ${halcyra_headers})

function(halcyra_qualify out)
  set(result)
  foreach(name IN LISTS ARGN)
    if(NOT name MATCHES "::")
      set(name halcyra_${name})
    endif()
    list(APPEND result ${name})
  endforeach()
  set(${out} ${result} PARENT_SCOPE)
endfunction()

function(halcyra_compile target folder)
  target_precompile_headers(${target} REUSE_FROM halcyra_pch)
  # <folder>/X.h and, inside the folder, X.h.
  get_filename_component(top ${folder} DIRECTORY)
  set(root ${CMAKE_BINARY_DIR}/floors/${target})
  file(MAKE_DIRECTORY ${root}/${top})
  file(CREATE_LINK ${CMAKE_SOURCE_DIR}/src/${folder} ${root}/${folder} SYMBOLIC)
  target_include_directories(${target} PUBLIC ${root})
endfunction()

function(halcyra_floor name)
  cmake_parse_arguments(ARG "" "FOLDER" "DEPENDS" ${ARGN})
  if(NOT ARG_FOLDER)
    set(ARG_FOLDER ${name})
  endif()
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/${ARG_FOLDER}/*.cpp)
  list(FILTER sources EXCLUDE REGEX "/Main\\.cpp$")
  halcyra_qualify(depends ${ARG_DEPENDS})
  add_library(halcyra_${name} STATIC ${sources} ${CMAKE_BINARY_DIR}/empty.cpp)
  target_link_libraries(halcyra_${name} PUBLIC ${depends})
  halcyra_compile(halcyra_${name} ${ARG_FOLDER})
endfunction()

# An executable is the Main.cpp of a floor; all else of the floor is its library, which tests may link.
# It holds ICU and the C++ library itself, but for the sanitizers, which need the shared one.
function(halcyra_program name)
  cmake_parse_arguments(ARG "" "FLOOR" "" ${ARGN})
  add_executable(${name} ${CMAKE_SOURCE_DIR}/src/${ARG_FLOOR}/Main.cpp)
  target_link_libraries(${name} PRIVATE halcyra_${ARG_FLOOR})
  target_precompile_headers(${name} REUSE_FROM halcyra_pch)
  if(NOT HALCYRA_SANITIZE)
    set_target_properties(${name} PROPERTIES HALCYRA_SELF_CONTAINED ON)
    target_link_options(${name} PRIVATE -static-libstdc++ -static-libgcc
      -Wl,--gc-sections)
  endif()
endfunction()

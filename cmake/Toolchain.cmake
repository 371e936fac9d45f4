# What every target is compiled with.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

option(HALCYRA_TESTS "Build the tests" ON)
option(HALCYRA_FUZZ "Build the fuzz targets (needs clang)" OFF)
option(HALCYRA_BENCH "Build the benchmarks" OFF)
set(HALCYRA_SANITIZE "" CACHE STRING "Value of -fsanitize= for all targets, empty for none")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
                    -Wimplicit-fallthrough -Wno-missing-field-initializers -Werror -pthread)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # g++ 12 reports unfounded overflows and dangling pointers inside inlined library code and
  # coroutine frames.
  add_compile_options(-Wno-restrict -Wno-stringop-overflow -Wno-maybe-uninitialized
                      -Wno-array-bounds -Wno-stringop-overread -Wno-free-nonheap-object
                      -Wno-mismatched-new-delete)
  # Of several files compiled as one (CMAKE_UNITY_BUILD), all but the wrapper count as headers, and
  # the warnings that hold for headers do not fit them.
  add_compile_options(-Wno-subobject-linkage)
  # Collecting garbage less often saves a tenth of the compiler's time and costs it 30 MB.
  add_compile_options("SHELL:--param ggc-min-heapsize=1000000" "SHELL:--param ggc-min-expand=200")
endif()

if(HALCYRA_SANITIZE)
  add_compile_options(-fsanitize=${HALCYRA_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${HALCYRA_SANITIZE})
  if(HALCYRA_SANITIZE STREQUAL "thread")
    add_compile_options(-Wno-tsan)
  endif()
endif()

find_program(HALCYRA_MOLD mold)
if(HALCYRA_MOLD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_link_options(-fuse-ld=mold)
endif()

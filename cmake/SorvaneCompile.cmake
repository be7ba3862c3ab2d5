# Compile settings that every target of the project shares.

find_program(SORVANE_CCACHE ccache)
if(SORVANE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_CURRENT_LIST_DIR}/cached-compiler" "${SORVANE_CCACHE}")
endif()

# Exact zero tests, the antisymmetry of cross products and figures that survive another machine need
# every product rounded by itself: no contraction, and never -ffast-math.
set(SORVANE_COMPILE_OPTIONS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffp-contract=off)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # Part of -Wconversion there and not for g++: a cast at every subscript would hide the geometry.
  list(APPEND SORVANE_COMPILE_OPTIONS -Wno-sign-conversion)
endif()
if(SORVANE_WARNINGS_AS_ERRORS)
  list(APPEND SORVANE_COMPILE_OPTIONS -Werror)
endif()

set(SORVANE_LINK_OPTIONS)
set(SORVANE_DEFINITIONS)
if(SORVANE_SANITIZE STREQUAL "address")
  # NaN or a number too large made an integer is undefined as well, and not in every compiler's list of that.
  set(checks -fsanitize=address,undefined,float-cast-overflow)
  list(APPEND SORVANE_COMPILE_OPTIONS ${checks} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  list(APPEND SORVANE_LINK_OPTIONS ${checks})
  list(APPEND SORVANE_DEFINITIONS _GLIBCXX_ASSERTIONS)
elseif(SORVANE_SANITIZE STREQUAL "thread")
  list(APPEND SORVANE_COMPILE_OPTIONS -fsanitize=thread -fno-omit-frame-pointer)
  list(APPEND SORVANE_LINK_OPTIONS -fsanitize=thread)
elseif(SORVANE_SANITIZE)
  message(FATAL_ERROR "SORVANE_SANITIZE is \"${SORVANE_SANITIZE}\"; known: address, thread")
endif()

if(SORVANE_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # The programs of these builds are large: lld links them in a third of the time.
  find_program(SORVANE_LLD ld.lld)
  if(SORVANE_LLD)
    list(APPEND SORVANE_LINK_OPTIONS -fuse-ld=lld)
  endif()
endif()

# For targets with a precompiled header, so that ccache can serve it and its users.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Preprocessing keeps the name of the precompiled header instead of its text; ccache asks for that.
  set(SORVANE_PRECOMPILED_OPTIONS -fpch-preprocess)
else()
  # By the contents of the headers in it, not by their times: it may come from the compiler's cache.
  set(SORVANE_PRECOMPILED_OPTIONS "SHELL:-Xclang -fno-pch-timestamp" "SHELL:-Xclang -fvalidate-ast-input-files-content")
endif()

function(sorvane_compile_settings target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE ${SORVANE_COMPILE_OPTIONS})
  target_compile_definitions(${target} PRIVATE ${SORVANE_DEFINITIONS})
  target_link_options(${target} PRIVATE ${SORVANE_LINK_OPTIONS})
endfunction()

# What stands beside the library (the C interface, the command, the examples). Under sanitizers it is compiled as the
# tests are: it runs briefly there, and to compile it with optimization takes twice the time.
function(sorvane_host_settings target)
  sorvane_compile_settings(${target})
  if(SORVANE_SANITIZE)
    target_compile_options(${target} PRIVATE ${SORVANE_TEST_OPTIMIZATION})
  endif()
endfunction()

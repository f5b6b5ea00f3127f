# What every part of the build shares.

find_package(Threads REQUIRED)

# Optimised builds are hardened. Debian's package has a build type and flags of its own, which say
# the same. A sanitizer does not see what the fortified functions do.
foreach(config IN ITEMS RELEASE RELWITHDEBINFO MINSIZEREL)
  string(APPEND CMAKE_CXX_FLAGS_${config} " -fPIE -fstack-protector-strong -fstack-clash-protection")
  if(KEYLOFT_VARIANT STREQUAL "plain")
    string(APPEND CMAKE_CXX_FLAGS_${config} " -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
  endif()
  string(APPEND CMAKE_EXE_LINKER_FLAGS_${config} " -pie -Wl,-z,relro,-z,now")
endforeach()

add_library(keyloft_options INTERFACE)
target_include_directories(keyloft_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(keyloft_options INTERFACE _GLIBCXX_ASSERTIONS)
target_compile_options(keyloft_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${KEYLOFT_WERROR}>:-Werror>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
target_link_libraries(keyloft_options INTERFACE Threads::Threads)

# keyloft_part(NAME SOURCES... [LINK LIBRARIES...]): an object library that sees LIBRARIES alone.
function(keyloft_part part)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LINK")
  add_library(${part} OBJECT ${arg_UNPARSED_ARGUMENTS})
  # All as one file, where the preset wants it: the headers take longer than the code.
  list(LENGTH arg_UNPARSED_ARGUMENTS files)
  if(KEYLOFT_PARTS_AS_ONE AND files GREATER 1)
    set_target_properties(${part} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
  endif()
  target_link_libraries(${part} PUBLIC keyloft_options ${arg_LINK})
endfunction()

# keyloft_program(NAME SOURCES... LINK PARTS...): an executable out of parts and its own sources.
function(keyloft_program program)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LINK")
  add_executable(${program} ${arg_UNPARSED_ARGUMENTS})
  target_link_libraries(${program} PRIVATE keyloft_options ${arg_LINK})
  if(TARGET coverage_at_end)
    target_link_libraries(${program} PRIVATE coverage_at_end)
  endif()
endfunction()

if(KEYLOFT_VARIANT STREQUAL "coverage")
  keyloft_part(coverage_at_end ${PROJECT_SOURCE_DIR}/tests/support/coverage_at_end.cpp)
  target_link_options(coverage_at_end INTERFACE -Wl,--wrap=abort,--wrap=_exit,--wrap=_Exit)
endif()

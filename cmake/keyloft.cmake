# What every part of the build shares.

find_package(Threads REQUIRED)

add_library(keyloft_options INTERFACE)
target_include_directories(keyloft_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(keyloft_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${KEYLOFT_WERROR}>:-Werror>)
target_link_libraries(keyloft_options INTERFACE Threads::Threads)

# keyloft_part(NAME SOURCES... [LINK LIBRARIES...]): an object library that sees LIBRARIES alone.
function(keyloft_part part)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LINK")
  add_library(${part} OBJECT ${arg_UNPARSED_ARGUMENTS})
  target_link_libraries(${part} PUBLIC keyloft_options ${arg_LINK})
endfunction()

# keyloft_program(NAME SOURCES... LINK PARTS...): an executable out of parts and its own sources.
function(keyloft_program program)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LINK")
  add_executable(${program} ${arg_UNPARSED_ARGUMENTS})
  target_link_libraries(${program} PRIVATE keyloft_options ${arg_LINK})
endfunction()

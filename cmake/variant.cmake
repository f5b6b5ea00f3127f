# In which way the tests are built. A preset sets KEYLOFT_VARIANT, and everything that depends on it
# asks this variable: never the compiler's flags, which may have anything in them.

set(KEYLOFT_VARIANT plain CACHE STRING
  "plain, or one that finds faults: address, thread, fuzz, coverage or 32-bit")
set(keyloft_variants plain address thread fuzz coverage 32-bit)
set_property(CACHE KEYLOFT_VARIANT PROPERTY STRINGS ${keyloft_variants})
if(NOT KEYLOFT_VARIANT IN_LIST keyloft_variants)
  message(FATAL_ERROR "KEYLOFT_VARIANT is \"${KEYLOFT_VARIANT}\", none of: ${keyloft_variants}")
endif()

# The sanitizers' builds are not optimised, and know lines but no variables: compiling takes longer
# than running the tests.
set(sanitized -O0 -g1 -fno-omit-frame-pointer -fno-sanitize-recover=all)
if(KEYLOFT_VARIANT STREQUAL "address")
  # Plain char is unsigned on some of Debian's processors.
  set(compiling ${sanitized} -fsanitize=address,undefined -fno-sanitize=vptr -funsigned-char)
  set(linking -fsanitize=address,undefined)
  if(KEYLOFT_FUZZ)
    # The fuzz targets are made of the same parts. Tracing comparisons, too, would take the tests a
    # third longer; the fuzz variant has it.
    list(APPEND compiling -fsanitize-coverage=inline-8bit-counters,pc-table)
  endif()
elseif(KEYLOFT_VARIANT STREQUAL "thread")
  set(compiling ${sanitized} -fsanitize=thread)
  set(linking -fsanitize=thread)
elseif(KEYLOFT_VARIANT STREQUAL "fuzz")
  set(compiling -O1 -g1 -fno-omit-frame-pointer -fno-sanitize-recover=all
    -fsanitize=fuzzer-no-link,address,undefined)
  set(linking -fsanitize=address,undefined)
elseif(KEYLOFT_VARIANT STREQUAL "coverage")
  set(compiling -O0 --coverage -fprofile-update=atomic)
  set(linking --coverage)
elseif(KEYLOFT_VARIANT STREQUAL "32-bit")
  set(compiling -m32 -g0 -funsigned-char)
  set(linking -m32)
endif()
add_compile_options(${compiling})
add_link_options(${linking})

# A debug build is linked in half the time.
find_program(KEYLOFT_LLD ld.lld)
mark_as_advanced(KEYLOFT_LLD)
if(KEYLOFT_LLD AND CMAKE_BUILD_TYPE STREQUAL "Debug")
  add_link_options(-fuse-ld=lld)
endif()

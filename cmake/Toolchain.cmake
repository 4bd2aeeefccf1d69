# Warnings, sanitizers, compiler cache: what holds for every target.

set(ZLK_SANITIZE "" CACHE STRING "Sanitizers to build with, as in address,undefined")
option(ZLK_FUZZERS "Build the fuzz targets (clang only)" OFF)

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Without these two it caches nothing that has a precompiled header.
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>)
endif()
# Line numbers for a backtrace; all debug information would cost each build a good deal more time.
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g1 -DNDEBUG")

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wcast-qual -Werror)
add_link_options(-Wl,--no-undefined)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # g++ 12 sees overlaps of 2^63 bytes in std::string's own operator+ (its bug 105651).
  add_compile_options(-Wno-restrict)
endif()

if(ZLK_SANITIZE)
  add_compile_options(-fsanitize=${ZLK_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ZLK_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND ZLK_SANITIZE MATCHES thread)
    # The fence that it can't see orders reads of what other processes write, which it doesn't see
    # either.
    add_compile_options(-Wno-tsan)
  endif()
  # clang's sanitizer runtime is in the program only; its symbols are missing from a module.
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    get_property(options DIRECTORY PROPERTY LINK_OPTIONS)
    list(REMOVE_ITEM options -Wl,--no-undefined)
    set_property(DIRECTORY PROPERTY LINK_OPTIONS ${options})
  endif()
endif()

# A component module: loaded by path, exporting its entry points and nothing else.
function(zlk_add_module name)
  add_library(${name} MODULE ${ARGN})
  set(map ${PROJECT_SOURCE_DIR}/cmake/Module.map)
  set_target_properties(${name} PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY ${ZLK_MODULE_DIR}
                                           LINK_DEPENDS ${map} INSTALL_RPATH "$ORIGIN/..")
  target_link_options(${name} PRIVATE -Wl,--version-script=${map})
  add_dependencies(product ${name})
  install(TARGETS ${name} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/zlkcamtr)
endfunction()

# A floor of the system: a static library that the module, tests, benches and fuzzers link.
function(zlk_add_floor name)
  add_library(${name} STATIC ${ARGN})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
endfunction()

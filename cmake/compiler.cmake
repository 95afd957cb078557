# What every target of the project is compiled with.

find_program(NVQ_CCACHE ccache)
if(NVQ_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${NVQ_CCACHE})
endif()

# The line kernels are written as loops that the vectoriser of -O3 understands.
set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG")

add_library(nvq_options INTERFACE)
target_include_directories(nvq_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(nvq_options INTERFACE
  -Wall -Wextra -Wshadow -Wnon-virtual-dtor
  # Tone tables have the same bits on every machine: no fused multiply-add behind our back.
  -ffp-contract=off)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # This compiler sees overlapping copies in plain additions of texts.
  target_compile_options(nvq_options INTERFACE -Wno-restrict)
endif()
if(NVQ_WERROR)
  target_compile_options(nvq_options INTERFACE -Werror)
endif()

if(NVQ_SANITIZE)
  target_compile_options(nvq_options INTERFACE
    -fsanitize=${NVQ_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(nvq_options INTERFACE -fsanitize=${NVQ_SANITIZE})
  # Functions compiled for several instruction sets are resolved before a sanitizer has started.
  target_compile_definitions(nvq_options INTERFACE NVQ_ONE_TARGET)
endif()
if(NVQ_COVERAGE)
  target_compile_options(nvq_options INTERFACE --coverage -O0 -g)
  target_link_options(nvq_options INTERFACE --coverage)
endif()

# nvq_library(<name> STATIC|SHARED <sources...>): one folder's library.
function(nvq_library name kind)
  add_library(${name} ${kind} ${ARGN})
  target_link_libraries(${name} PUBLIC nvq_options)
endfunction()

# nvq_needs_no_descriptor(<target>): leaves out the one check that opens a pipe, where tests see what
# becomes of the target when descriptors run out. Behind the options of all, which would switch it on again.
function(nvq_needs_no_descriptor target)
  if(NVQ_SANITIZE MATCHES undefined)
    get_target_property(sources ${target} SOURCES)
    set_property(SOURCE ${sources} APPEND PROPERTY COMPILE_OPTIONS -fno-sanitize=vptr)
  endif()
endfunction()

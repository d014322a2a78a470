# What every target of the house is compiled with, and the way per-cell kernels
# are compiled once per instruction set from the same source.

add_library(vokra_compile INTERFACE)
target_include_directories(vokra_compile INTERFACE $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>)
# -ffp-contract=off: results are the same on every instruction set.
# -Wno-cast-function-type: methods travel as untyped functions, by design.
# -fno-math-errno: a root in a plain loop becomes the instruction.
target_compile_options(vokra_compile INTERFACE
  -Wall -Wextra -Wshadow -Wno-unused-parameter -Wno-cast-function-type -Werror
  # gcc 12 takes adding text to text for an overlap when it inlines it
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict>
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  -ffp-contract=off -fno-math-errno -fno-strict-aliasing)
target_link_libraries(vokra_compile INTERFACE Threads::Threads)

if(VOKRA_SANITIZE)
  target_compile_options(vokra_compile INTERFACE -fsanitize=${VOKRA_SANITIZE} -fno-omit-frame-pointer)
  target_link_options(vokra_compile INTERFACE -fsanitize=${VOKRA_SANITIZE})
  if(VOKRA_SANITIZE MATCHES "undefined")
    target_compile_options(vokra_compile INTERFACE -fno-sanitize-recover=all)
    # a method is called as a function of words, whatever its arguments are declared as
    target_compile_options(vokra_compile INTERFACE $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function>)
  endif()
endif()

# what the fuzz targets call must count its own branches
if(VOKRA_FUZZ)
  target_compile_options(vokra_compile INTERFACE -fsanitize=fuzzer-no-link)
endif()

# vokra_kernels(TARGET FILE...): adds each kernel file to TARGET once per
# instruction set. The file sees VOKRA_ISA as the namespace to put its code in
# (v2, v3, v4; neon on arm).
# Kernel files keep everything in an unnamed or VOKRA_ISA namespace and
# instantiate no inline function of a shared header: the linker keeps one copy
# of those, and it might keep one that the processor can't run.
function(vokra_kernels target)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    set(isas v2 v3 v4)
    set(flags_v2 -march=x86-64-v2)
    set(flags_v3 -march=x86-64-v3)
    set(flags_v4 -march=x86-64-v4 -mprefer-vector-width=512)
  else()
    set(isas neon)
    set(flags_neon "")
  endif()
  if(NOT ARGN)
    return()
  endif()
  foreach(isa IN LISTS isas)
    set(objects ${target}_kernels_${isa})
    add_library(${objects} OBJECT ${ARGN})
    target_link_libraries(${objects} PRIVATE vokra_compile)
    target_include_directories(${objects} PRIVATE ${CMAKE_SOURCE_DIR}/src)
    target_compile_definitions(${objects} PRIVATE VOKRA_ISA=${isa} VOKRA_BUILD)
    # Nobody reads the floating-point exception flags, so divisions and roundings may run
    # where a test leaves them out; no result depends on it.
    target_compile_options(${objects} PRIVATE ${flags_${isa}} -fno-trapping-math)
    # kernels are measured: they are optimised in every build without a sanitizer
    if(NOT VOKRA_SANITIZE)
      target_compile_options(${objects} PRIVATE -O3)
    endif()
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${objects}>)
  endforeach()
endfunction()

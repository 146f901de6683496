# Flags of each kernel file, by the prefix of its name:
#   avx2_*.cpp          -mavx2 -mfma   (fused where the source says fmadd)
#   avx2_unfused_*.cpp  -mavx2         (g++ 12 may not fuse what it has no instruction for)
#   avx512_*.cpp        -mavx512f and no more
set(avx2_flags -mavx2 -mfma)
set(avx2_unfused_flags -mavx2)
set(avx512_flags -mavx512f)
# g++ 12 takes its own _mm512_undefined_pd for a mistake (GCC bug 105593).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND avx512_flags -Wno-uninitialized -Wno-maybe-uninitialized)
endif()
set(instruction_sets avx2_unfused avx2 avx512) # the longer prefix first

# Takes the kernels out of the list of sources: each set of instructions becomes the object library
# TARGET_SET, with <immintrin.h> parsed once, most of what there is to compile in a kernel's file. The
# variable `objects` gets what holds them. Further options are for all kernels.
function(numerical_kernels target sources objects)
  foreach(set IN LISTS instruction_sets)
    set(kernels ${${sources}})
    list(FILTER kernels INCLUDE REGEX "/${set}_[a-z0-9_]+\\.cpp$")
    list(REMOVE_ITEM ${sources} ${kernels})
    set(library ${target}_${set})
    add_library(${library} OBJECT EXCLUDE_FROM_ALL ${kernels})
    target_include_directories(${library} PRIVATE ${PROJECT_SOURCE_DIR}/src)
    target_compile_options(${library} PRIVATE
      ${ARGN} ${${set}_flags} $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
    target_precompile_headers(${library} PRIVATE <complex> <cstddef> <cstdint> <immintrin.h>)
    list(APPEND found $<TARGET_OBJECTS:${library}>)
  endforeach()
  set(${sources} ${${sources}} PARENT_SCOPE)
  set(${objects} ${found} PARENT_SCOPE)
endfunction()

# The flags as properties of the kernels among a program's own sources.
function(numerical_isa_flags)
  foreach(source IN LISTS ARGN)
    get_filename_component(name ${source} NAME)
    foreach(set IN LISTS instruction_sets)
      if(name MATCHES "^${set}_")
        set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "${${set}_flags}")
        break()
      endif()
    endforeach()
  endforeach()
endfunction()

# g++ 12 fails inside on these lanes (gimple_expand_vec_cond_expr).
function(numerical_portable_flags)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(sources ${ARGN})
    list(FILTER sources INCLUDE REGEX "/portable_stack\\.cpp$")
    set_source_files_properties(${sources} PROPERTIES COMPILE_OPTIONS -fno-tree-forwprop)
  endif()
endfunction()

# Flags of each kernel file, by the prefix of its name:
#   avx2_*.cpp          -mavx2 -mfma   (fused where the source says fmadd)
#   avx2_unfused_*.cpp  -mavx2         (g++ 12 may not fuse what it has no instruction for)
#   avx512_*.cpp        -mavx512f and no more
function(numerical_isa_flags)
  foreach(source IN LISTS ARGN)
    get_filename_component(name "${source}" NAME)
    if(name MATCHES "^avx512_")
      set(flags "-mavx512f")
      # g++ 12 takes its own _mm512_undefined_pd for a mistake (GCC bug 105593).
      if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        list(APPEND flags -Wno-uninitialized -Wno-maybe-uninitialized)
      endif()
    elseif(name MATCHES "^avx2_unfused_")
      set(flags "-mavx2")
    elseif(name MATCHES "^avx2_")
      set(flags "-mavx2;-mfma")
    elseif(name STREQUAL "portable_stack.cpp" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # g++ 12 fails inside on these lanes (gimple_expand_vec_cond_expr).
      set(flags "-fno-tree-forwprop")
    else()
      continue()
    endif()
    # A precompiled header is of one set of instructions.
    set_source_files_properties("${source}" PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
    # A kernel's locals are registers: watching each step of an unrolled loop enter and leave its
    # scope takes most of a sanitized product's time and of its compilation.
    if(NUMERICAL_SANITIZE MATCHES "address")
      list(APPEND flags -fno-sanitize-address-use-after-scope)
    endif()
    set_source_files_properties("${source}" PROPERTIES COMPILE_OPTIONS "${flags}")
  endforeach()
endfunction()

# Flags of each kernel file, by the prefix of its name:
#   avx2_*.cpp          -mavx2 -mfma   (fused where the source says fmadd)
#   avx2_unfused_*.cpp  -mavx2         (g++ 12 may not fuse what it has no instruction for)
#   avx512_*.cpp        -mavx512f and no more
# With NUMERICAL_EMULATED_AVX512 the avx512 sources are built as plain C++ on the emulated
# <immintrin.h> under tests/emulation, so that they run on every machine.
function(numerical_isa_flags)
  foreach(source IN LISTS ARGN)
    get_filename_component(name "${source}" NAME)
    if(name MATCHES "^avx512_")
      if(NUMERICAL_EMULATED_AVX512)
        set(flags "-isystem${PROJECT_SOURCE_DIR}/tests/emulation;-Wno-psabi")
        # Where the builder has fused multiply-add, lanes needn't call the library's fma each.
        file(STRINGS /proc/cpuinfo fused REGEX "^flags.* fma .* avx2 " LIMIT_COUNT 1)
        if(fused)
          list(APPEND flags -mavx2 -mfma)
        endif()
      else()
        set(flags "-mavx512f")
        # g++ 12 takes its own _mm512_undefined_pd for a mistake (GCC bug 105593).
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
          list(APPEND flags -Wno-uninitialized -Wno-maybe-uninitialized)
        endif()
      endif()
    elseif(name MATCHES "^avx2_unfused_")
      set(flags "-mavx2")
    elseif(name MATCHES "^avx2_")
      set(flags "-mavx2;-mfma")
    else()
      continue()
    endif()
    # A kernel's locals are registers: watching each step of an unrolled loop enter and leave its
    # scope takes most of a sanitized product's time and of its compilation.
    if(NUMERICAL_SANITIZE MATCHES "address")
      list(APPEND flags -fno-sanitize-address-use-after-scope)
    endif()
    set_source_files_properties("${source}" PROPERTIES COMPILE_OPTIONS "${flags}")
  endforeach()
endfunction()

# The module runs on older systems than the one it is linked on (manylinux_2_28): libstdc++ is in it,
# without exported symbols (module.map), and older_glibc.cpp asks glibc for older symbols.
#
# Not under sanitizers, which put themselves before these functions.
function(numerical_older_glibc target)
  target_sources(${target} PRIVATE src/module/older_glibc.cpp)
  foreach(symbol exp log log2 pow hypot fstat64 pthread_sigmask pthread_create pthread_detach
          pthread_once)
    target_link_options(${target} PRIVATE -Wl,--wrap=${symbol})
  endforeach()
  # Unused parts of libstdc++.a would ask for symbols of their own. Before glibc 2.34 threads were in
  # a library beside libc.
  target_link_options(${target} PRIVATE -static-libstdc++ -Wl,--gc-sections
                      -Wl,--push-state,--no-as-needed,-l:libpthread.so.0,--pop-state)
endfunction()

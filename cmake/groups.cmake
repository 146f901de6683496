# Sources of a folder compiled together, ten at a time (a unity build): each object of its own has the
# same headers parsed and the same templates of the standard library compiled. No two sources of a
# folder may therefore give one name to different things, unnamed namespaces included.
#
# The library and the module are built so unless the configuration says NUMERICAL_GROUPED=OFF, as the
# presets do that look at each source by itself.
option(NUMERICAL_GROUPED "Compile the core and the module by groups of sources" ON)

# By itself stays what others replace when they link: the topology by programs of the tests, the choice
# of the path by the emulated build; and what is compiled with flags of its own, or its portable twin.
function(numerical_group target)
  foreach(source IN LISTS ARGN)
    get_filename_component(name ${source} NAME)
    if(name MATCHES "^(avx2_|avx512_|portable_|(hardware_threads|topology|path)\\.cpp$)")
      continue()
    endif()
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR}/src ${source}) # so that ccache knows it elsewhere
    get_filename_component(folder ${folder} DIRECTORY)
    string(MAKE_C_IDENTIFIER ${folder} folder)
    list(APPEND sources_of_${folder} ${source})
    list(LENGTH sources_of_${folder} count)
    math(EXPR group "(${count} - 1) / 10")
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${folder}_${group})
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  # Which takes an included source for a header.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endfunction()

# kr_add_plugin(<name> <sources...>)
#
# A plug-in of KrFoundation, the file <name>.krp. The sources hold one KR_PLUGIN_MANIFEST with the same name. A target may
# have another name than the file: set its property OUTPUT_NAME.

function(kr_add_plugin name)
  get_target_property(library KrFoundation::KrFoundation ALIASED_TARGET)
  if(NOT library)
    set(library KrFoundation::KrFoundation)
  endif()
  get_target_property(type ${library} TYPE)
  if(NOT type STREQUAL "SHARED_LIBRARY")
    # Each plug-in would bring registries of its own.
    message(FATAL_ERROR "kr_add_plugin(${name}): plug-ins need the shared library")
  endif()
  add_library(${name} MODULE ${ARGN})
  set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".krp"
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(${name} PRIVATE KrFoundation::KrFoundation)
  # A missing symbol is better found here than when the file is loaded. clang leaves those of sanitizers to the program.
  target_link_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wl,--no-undefined>)
endfunction()

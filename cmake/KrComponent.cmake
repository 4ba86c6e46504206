# kr_component(<layer> DEPENDS <layers below> HEADERS <public> INTERNAL <not installed> SOURCES <files> LINK <third party>)
#
# One layer of the library: an OBJECT library kr_<layer> whose objects go into KrFoundation. The public headers join
# the installed header set; internal ones are only checked to compile alone. A layer may depend only on layers
# declared before it, so the order in src/kr/CMakeLists.txt is the layering; tools/check_includes.py reads the same
# declarations (written to kr_layers.txt in the build folder) and holds every #include against them.

function(kr_component layer)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "DEPENDS;HEADERS;INTERNAL;SOURCES;LINK")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "kr_component(${layer}): unknown arguments ${arg_UNPARSED_ARGUMENTS}")
  endif()
  string(REPLACE "/" "_" name "kr_${layer}")
  foreach(below IN LISTS arg_DEPENDS)
    string(REPLACE "/" "_" belowName "kr_${below}")
    if(NOT TARGET ${belowName})
      message(FATAL_ERROR "kr_component(${layer}): layer '${below}' is not declared below it")
    endif()
  endforeach()

  add_library(${name} OBJECT ${arg_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/src")
  target_compile_definitions(${name} PRIVATE KR_BUILDING_LIBRARY)
  target_link_libraries(${name} PRIVATE kr_build_options Threads::Threads ${arg_LINK})
  target_link_libraries(KrFoundation PRIVATE ${name} ${arg_LINK})

  list(TRANSFORM arg_HEADERS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
  list(TRANSFORM arg_INTERNAL PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
  target_sources(KrFoundation PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}/src" FILES ${arg_HEADERS})
  if(arg_INTERNAL)
    target_sources(kr_internal_headers INTERFACE
      FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}/src" FILES ${arg_INTERNAL})
  endif()

  list(JOIN arg_DEPENDS " " depends)
  set_property(GLOBAL APPEND PROPERTY KR_LAYERS "${layer}: ${depends}")
endfunction()

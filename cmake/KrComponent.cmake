# kr_component(<layer> DEPENDS <layers below> HEADERS <public> OPT_IN <public, left out of the umbrella header>
#              FRAMEWORK <not installed, for upper layers> INTERNAL <not installed> SOURCES <files> LINK <third party>
#              LIBRARY <target>)
#
# One layer of the library: an OBJECT library kr_<layer> whose objects go into KrFoundation. A layer is a folder below
# src/kr and may be nested (events/errors is the target kr_events_errors). The public headers join the installed header
# set and, unless OPT_IN, <kr/foundation.h>. Framework headers are for the sources and the internal and framework headers
# of this layer and of those above; they and internal ones are only checked to compile alone. A layer may depend only on
# layers declared before it, so the order in src/kr/CMakeLists.txt is the layering. tools/check_includes.py reads the
# same declarations (kr_layers.txt in the build folder) and holds every #include against them.
#
# With LIBRARY the layer goes into that library beside KrFoundation, whose headers <kr/foundation.h> leaves out. Where the
# target does not exist, since a third party is missing, the layer is only listed.

function(kr_component layer)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "LIBRARY" "DEPENDS;HEADERS;OPT_IN;FRAMEWORK;INTERNAL;SOURCES;LINK")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "kr_component(${layer}): unknown arguments ${arg_UNPARSED_ARGUMENTS}")
  endif()
  set(root "${PROJECT_SOURCE_DIR}/src")
  if(NOT CMAKE_CURRENT_SOURCE_DIR STREQUAL "${root}/kr/${layer}")
    message(FATAL_ERROR "kr_component(${layer}): a layer is named after its folder, this is ${CMAKE_CURRENT_SOURCE_DIR}")
  endif()
  string(REPLACE "/" "_" name "kr_${layer}")
  foreach(below IN LISTS arg_DEPENDS)
    string(REPLACE "/" "_" belowName "kr_${below}")
    if(NOT TARGET ${belowName})
      message(FATAL_ERROR "kr_component(${layer}): layer '${below}' is not declared below it")
    endif()
  endforeach()

  list(JOIN arg_DEPENDS " " depends)
  set(lines "layer ${layer}: ${depends}")
  foreach(kind IN ITEMS HEADERS OPT_IN FRAMEWORK INTERNAL SOURCES)
    foreach(file IN LISTS arg_${kind})
      string(TOLOWER ${kind} word)
      list(APPEND lines "${word} ${layer}/${file}")
    endforeach()
  endforeach()
  set_property(GLOBAL APPEND PROPERTY KR_LAYERS ${lines})
  set(library KrFoundation)
  if(arg_LIBRARY)
    set(library ${arg_LIBRARY})
  endif()
  if(NOT TARGET ${library})
    return()
  endif()

  add_library(${name} OBJECT ${arg_SOURCES})
  target_include_directories(${name} PRIVATE "${root}")
  target_link_libraries(${name} PRIVATE kr_build_options Threads::Threads ${arg_LINK})
  target_link_libraries(${library} PRIVATE ${name} ${arg_LINK})

  list(TRANSFORM arg_HEADERS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/" OUTPUT_VARIABLE umbrellaHeaders)
  list(TRANSFORM arg_OPT_IN PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/" OUTPUT_VARIABLE optInHeaders)
  set(internalHeaders ${arg_FRAMEWORK} ${arg_INTERNAL})
  list(TRANSFORM internalHeaders PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
  target_sources(${library}
    PUBLIC FILE_SET HEADERS BASE_DIRS "${root}" FILES ${umbrellaHeaders} ${optInHeaders})
  if(internalHeaders)
    target_sources(kr_internal_headers INTERFACE FILE_SET HEADERS BASE_DIRS "${root}" FILES ${internalHeaders})
  endif()

  list(TRANSFORM arg_HEADERS PREPEND "kr/${layer}/" OUTPUT_VARIABLE umbrellaPaths)
  if(umbrellaPaths AND NOT arg_LIBRARY)
    set_property(GLOBAL APPEND PROPERTY KR_UMBRELLA_HEADERS ${umbrellaPaths})
  endif()
endfunction()

# kr_moved_headers(<new folder> FROM <old folder> <header...>)
#
# Keeps headers that moved includable where they were, for one release: the installed tree gets a header at the old place
# that includes the new one and says so when it is compiled. The library itself cannot include it.
function(kr_moved_headers folder)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FROM" "")
  foreach(header IN LISTS arg_UNPARSED_ARGUMENTS)
    set(moved "${PROJECT_BINARY_DIR}/moved_headers/kr/${arg_FROM}/${header}")
    file(CONFIGURE OUTPUT "${moved}" @ONLY CONTENT "// Goes with the next release.
#pragma once
#pragma message(\"kr/${arg_FROM}/${header} has moved: include kr/${folder}/${header}\")
#include \"kr/${folder}/${header}\"
")
    install(FILES "${moved}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kr/${arg_FROM}")
  endforeach()
endfunction()

# kr_finish_components(PLUGIN <headers>)
#
# Call once after the last layer: writes kr_layers.txt, the umbrella header <kr/foundation.h>, and <kr/plugin.h>, which
# includes the headers named here only.
function(kr_finish_components)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "PLUGIN")
  get_property(layers GLOBAL PROPERTY KR_LAYERS)
  list(JOIN layers "\n" layerText)
  file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/kr_layers.txt" CONTENT "${layerText}\n" @ONLY)

  get_property(headers GLOBAL PROPERTY KR_UMBRELLA_HEADERS)
  _kr_write_umbrella(foundation.h "// Everything that a plug-in or a host needs. Written by the build from the public headers of each layer.
#pragma once

// What callbacks take.
#include <istream>
#include <ostream>" ${headers})
  set(unknown ${arg_PLUGIN})
  list(REMOVE_ITEM unknown ${headers})
  if(unknown)
    message(FATAL_ERROR "kr_finish_components: ${unknown} are no public headers of a layer")
  endif()
  _kr_write_umbrella(plugin.h "// What the extensions and modules of most plug-ins need; it compiles in about half the time of <kr/foundation.h>.
// Written by the build.
#pragma once" ${arg_PLUGIN})
endfunction()

function(_kr_write_umbrella name head)
  list(TRANSFORM ARGN PREPEND "#include \"" OUTPUT_VARIABLE includes)
  list(TRANSFORM includes APPEND "\"")
  list(JOIN includes "\n" includes)
  set(file "${PROJECT_BINARY_DIR}/include/kr/${name}")
  file(CONFIGURE OUTPUT "${file}" @ONLY CONTENT "${head}\n\n${includes}\n")
  target_sources(KrFoundation PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_BINARY_DIR}/include" FILES "${file}")
endfunction()

# kr_benchmark(<name> <sources...> LINK <targets or libraries> PEERS <pkg-config modules>)
#
# One Google Benchmark program, <name>_benchmark, and a smoke test that runs it with a tiny time budget.
# PEERS are libraries measured beside ours. A peer that is not installed is left out; one that is found is linked and
# announced to the sources: gobject-2.0 as KR_HAVE_GLIB, Qt5Core as KR_HAVE_QT, sigc++-2.0 as KR_HAVE_SIGC.

find_package(benchmark REQUIRED)
find_package(PkgConfig)
find_package(Python3 COMPONENTS Interpreter)

set(KR_PEER_gobject-2.0 KR_HAVE_GLIB)
set(KR_PEER_Qt5Core KR_HAVE_QT)
set(KR_PEER_sigc++-2.0 KR_HAVE_SIGC)

function(kr_benchmark name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LINK;PEERS")
  set(program "${name}_benchmark")
  add_executable(${program} ${arg_UNPARSED_ARGUMENTS})
  target_include_directories(${program} PRIVATE "${PROJECT_SOURCE_DIR}/src" "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${program}
    PRIVATE KrFoundation kr_build_options benchmark::benchmark_main Threads::Threads ${arg_LINK})
  foreach(peer IN LISTS arg_PEERS)
    if(NOT DEFINED KR_PEER_${peer})
      message(FATAL_ERROR "kr_benchmark(${name}): unknown peer '${peer}'")
    endif()
    string(MAKE_C_IDENTIFIER "peer_${peer}" prefix)
    if(PKG_CONFIG_FOUND AND NOT TARGET PkgConfig::${prefix})
      pkg_check_modules(${prefix} QUIET IMPORTED_TARGET GLOBAL ${peer})
    endif()
    if(TARGET PkgConfig::${prefix})
      target_link_libraries(${program} PRIVATE PkgConfig::${prefix})
      target_compile_definitions(${program} PRIVATE ${KR_PEER_${peer}})
      if(peer MATCHES "^Qt")
        # Its keywords (emit, slots) clash with other peers, and its headers refuse -fPIE.
        target_compile_definitions(${program} PRIVATE QT_NO_KEYWORDS)
        target_compile_options(${program} PRIVATE -fPIC)
      endif()
    endif()
  endforeach()

  set_property(GLOBAL APPEND PROPERTY KR_BENCHMARK_PROGRAMS "${program}")
  if(KR_BUILD_TESTS)
    add_test(NAME benchmark.${name} COMMAND ${program} --benchmark_min_time=0.001)
    set_tests_properties(benchmark.${name} PROPERTIES LABELS benchmark TIMEOUT 300)
    if(Python3_FOUND)
      # A goal that names a removed benchmark would silently stop being measured.
      add_test(NAME benchmark.${name}.goals
        COMMAND Python3::Interpreter "${PROJECT_SOURCE_DIR}/tools/bench_table.py"
                --goals "${PROJECT_SOURCE_DIR}/benchmarks/goals.json" --file ${name} --check $<TARGET_FILE:${program}>)
      set_tests_properties(benchmark.${name}.goals PROPERTIES LABELS benchmark TIMEOUT 60)
    endif()
  endif()
endfunction()

# kr_benchmark_moc(<name> <header>): signals and slots of a peer class. Without Qt the program has no such class; where
# only its compiler is missing, it leaves that peer out.
function(kr_benchmark_moc name header)
  if(NOT TARGET PkgConfig::peer_Qt5Core)
    return()
  endif()
  pkg_get_variable(qt_programs Qt5Core host_bins)
  find_program(KR_QT_MOC moc HINTS "${qt_programs}")
  if(NOT KR_QT_MOC)
    return()
  endif()
  cmake_path(GET header STEM stem)
  set(made "${CMAKE_CURRENT_BINARY_DIR}/${stem}_moc.cpp")
  add_custom_command(OUTPUT "${made}"
    COMMAND "${KR_QT_MOC}" "${CMAKE_CURRENT_SOURCE_DIR}/${header}" -o "${made}" -p benchmarks
    DEPENDS "${header}")
  target_sources(${name}_benchmark PRIVATE "${made}")
  target_compile_definitions(${name}_benchmark PRIVATE KR_HAVE_QT_MOC)
endfunction()

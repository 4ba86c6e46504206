# Installs the build into a fresh folder and lets a program and a plug-in that know only that folder find, build and run
# against it, once through the CMake package and once through pkg-config. Then runs the commands of the plug-in guide,
# which write a new plug-in, build, test and run it.
# Needs: BUILD_DIR, SOURCE_DIR, WORK_DIR, BINDIR, LIBDIR, CXX, GENERATOR, VERSION, GUIDE

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
set(installed "${WORK_DIR}/installed")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${installed}")
# Nothing may still point to where it was installed first.
set(prefix "${WORK_DIR}/moved")
file(RENAME "${installed}" "${prefix}")

file(GLOB_RECURSE leaked "${prefix}/include/*/internal/*")
if(leaked)
  message(FATAL_ERROR "internal headers are installed: ${leaked}")
endif()

run(${CMAKE_COMMAND} -S "${SOURCE_DIR}/consumer" -B "${WORK_DIR}/build" -G "${GENERATOR}"
  "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_PREFIX_PATH=${prefix}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer" "${WORK_DIR}/build")

set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
execute_process(COMMAND pkg-config --modversion krfoundation
  OUTPUT_VARIABLE found OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
if(NOT found STREQUAL VERSION)
  message(FATAL_ERROR "pkg-config says version ${found}, not ${VERSION}")
endif()
execute_process(COMMAND pkg-config --cflags --libs krfoundation
  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
run("${CXX}" -std=c++20 "${SOURCE_DIR}/consumer/main.cpp" -o "${WORK_DIR}/consumer" ${flags}
  "-Wl,-rpath,${prefix}/${LIBDIR}")
run("${WORK_DIR}/consumer" "${WORK_DIR}/build")

file(GLOB conditions "${prefix}/${LIBDIR}/libKrConditions.so")
if(conditions)
  execute_process(COMMAND pkg-config --cflags --libs krconditions
    OUTPUT_VARIABLE conditionFlags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(conditionFlags UNIX_COMMAND "${conditionFlags}")
  run("${CXX}" -std=c++20 "${SOURCE_DIR}/consumer/conditions.cpp" -o "${WORK_DIR}/conditions" ${conditionFlags}
    "-Wl,-rpath,${prefix}/${LIBDIR}")
  run("${WORK_DIR}/conditions")
endif()

# Headers that moved still compile at their old places.
file(GLOB_RECURSE moved RELATIVE "${BUILD_DIR}/moved_headers" "${BUILD_DIR}/moved_headers/*.h")
list(TRANSFORM moved REPLACE "(.+)" "#include <\\1>\n")
list(JOIN moved "" moved)
file(WRITE "${WORK_DIR}/moved.cpp" "${moved}")
run("${CXX}" -std=c++20 -fsyntax-only "${WORK_DIR}/moved.cpp" ${flags})

# The program finds the library, and the library the plug-in beside it.
if(NOT EXISTS "${prefix}/${BINDIR}/krsim")
  message(FATAL_ERROR "krsim is not installed")
endif()
run("${prefix}/${BINDIR}/krsim" run --content Content.Scene --free --frames 2)

if(NOT EXISTS "${prefix}/share/KrFoundation/gdb/kr_printers.py")
  message(FATAL_ERROR "the pretty printers for gdb are not installed")
endif()

# The shell blocks of the guide, in an empty folder.
file(MAKE_DIRECTORY "${WORK_DIR}/guide")
execute_process(COMMAND sed -n "/^```sh$/,/^```$/{/^```/d;p}" "${GUIDE}"
  OUTPUT_FILE "${WORK_DIR}/guide_commands.sh" COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND sed -n "/^```text$/,/^```$/{/^```/d;p}" "${GUIDE}"
  OUTPUT_VARIABLE promised COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} -E env "CMAKE_PREFIX_PATH=${prefix}" "CXX=${CXX}" "CMAKE_GENERATOR=${GENERATOR}"
  "PATH=${prefix}/${BINDIR}:$ENV{PATH}" sh -eux "${WORK_DIR}/guide_commands.sh"
  WORKING_DIRECTORY "${WORK_DIR}/guide" OUTPUT_VARIABLE printed ECHO_OUTPUT_VARIABLE COMMAND_ERROR_IS_FATAL ANY)
string(FIND "${printed}" "${promised}" place)
string(FIND "${printed}" "Simulation.Road Vehicle {" listed)
string(FIND "${printed}" "100% tests passed" tested)
if(promised STREQUAL "" OR place EQUAL -1 OR listed EQUAL -1 OR tested EQUAL -1)
  message(FATAL_ERROR "the commands of the plug-in guide do not print what it promises: ${promised}")
endif()

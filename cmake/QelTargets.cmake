# Helpers shared by the subsystem folders.

# qel_add_tests(NAME SOURCES... LIBS... [EMULATOR COMMAND...]): one GoogleTest executable
# registered with CTest; with EMULATOR every test runs through that command (xvfb-run for
# widget tests).
function(qel_add_tests name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;EMULATOR" ${ARGN})
  if(NOT QEL_BUILD_TESTS OR NOT ARG_SOURCES)
    return()
  endif()
  add_executable(${name} ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  if(ARG_EMULATOR)
    set_target_properties(${name} PROPERTIES CROSSCOMPILING_EMULATOR "${ARG_EMULATOR}")
  endif()
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} qel_plugin_ids GTest::gtest
                                        GTest::gtest_main Threads::Threads)
  target_compile_definitions(
    ${name} PRIVATE QEL_FIXTURE_DIR="${QEL_FIXTURE_DIR}" QEL_MODULE_DIR="${QEL_MODULE_DIR}"
                    QEL_PROGRAM="${QEL_OUTPUT_DIR}/Qel3PluginTestHost")
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60)
endfunction()

# qel_add_module(NAME OUTPUT_DIR DIR [PACKAGE] SOURCES...): a plug-in module built from the
# interface headers alone. PACKAGE puts it in NAME.qel3/Contents/x86_64-linux/.
function(qel_add_module name)
  cmake_parse_arguments(ARG "PACKAGE" "DIR" "SOURCES" ${ARGN})
  add_library(${name} MODULE ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE qel3_interfaces)
  set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".so" CXX_VISIBILITY_PRESET hidden
                                           VISIBILITY_INLINES_HIDDEN ON)
  if(ARG_PACKAGE)
    set(out ${ARG_DIR}/${name}.qel3/Contents/x86_64-linux)
  else()
    set(out ${ARG_DIR})
  endif()
  set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${out})
  target_link_options(${name} PRIVATE -Wl,--no-undefined)
  if(QEL_FUZZ)
    # clang links no sanitizer runtime into a shared object; the fuzzed host carries it, and
    # the modules it loads stay plain.
    target_compile_options(${name} PRIVATE -fno-sanitize=all)
    target_link_options(${name} PRIVATE -fno-sanitize=all)
  endif()
endfunction()

# qel_export_headers(TARGET FOLDER [EXCLUDE SUBFOLDER...]): users of TARGET include its headers
# as "FOLDER/name.h". Each library gets an include root of its own that holds only its folder,
# so a library cannot reach the headers of one it does not link. Subfolders that are libraries
# of their own are left out with EXCLUDE.
function(qel_export_headers target folder)
  cmake_parse_arguments(ARG "" "" "EXCLUDE" ${ARGN})
  set(root ${CMAKE_BINARY_DIR}/include/${target})
  set(source ${PROJECT_SOURCE_DIR}/${folder})
  if(NOT ARG_EXCLUDE)
    get_filename_component(parent ${root}/${folder} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    file(CREATE_LINK ${source} ${root}/${folder} SYMBOLIC)
  else()
    # A folder of links, one per entry; a new entry reconfigures the build.
    file(REMOVE_RECURSE ${root}/${folder})
    file(MAKE_DIRECTORY ${root}/${folder})
    file(GLOB entries CONFIGURE_DEPENDS LIST_DIRECTORIES true RELATIVE ${source} ${source}/*)
    foreach(entry ${entries})
      if(NOT entry IN_LIST ARG_EXCLUDE)
        file(CREATE_LINK ${source}/${entry} ${root}/${folder}/${entry} SYMBOLIC)
      endif()
    endforeach()
  endif()
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "INTERFACE_LIBRARY")
    target_include_directories(${target} INTERFACE ${root})
  else()
    target_include_directories(${target} PUBLIC ${root})
  endif()
endfunction()

# qel_add_fuzz_target(NAME SOURCES... LIBS... [CORPUS DIR] [REPRODUCERS DIR]): a fuzz target,
# a file that defines LLVMFuzzerTestOneInput. In the fuzzing build (QEL_FUZZ, clang) it is a
# libFuzzer program, listed with its seed corpus (default fuzz/corpus/NAME beside the calling
# CMakeLists.txt) in fuzz_targets.txt for scripts/fuzz.sh. In every other build it replays the
# corpus and the reproducers (default fuzz/reproducers/NAME: inputs that fuzzing once found
# harmful) as the test Fuzz.NAME, so the sanitizers check them in CI.
function(qel_add_fuzz_target name)
  cmake_parse_arguments(ARG "" "CORPUS;REPRODUCERS" "SOURCES;LIBS" ${ARGN})
  if(NOT ARG_CORPUS)
    set(ARG_CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/corpus/${name})
  endif()
  if(NOT ARG_REPRODUCERS)
    set(ARG_REPRODUCERS ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/reproducers/${name})
  endif()
  if(QEL_FUZZ)
    add_executable(${name} ${ARG_SOURCES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
    target_link_libraries(${name} PRIVATE ${ARG_LIBS})
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    target_compile_definitions(${name} PRIVATE QEL_FIXTURE_DIR="${QEL_FIXTURE_DIR}"
                                               QEL_MODULE_DIR="${QEL_MODULE_DIR}")
    file(APPEND ${CMAKE_BINARY_DIR}/fuzz_targets.txt "${name}\t${ARG_CORPUS}\t${ARG_REPRODUCERS}\n")
  elseif(QEL_BUILD_TESTS)
    add_executable(${name}_replay ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/cmake/fuzzreplaymain.cpp)
    set_target_properties(${name}_replay PROPERTIES RUNTIME_OUTPUT_DIRECTORY
                                                    ${CMAKE_BINARY_DIR}/tests)
    target_link_libraries(${name}_replay PRIVATE ${ARG_LIBS})
    target_compile_definitions(${name}_replay PRIVATE QEL_FIXTURE_DIR="${QEL_FIXTURE_DIR}"
                                                      QEL_MODULE_DIR="${QEL_MODULE_DIR}")
    add_test(NAME Fuzz.${name} COMMAND ${name}_replay ${ARG_CORPUS} ${ARG_REPRODUCERS})
  endif()
endfunction()

# halvo_module(NAME SOURCES a.cpp ... [USES Base ...] [PRIVATE lib ...])
#
# One folder, one static library. Its public headers stand in include/NAME; a module that links it sees
# those and those of what it USES, and nothing of what stands under PRIVATE.
function(halvo_module name)
  cmake_parse_arguments(arg "" "" "SOURCES;USES;PRIVATE" ${ARGN})
  file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/include/${name}/*.h)
  add_library(${name} STATIC ${arg_SOURCES})
  target_sources(${name} PUBLIC FILE_SET HEADERS
    BASE_DIRS ${CMAKE_CURRENT_SOURCE_DIR}/include FILES ${headers})
  target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${arg_USES} PRIVATE ${arg_PRIVATE} halvo_warnings halvo_sanitizers)
  set_target_properties(${name} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
endfunction()

# halvo_loaded_module(NAME SOURCES a.cpp ... [PRIVATE lib ...])
#
# A part of Platform that needs heavy libraries and is opened when first used (see Platform/LoadedModule.h).
# Built to libexec/halvo/modules/NAME.so beside the executable.
function(halvo_loaded_module name)
  cmake_parse_arguments(arg "" "" "SOURCES;PRIVATE" ${ARGN})
  add_library(${name} MODULE ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE Platform ${arg_PRIVATE} halvo_warnings halvo_sanitizers)
  set_target_properties(${name} PROPERTIES PREFIX ""
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/libexec/halvo/modules)
  install(TARGETS ${name} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/halvo/modules)
  set_property(GLOBAL APPEND PROPERTY HALVO_LOADED_MODULES ${name})
endfunction()

# halvo_unit_tests(MODULE SOURCES aTest.cpp ... [USES lib ...])
#
# One test program for a module: build/tests/MODULETests.
function(halvo_unit_tests module)
  cmake_parse_arguments(arg "" "" "SOURCES;USES" ${ARGN})
  set(name ${module}Tests)
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${module} Support ${arg_USES} GTest::gmock GTest::gtest_main
    halvo_test_flags)
  target_precompile_headers(${name} REUSE_FROM TestHeaders)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  get_property(loaded GLOBAL PROPERTY HALVO_LOADED_MODULES)
  if(loaded)
    add_dependencies(${name} ${loaded})
  endif()
  gtest_discover_tests(${name} TEST_PREFIX "${module}." NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300 LABELS unit)
endfunction()

# halvo_tool(NAME FOLDER)
#
# A program of the toolbox, from programs/NAME.cpp: built to libexec/halvo/FOLDER/NAME, where macOS has FOLDER/NAME.
function(halvo_tool name folder)
  set(target Toolbox-${name})
  add_executable(${target} programs/${name}.cpp)
  target_link_libraries(${target} PRIVATE Toolbox halvo_warnings halvo_sanitizers)
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ${name}
    RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/libexec/halvo/${folder})
  install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/halvo/${folder})
  set_property(GLOBAL APPEND PROPERTY HALVO_TOOLS ${target})
endfunction()

# harbinet_add_library(NAME [PORTABLE file...] [WINDOWS file...] [LINK target...] [WINDOWS_LINK lib...])
#
# One folder of src/ is one static library: harbinet_NAME, and harbinet_OUTER_INNER for the folder OUTER/INNER. Its
# headers are reached as "NAME/header.h", and only by targets that link it: each library has an include folder of its
# own, filled with forwarding headers, so an include against the direction of the arrows does not compile.
function(harbinet_add_library name)
  cmake_parse_arguments(ARG "" "" "PORTABLE;WINDOWS;LINK;WINDOWS_LINK" ${ARGN})
  set(sources ${ARG_PORTABLE})
  if(WIN32)
    list(APPEND sources ${ARG_WINDOWS})
  endif()

  string(REPLACE "/" "_" target ${name})
  set(include_dir ${CMAKE_BINARY_DIR}/include/${target})
  file(GLOB headers CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR}
    ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  # Relative, so that the same sources compile to the same texts in whatever folder they lie.
  file(RELATIVE_PATH way_to_headers ${include_dir}/${name} ${CMAKE_CURRENT_SOURCE_DIR})
  foreach(header IN LISTS headers)
    file(CONFIGURE OUTPUT ${include_dir}/${name}/${header}
      CONTENT "#include \"${way_to_headers}/${header}\"\n" @ONLY)
  endforeach()

  if(NOT sources)
    add_library(harbinet_${target} INTERFACE)
    target_include_directories(harbinet_${target} INTERFACE ${include_dir})
    target_link_libraries(harbinet_${target} INTERFACE ${ARG_LINK})
    return()
  endif()
  add_library(harbinet_${target} STATIC ${sources})
  target_include_directories(harbinet_${target} PUBLIC ${include_dir})
  target_link_libraries(harbinet_${target} PRIVATE harbinet_flags PUBLIC ${ARG_LINK})
  if(WIN32)
    target_link_libraries(harbinet_${target} PUBLIC ${ARG_WINDOWS_LINK})
  endif()
endfunction()

# harbinet_add_unit_tests(NAME [PORTABLE file...] [WINDOWS file...] [LINK target...])
# One GoogleTest program, harbinet_NAME_tests ("_" for "/"). Portable tests run natively and under Windows.
function(harbinet_add_unit_tests name)
  cmake_parse_arguments(ARG "" "" "PORTABLE;WINDOWS;LINK" ${ARGN})
  set(sources ${ARG_PORTABLE})
  if(WIN32)
    list(APPEND sources ${ARG_WINDOWS})
  endif()
  if(NOT sources)
    return()
  endif()
  string(REPLACE "/" "_" target ${name})
  add_executable(harbinet_${target}_tests ${sources})
  target_link_libraries(harbinet_${target}_tests PRIVATE harbinet_flags harbinet_test_support
    harbinet_${target} ${ARG_LINK} GTest::gmock_main)
  add_test(NAME unit_${target} COMMAND harbinet_${target}_tests)
  set_property(GLOBAL APPEND PROPERTY HARBINET_UNIT_TESTS harbinet_${target}_tests)
endfunction()

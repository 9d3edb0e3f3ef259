# Compiler flags live on interface targets: harbinet_flags is for this project's own code only.
add_library(harbinet_flags INTERFACE)

target_compile_options(harbinet_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Wimplicit-fallthrough
  $<$<BOOL:${HARBINET_WARNINGS_AS_ERRORS}>:-Werror>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wthread-safety-beta>
)

add_library(harbinet_hardening INTERFACE)
target_compile_options(harbinet_hardening INTERFACE -fstack-protector-strong)
target_compile_definitions(harbinet_hardening INTERFACE _GLIBCXX_ASSERTIONS
  $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)

if(WIN32)
  target_compile_definitions(harbinet_flags INTERFACE
    UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX
    _WIN32_WINNT=0x0A00 WINVER=0x0A00 NTDDI_VERSION=0x0A000000)
  target_compile_options(harbinet_hardening INTERFACE -ffunction-sections -fdata-sections
    # No path of the machine that builds it gets into the program.
    -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)
  target_link_options(harbinet_hardening INTERFACE
    -static -fstack-protector-strong -Wl,--dynamicbase,--nxcompat,--high-entropy-va,--gc-sections
    $<$<CONFIG:Release>:-s>)
endif()
target_link_libraries(harbinet_flags INTERFACE harbinet_hardening)

# Sanitizers and coverage are for every object of a native build, GoogleTest included.
if(HARBINET_SANITIZERS)
  add_compile_options(-fsanitize=${HARBINET_SANITIZERS} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${HARBINET_SANITIZERS})
endif()
if(HARBINET_COVERAGE)
  target_compile_options(harbinet_flags INTERFACE -fprofile-instr-generate -fcoverage-mapping)
  target_link_options(harbinet_flags INTERFACE -fprofile-instr-generate)
endif()

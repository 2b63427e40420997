# Flags for every target of this project.
add_library(tovlark_flags INTERFACE)
target_compile_options(tovlark_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor -Werror
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)  # GCC 12 warns about its own std::string
target_include_directories(tovlark_flags INTERFACE ${CMAKE_SOURCE_DIR}/src ${CMAKE_BINARY_DIR}/generated)
if(WIN32)
  target_compile_definitions(tovlark_flags INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
endif()

set(TOVLARK_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")
if(TOVLARK_SANITIZE)
  add_compile_options(-fsanitize=${TOVLARK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=${TOVLARK_SANITIZE})
  # GCC 12 sees uninitialised members in std::variant and others once the sanitizers' checks stand between.
  target_compile_options(tovlark_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()
if(TOVLARK_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# The upper-case table of src/base/Text.cpp, made from the Unicode character database of the host, for both systems.
set(unicode_data /usr/share/unicode/UnicodeData.txt)
if(NOT EXISTS ${unicode_data})
  message(FATAL_ERROR "${unicode_data} is missing: run scripts/install-dependencies")
endif()
find_program(AWK awk REQUIRED)
set(upper_case_table ${CMAKE_BINARY_DIR}/generated/base/UpperCaseTable.h)
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/generated/base)
add_custom_command(
  OUTPUT ${upper_case_table}
  COMMAND ${AWK} -f ${CMAKE_SOURCE_DIR}/cmake/UpperCase.awk ${unicode_data} > ${upper_case_table}
  DEPENDS ${unicode_data} ${CMAKE_SOURCE_DIR}/cmake/UpperCase.awk
  VERBATIM)
target_sources(room_base PRIVATE ${upper_case_table})

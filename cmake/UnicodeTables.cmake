# The tables of src/base/Text.cpp, made from the Unicode character database of the host, for both systems.
find_program(AWK awk REQUIRED)
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/generated/base)

function(unicode_table header script data)
  set(source /usr/share/unicode/${data})
  if(NOT EXISTS ${source})
    message(FATAL_ERROR "${source} is missing: run scripts/install-dependencies")
  endif()
  set(table ${CMAKE_BINARY_DIR}/generated/base/${header})
  add_custom_command(
    OUTPUT ${table}
    COMMAND ${AWK} -f ${CMAKE_SOURCE_DIR}/cmake/${script} ${source} > ${table}
    DEPENDS ${source} ${CMAKE_SOURCE_DIR}/cmake/${script}
    VERBATIM)
  target_sources(room_base PRIVATE ${table})
endfunction()

unicode_table(UpperCaseTable.h UpperCase.awk UnicodeData.txt)
unicode_table(WideCharacterTable.h WideCharacters.awk EastAsianWidth.txt)

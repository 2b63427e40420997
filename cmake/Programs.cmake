# The system's entry point (main, wmain), which calls ProgramMain. It is a library of objects, not a room: inside a static library it
# would compete with the entry point of the test programs.
file(GLOB entry_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/platform/${TOVLARK_SYSTEM}/main/*.cpp)
if(entry_sources)
  add_library(platform_main OBJECT ${entry_sources})
  target_link_libraries(platform_main PRIVATE tovlark_flags room_platform)
endif()

# The language files, in Lang beside the programs, where a build tree and Windows look for them.
file(GLOB language_files CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/lang/*.ini)
foreach(file ${language_files})
  get_filename_component(name ${file} NAME)
  set(copy ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/Lang/${name})
  add_custom_command(OUTPUT ${copy} COMMAND ${CMAKE_COMMAND} -E copy ${file} ${copy} DEPENDS ${file} VERBATIM)
  list(APPEND language_copies ${copy})
endforeach()
add_custom_target(languages ALL DEPENDS ${language_copies})

# tovlark_program(tvcmd [WINDOWED] [FOLDER tools/tvcmd] LINKS room_platform): build/<preset>/bin/tvcmd from all *.cpp of the folder; without
# one, ProgramMain comes from a room. WINDOWED: the Windows program has no console of its own.
add_custom_target(programs)

function(tovlark_program name)
  cmake_parse_arguments(program "WINDOWED" "FOLDER" "LINKS" ${ARGN})
  set(sources "")
  if(program_FOLDER)
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${program_FOLDER}/*.cpp)
    if(NOT sources)
      return()
    endif()
  endif()
  add_executable(${name} $<TARGET_OBJECTS:platform_main> ${sources})
  target_link_libraries(${name} PRIVATE tovlark_flags header_only ${program_LINKS})
  if(WIN32)
    target_link_options(${name} PRIVATE -municode)
    if(program_WINDOWED)
      target_link_options(${name} PRIVATE -mwindows)
    endif()
  endif()
  add_dependencies(${name} languages)
  add_dependencies(programs ${name})
  install(TARGETS ${name} RUNTIME)
endfunction()

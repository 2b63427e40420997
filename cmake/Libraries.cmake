# Libraries that are not ours. Header-only ones are taken from the host's packages for both systems: a folder with links to just those
# headers keeps the rest of /usr/include out of a cross build.
find_package(Threads REQUIRED)

set(host_headers ${CMAKE_BINARY_DIR}/host-headers)
file(MAKE_DIRECTORY ${host_headers})
foreach(name CLI nlohmann)
  if(NOT EXISTS /usr/include/${name})
    message(FATAL_ERROR "/usr/include/${name} is missing: run scripts/install-dependencies")
  endif()
  file(CREATE_LINK /usr/include/${name} ${host_headers}/${name} SYMBOLIC)
endforeach()
add_library(header_only INTERFACE)
target_include_directories(header_only SYSTEM INTERFACE ${host_headers})

# Digests and CRC-32. The Windows programs need no DLL of it beside them.
if(WIN32)
  set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
endif()
find_library(GCRYPT_LIBRARY gcrypt REQUIRED)
find_library(GPG_ERROR_LIBRARY gpg-error REQUIRED)
find_path(GCRYPT_INCLUDE gcrypt.h REQUIRED)
add_library(gcrypt INTERFACE)
target_include_directories(gcrypt SYSTEM INTERFACE ${GCRYPT_INCLUDE})
target_link_libraries(gcrypt INTERFACE ${GCRYPT_LIBRARY} ${GPG_ERROR_LIBRARY})
if(WIN32)
  target_link_libraries(gcrypt INTERFACE ws2_32)
endif()

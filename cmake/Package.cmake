# Two Debian packages, one for each component of an installation.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_CONTACT "Seed 4e44f66d maintainers <maintainers@users.noreply.c-seed-4e44f66d.example>")
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME lumvndhal)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "bubblewrap | fakechroot")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "fakechroot") # where no namespaces are to be had
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "The service, its command-line client lumctl, and the launcher that runs
 both on a sample device.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME lumvndhal-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "lumvndhal (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "What clients and campaign engines are built with: headers, the host's
 library, a CMake package and pkg-config files.")

# What Debian expects beside the programs. The notices are those of what lumctl holds.
set(documents ${CMAKE_CURRENT_BINARY_DIR}/debian)
set(notices "lumvndhal was written by its maintainers:\n${CPACK_PACKAGE_CONTACT}\n")
foreach(part libcli11-dev nlohmann-json3-dev)
  if(LUM_CTL AND EXISTS /usr/share/doc/${part}/copyright)
    file(READ /usr/share/doc/${part}/copyright notice)
    string(APPEND notices "\nlumctl holds parts of what Debian calls ${part}. Its notice:\n\n${notice}")
  endif()
endforeach()
file(WRITE ${documents}/copyright "${notices}")
file(WRITE ${documents}/changelog "lumvndhal (${PROJECT_VERSION}) stable; urgency=low

  * See the history of its repository.

 -- ${CPACK_PACKAGE_CONTACT}  Thu, 01 Jan 1970 00:00:00 +0000
")
compress(${documents}/changelog.gz ${documents}/changelog)
install(FILES ${documents}/copyright ${documents}/changelog.gz
  DESTINATION share/doc/lumvndhal COMPONENT runtime EXCLUDE_FROM_ALL)
install(FILES ${documents}/copyright ${documents}/changelog.gz
  DESTINATION share/doc/lumvndhal-dev COMPONENT development EXCLUDE_FROM_ALL)

include(CPack)

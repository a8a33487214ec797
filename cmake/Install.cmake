# What is installed, and where. Two components: "runtime" is what a user runs, "development" what a
# program is built with. The platform's libraries have names that others may use too (liblog.so), so
# they and their headers lie in directories of their own, and programs find them from where they are:
# an installation may be moved as a whole.
set(libraries lib/lumvndhal)
set(headers include/lumvndhal)
set(platform log cutils binder_ndk common_ndk fmq_types_ndk fmq)
set(client lumvndhal_ndk lumvndhal_client)
set(host service_headers lumvndhal_halimpl lumvndhal_host)

set_target_properties(${platform} lumvndhal_ndk lumvndhal_halimpl PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(lumvndhal_client PROPERTIES EXPORT_NAME client)
set_target_properties(lumvndhal_host PROPERTIES EXPORT_NAME host)

install(TARGETS ${platform} ${client} ${host} EXPORT lumvndhal
  LIBRARY DESTINATION ${libraries} COMPONENT runtime
  ARCHIVE DESTINATION ${libraries} COMPONENT development
  INCLUDES DESTINATION ${headers})

# compress(OUTPUT SOURCE): as Debian wants manuals and changelogs.
function(compress output source)
  add_custom_command(OUTPUT ${output} COMMAND gzip -9nc ${source} > ${output} DEPENDS ${source} VERBATIM)
  set_property(GLOBAL APPEND PROPERTY LUM_COMPRESSED ${output})
endfunction()

function(install_manual source)
  get_filename_component(name ${source} NAME)
  compress(${PROJECT_BINARY_DIR}/${name}.gz ${PROJECT_SOURCE_DIR}/${source})
  install(FILES ${PROJECT_BINARY_DIR}/${name}.gz DESTINATION share/man/man1 COMPONENT runtime)
endfunction()

# --- runtime

set(programs lum_service)
install_manual(linux/root/vendor.tav.lumvndhal_aidl-service.1)
if(LUM_CTL)
  list(APPEND programs lumctl)
  install_manual(linux/ctl/lumctl.1)
  install(FILES linux/ctl/completion/lumctl COMPONENT runtime
    DESTINATION share/bash-completion/completions)
  # zsh looks in the first below /usr/local, and Debian's in the second below /usr.
  install(FILES linux/ctl/completion/lumctl.zsh RENAME _lumctl COMPONENT local OPTIONAL
    DESTINATION share/zsh/site-functions)
  install(FILES linux/ctl/completion/lumctl.zsh RENAME _lumctl COMPONENT runtime OPTIONAL
    EXCLUDE_FROM_ALL DESTINATION share/zsh/vendor-completions)
  install(FILES linux/ctl/completion/lumctl.fish COMPONENT runtime OPTIONAL
    DESTINATION share/fish/vendor_completions.d)
endif()
set_target_properties(${programs} PROPERTIES INSTALL_RPATH "$ORIGIN/../${libraries}")
if(NOT CMAKE_CROSSCOMPILING) # the launcher is always for the machine that builds
  list(APPEND programs device_root_run)
  install_manual(linux/root/lumvndhal-root.1)
  install(TARGETS device_root_mkdir LIBRARY DESTINATION ${libraries} COMPONENT runtime)
  install(DIRECTORY linux/root/sample/ DESTINATION share/lumvndhal/sample-root COMPONENT runtime)
endif()
install(TARGETS ${programs} RUNTIME DESTINATION bin COMPONENT runtime)

# --- development

include(CMakePackageConfigHelpers)
set(package lib/cmake/lumvndhal)
install(DIRECTORY linux/platform/log/include/ linux/platform/properties/include/
  linux/platform/binder/include/ linux/platform/common/include/ linux/platform/fmq/include/
  linux/mapping/include/ DESTINATION ${headers} COMPONENT development)
install(FILES service/LumvndhalImpl.h service/GuardedBy.h host/SessionOperator.h
  DESTINATION ${headers} COMPONENT development)
install(EXPORT lumvndhal NAMESPACE lumvndhal:: FILE lumvndhalTargets.cmake
  DESTINATION ${package} COMPONENT development)
write_basic_package_version_file(lumvndhalConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES cmake/package/lumvndhalConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/lumvndhalConfigVersion.cmake
  DESTINATION ${package} COMPONENT development)
foreach(name client host)
  configure_file(cmake/package/lumvndhal-${name}.pc.in lumvndhal-${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lumvndhal-${name}.pc
    DESTINATION lib/pkgconfig COMPONENT development)
endforeach()

# --- Debian packages

include(cmake/Package.cmake)

# All that has to be built for an installation, and no more.
get_property(compressed GLOBAL PROPERTY LUM_COMPRESSED)
add_custom_target(installed ALL DEPENDS
  ${compressed} ${platform} lumvndhal_ndk lumvndhal_halimpl lumvndhal_host ${programs})

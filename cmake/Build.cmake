# What every target shares: the language, the warnings, where things are put.

set(CMAKE_CXX_STANDARD 17 CACHE STRING "C++ standard (17 as on a device; 20 must be clean too)")
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS ON) # gnu++, as on a device
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_COMPILE_WARNING_AS_ERROR ${PROJECT_IS_TOP_LEVEL}) # another compiler may have more of them
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
find_package(Threads REQUIRED)

add_compile_options(
  -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wundef
  -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wcast-qual -Wimplicit-fallthrough
  -Wunused -Wmissing-declarations)
add_link_options(LINKER:--as-needed)

# One of: empty, "address,undefined", "thread".
set(LUM_SANITIZE "" CACHE STRING "Sanitizers to build everything with")
if(LUM_SANITIZE)
  # No vptr check: the library has no run-time type information, as on a device.
  add_compile_options(-fsanitize=${LUM_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${LUM_SANITIZE})
else()
  add_link_options(LINKER:--no-undefined) # clang links a sanitizer's run-time into executables only
endif()

# What programs of the tests are started through: an emulator, or for the thread sanitizer a
# predictable layout.
if(LUM_SANITIZE STREQUAL "thread")
  set(LUM_EMULATOR setarch --addr-no-randomize)
endif()

# Whether char is signed: empty for the compiler's own choice, else "signed" or "unsigned".
set(LUM_CHAR "" CACHE STRING "Signedness of plain char")
if(LUM_CHAR)
  add_compile_options(-f${LUM_CHAR}-char)
endif()

# Headers for the target itself and for who links it.
function(add_public_headers target directory)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${directory}>)
  target_compile_features(${target} PUBLIC cxx_std_17)
endfunction()

# For linux/ alone: headers that a device does not have.
function(use_internal_headers target)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/linux/platform/internal)
endfunction()

# A stand-in for one of Android's platform libraries: lib<name>.so, headers under include/.
function(add_platform_library name)
  cmake_parse_arguments(ARG "" "FILE" "SOURCES;LINK" ${ARGN})
  add_library(${name} SHARED ${ARG_SOURCES})
  add_public_headers(${name} ${CMAKE_CURRENT_SOURCE_DIR}/include)
  use_internal_headers(${name})
  target_link_libraries(${name} PUBLIC ${ARG_LINK})
  if(ARG_FILE) # a library whose file carries no "lib" in front
    set_target_properties(${name} PROPERTIES PREFIX "" OUTPUT_NAME ${ARG_FILE})
  endif()
endfunction()

# What the members of LumvndhalImpl are compiled with: as on a device, and nothing exported but what
# the class declaration exports.
function(use_device_flags target)
  target_compile_options(${target} PRIVATE
    -fno-exceptions -fno-rtti -fvisibility=hidden -fvisibility-inlines-hidden)
endfunction()

# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# What every target of the project shares: where products go, and what a compiler must accept without a word.

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

# What is below the platform line keeps its interface within a minor version, as its CMake packages say.
set(CCI_PLATFORM_SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

# Libraries and programs find one another by their place in the tree, built or installed.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

option(BUILD_TESTING "Build the tests" ON)
option(CCI_WARNINGS_AS_ERRORS "Stop at the first warning" ON)
set(CCI_SANITIZE "" CACHE STRING "Sanitizers for every target, as -fsanitize= takes them")

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(CCI_WARNINGS_AS_ERRORS)
  add_compile_options(-Werror)
endif()
add_link_options(-Wl,-z,defs -Wl,--as-needed)
if(CCI_SANITIZE)
  add_compile_definitions(CCI_SANITIZED)
  # The runtime of a sanitizer is in the program, not in each library. Its reports need line numbers and no more.
  add_compile_options(-fsanitize=${CCI_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${CCI_SANITIZE} -Wl,-z,undefs)
endif()

# Compressed, as Debian wants it.
function(install_manual_page name)
  set(page ${PROJECT_SOURCE_DIR}/docs/man/${name}.1)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${page})
  execute_process(COMMAND gzip -9nc ${page} OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/${name}.1.gz
    COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
endfunction()

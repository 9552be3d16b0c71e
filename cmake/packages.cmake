# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# Debian packages of what is built: cpack --config build/CPackConfig.cmake
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME client-cert-initializer)
set(CPACK_PACKAGE_VENDOR "the authors of client-cert-initializer")
set(CPACK_PACKAGE_CONTACT "the authors of client-cert-initializer <authors@client-cert-initializer.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/use_ldconfig_trigger.cmake)
set(exactly "(= ${PROJECT_VERSION})")

# Each package has a changelog and a copyright file.
set(debian_files ${PROJECT_BINARY_DIR}/debian)
string(TIMESTAMP built_at "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${debian_files}/changelog "${CPACK_PACKAGE_NAME} (${PROJECT_VERSION}) unstable; urgency=medium

  * CHANGELOG.md of the sources says what is new.

 -- ${CPACK_PACKAGE_CONTACT}  ${built_at}
")
execute_process(COMMAND gzip -9nf changelog WORKING_DIRECTORY ${debian_files} COMMAND_ERROR_IS_FATAL ANY)
file(WRITE ${debian_files}/copyright "Copyright: 2026 the authors of ${CPACK_PACKAGE_NAME}
License: Apache-2.0; /usr/share/common-licenses/Apache-2.0 has its text.
")

# cci_package(GROUP NAME SECTION SYNOPSIS DESCRIPTION COMPONENTS... [DEPENDS ...])
macro(cci_package group name section synopsis description)
  cmake_parse_arguments(PACKAGE "" "" "COMPONENTS;DEPENDS" ${ARGN})
  string(TOUPPER ${group} GROUP)
  set(CPACK_DEBIAN_${GROUP}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${GROUP}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${GROUP}_DESCRIPTION "${synopsis}\n${description}")
  if(PACKAGE_DEPENDS)
    string(REPLACE ";" ", " CPACK_DEBIAN_${GROUP}_PACKAGE_DEPENDS "${PACKAGE_DEPENDS}")
  endif()
  list(GET PACKAGE_COMPONENTS 0 first)
  install(FILES ${debian_files}/changelog.gz ${debian_files}/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${first})
  foreach(component ${PACKAGE_COMPONENTS})
    string(TOUPPER ${component} COMPONENT)
    set(CPACK_COMPONENT_${COMPONENT}_GROUP ${group})
    list(APPEND CPACK_COMPONENTS_ALL ${component})
  endforeach()
endmacro()

set(purpose "It provisions and uses a client certificate for mutual TLS whose private
key never leaves a trusted execution environment, a PKCS#11 token.")
if(CCI_PLATFORM STREQUAL "host")
  set(host_platform "ozk-host-platform ${exactly}")
endif()
cci_package(library libclientcertinitializer1 libs "client certificates whose key stays in a TEE: library"
  "The library for applications on an AUTOSAR Adaptive platform.\n${purpose}" COMPONENTS runtime DEPENDS ${host_platform})
cci_package(development libclientcertinitializer-dev libdevel
  "client certificates whose key stays in a TEE: development"
  "Header, link, and files for pkg-config and CMake.\n${purpose}" COMPONENTS dev
  DEPENDS "libclientcertinitializer1 ${exactly}")
if(CCI_PLATFORM STREQUAL "host")
  cci_package(platform ozk-host-platform libs "software token, Botan's PKCS#11 layer and ara::log"
    "What libclientcertinitializer1 finds on a vehicle, for a Linux machine: a
software token, the PKCS#11 layer that Debian's Botan lacks, and the log
library." COMPONENTS host botan-pkcs11)
  cci_package(platform_development ozk-host-platform-dev libdevel
    "software token, Botan's PKCS#11 layer and ara::log: development"
    "Headers, links, and files for pkg-config and CMake of ozk-host-platform." COMPONENTS host-dev botan-pkcs11-dev
    DEPENDS "ozk-host-platform ${exactly}")
  # What the token loads when its keys are in a TPM.
  set(CPACK_DEBIAN_PLATFORM_PACKAGE_SUGGESTS "libtss2-esys-3.0.2-0, libtss2-tctildr0, libtss2-tcti-device0")
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/ozk-host-platform.overrides RENAME ozk-host-platform
    DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT host)
endif()
if(CCI_PLATFORM STREQUAL "host" OR CCI_COMMAND)
  cci_package(programs ozk-tools utils "command lines for client certificates whose key stays in a TEE"
    "cci, the library's command line; tee-token, which makes, fills and checks
software tokens; mutual-tls, a TLS client whose key is in the token; and
examples." COMPONENTS tools
    DEPENDS "libclientcertinitializer1 ${exactly}" ${host_platform})
  install(DIRECTORY examples/mutual-tls examples/openssl-client examples/pkcs11-layer examples/renewal
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ozk-tools/examples USE_SOURCE_PERMISSIONS COMPONENT tools)
endif()
include(CPack)

# What is linked with what, in the form of SPDX; ldd and dpkg tell it of programs of this machine alone.
if(CMAKE_CROSSCOMPILING)
  return()
endif()
set(linked clientcertinitializer)
if(CCI_COMMAND)
  list(APPEND linked cci)
endif()
if(CCI_PLATFORM STREQUAL "host")
  list(APPEND linked ara-log botan-pkcs11 teetoken tee-token)
endif()
set(bill_of_materials ${PROJECT_BINARY_DIR}/${CPACK_PACKAGE_NAME}.spdx)
list(TRANSFORM linked REPLACE "(.+)" "$<TARGET_FILE:\\1>" OUTPUT_VARIABLE linked_files)
add_custom_command(OUTPUT ${bill_of_materials}
  COMMAND ${PROJECT_SOURCE_DIR}/cmake/sbom.sh ${bill_of_materials} ${CPACK_PACKAGE_NAME} ${PROJECT_VERSION}
    Apache-2.0 libcli11-dev,nlohmann-json3-dev ${linked_files}
  DEPENDS ${linked} cmake/sbom.sh VERBATIM)
add_custom_target(sbom ALL DEPENDS ${bill_of_materials})
install(FILES ${bill_of_materials} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libclientcertinitializer1 COMPONENT runtime)

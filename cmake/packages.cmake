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
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF)
set(exactly "(= ${PROJECT_VERSION})")

# cci_package(GROUP NAME SECTION DESCRIPTION COMPONENTS... [DEPENDS ...])
macro(cci_package group name section description)
  cmake_parse_arguments(PACKAGE "" "" "COMPONENTS;DEPENDS" ${ARGN})
  string(TOUPPER ${group} GROUP)
  set(CPACK_DEBIAN_${GROUP}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${GROUP}_PACKAGE_SECTION ${section})
  set(CPACK_COMPONENT_GROUP_${GROUP}_DESCRIPTION "${description}")
  set(CPACK_COMPONENT_${GROUP}_DESCRIPTION "${description}")
  if(PACKAGE_DEPENDS)
    string(REPLACE ";" ", " CPACK_DEBIAN_${GROUP}_PACKAGE_DEPENDS "${PACKAGE_DEPENDS}")
  endif()
  foreach(component ${PACKAGE_COMPONENTS})
    string(TOUPPER ${component} COMPONENT)
    set(CPACK_COMPONENT_${COMPONENT}_GROUP ${group})
    list(APPEND CPACK_COMPONENTS_ALL ${component})
  endforeach()
endmacro()

cci_package(library libclientcertinitializer1 libs
  "Client certificates whose private key never leaves a TEE: library" COMPONENTS runtime)
cci_package(development libclientcertinitializer-dev libdevel
  "Client certificates whose private key never leaves a TEE: header and link" COMPONENTS dev
  DEPENDS "libclientcertinitializer1 ${exactly}")
if(CCI_PLATFORM STREQUAL "host")
  cci_package(platform ozk-host-platform libs
    "Software token, PKCS#11 layer for Botan and ara::log, with their headers" COMPONENTS host botan-pkcs11)
  set(platform_package "ozk-host-platform ${exactly}")
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "ozk-host-platform ${exactly}")
endif()
if(CCI_PLATFORM STREQUAL "host" OR CCI_COMMAND)
  cci_package(programs ozk-tools utils
    "cci, the library's command line, and tee-token, which makes, fills and checks software tokens" COMPONENTS tools
    DEPENDS "libclientcertinitializer1 ${exactly}" ${platform_package})
endif()
include(CPack)

# What is linked with what, in the form of SPDX.
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
set(documents ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_PACKAGE_NAME})
install(FILES ${bill_of_materials} DESTINATION ${documents} COMPONENT runtime)
install(FILES LICENSES/Apache-2.0.txt RENAME LICENSE DESTINATION ${documents} COMPONENT runtime)

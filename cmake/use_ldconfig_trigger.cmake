# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# CPack writes scripts that call ldconfig into packages with libraries; Debian wants dpkg's trigger instead.
foreach(package ${CPACK_PACKAGE_FILES})
  set(folder ${package}.content)
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${folder} COMMAND_ERROR_IS_FATAL ANY)
  if(EXISTS ${folder}/DEBIAN/postinst)
    file(REMOVE ${folder}/DEBIAN/postinst ${folder}/DEBIAN/postrm)
    file(WRITE ${folder}/DEBIAN/triggers "activate-noawait ldconfig\n")
    execute_process(COMMAND dpkg-deb --root-owner-group --build ${folder} ${package}
      OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  endif()
  file(REMOVE_RECURSE ${folder})
endforeach()

# What `cmake --install` puts where, and the Debian package that `cpack` makes of it. Included where the program is built
# for one process without sanitizers; a build for MPI installs its program alone, as tessaron-mpi.
include(GNUInstallDirs)
set(TESSARON_CONTACT "Tessaron developers <tessaron@localhost>" CACHE STRING "who answers for a package that is passed on")
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)  # who installs has built; tests and benchmarks are not waited for

if(TESSARON_MPI)
  install(PROGRAMS $<TARGET_FILE:tessaron> TYPE BIN RENAME tessaron-mpi)
  return()
endif()
install(TARGETS tessaron)

# The companions go where the Python of this prefix looks for modules (known only when it is installed), and where Debian's
# does otherwise; their command finds them in both.
install(CODE [=[
  set(TESSARON_PYTHON_DIR lib/python3/dist-packages)
  foreach(python /usr/bin/python3 python3)
    execute_process(COMMAND ${python} -c "import re, site, sys
prefix = re.escape(sys.argv[1].rstrip('/'))
for path in sys.path + [site.getusersitepackages()]:
    found = re.fullmatch(prefix + '/(lib/python3[.0-9]*/(dist|site)-packages)', path)
    if found:
        sys.exit(print(found[1], end=''))" "${CMAKE_INSTALL_PREFIX}" OUTPUT_VARIABLE found ERROR_QUIET)
    if(found)
      set(TESSARON_PYTHON_DIR "${found}")
      break()
    endif()
  endforeach()
]=])
install(DIRECTORY tools/tessaron DESTINATION "\${TESSARON_PYTHON_DIR}" PATTERN __pycache__ EXCLUDE)
install(PROGRAMS tools/tessaron-tools TYPE BIN)

set(docs ${CMAKE_INSTALL_DATAROOTDIR}/doc/tessaron)  # links between the pages hold there as in the sources
install(FILES README.md CHANGELOG.md CONTRIBUTING.md packaging/copyright DESTINATION ${docs})
install(FILES tools/README.md DESTINATION ${docs}/tools)
install(DIRECTORY docs examples DESTINATION ${docs}
        PATTERN work EXCLUDE PATTERN __pycache__ EXCLUDE PATTERN "test_*.py" EXCLUDE PATTERN site EXCLUDE PATTERN "*.sh" EXCLUDE)

# The pages as a site, where Debian's mkdocs is: `cmake --build build --target docs`; installed if it was built.
find_program(MKDOCS mkdocs)
if(MKDOCS)
  add_custom_target(docs COMMAND ${CMAKE_SOURCE_DIR}/docs/build.sh ${CMAKE_BINARY_DIR}/site VERBATIM)
endif()
install(DIRECTORY ${CMAKE_BINARY_DIR}/site/ DESTINATION ${docs}/html OPTIONAL)

# Man pages, Debian's changelog and the completion of bash are made from the texts of the commands themselves, with nothing but Python.
find_package(Python3 QUIET COMPONENTS Interpreter)
if(Python3_FOUND)
  set(pages ${CMAKE_BINARY_DIR}/pages)
  file(GLOB commands CONFIGURE_DEPENDS tools/tessaron/command/*.py)
  add_custom_command(
    OUTPUT ${pages}/tessaron.1.gz ${pages}/tessaron-tools.1.gz ${pages}/completion ${pages}/changelog.gz
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/packaging/pages.py $<TARGET_FILE:tessaron> ${pages}
            "${TESSARON_CONTACT}"
    DEPENDS tessaron packaging/pages.py CHANGELOG.md ${commands}
    COMMENT "Making man pages and completion" VERBATIM)
  add_custom_target(pages ALL DEPENDS ${pages}/tessaron.1.gz)
  install(FILES ${pages}/tessaron.1.gz ${pages}/tessaron-tools.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${pages}/changelog.gz DESTINATION ${docs})
  install(FILES ${pages}/completion DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions RENAME tessaron-tools)
  install(FILES ${pages}/completion DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions RENAME tessaron)
else()
  message(STATUS "Python not found: no man pages and no completion are made")
endif()

include(packaging/deb.cmake)

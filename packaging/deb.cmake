# The Debian package: `cpack --config build/CPackConfig.cmake` behind the build.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tessaron)
set(CPACK_PACKAGE_CONTACT "${TESSARON_CONTACT}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "bunches in magnet lattices with coherent synchrotron radiation")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Tessaron follows a bunch of macro-particles through a magnet lattice in the
time domain and computes the force of the bunch on itself, above all coherent
synchrotron radiation, with models from a fast line charge to a direct sum
over all pairs of sub-bunches.

With it come tessaron-tools and the Python package tessaron, which make and
convert bunches, check decks, start runs and scans, and show their results.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)

# The libraries of the program, by dpkg-shlibdeps; Debian's packages of what the companions import.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
file(READ pyproject.toml project)
string(REGEX MATCH "\ndependencies = \\[([^]]*)\\]" project "${project}")
string(REGEX MATCHALL "[a-z0-9_-]+" imported "${CMAKE_MATCH_1}")
list(TRANSFORM imported PREPEND "python3-")
list(JOIN imported ", " imported)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "python3, ${imported}")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3-distributed, python3-mpi4py, python3-scipy, python3-notebook")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${CMAKE_SOURCE_DIR}/packaging/postinst;${CMAKE_SOURCE_DIR}/packaging/prerm")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)

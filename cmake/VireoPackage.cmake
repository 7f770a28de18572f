# The Debian package of everything `cmake --install` puts down:
#   cmake --workflow --preset default && cpack --config build/default/CPackConfig.cmake -B build/default/package
# Runtime dependencies (libstdc++, yaml-cpp) come from dpkg-shlibdeps.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "replays recorded AWB statistics through a white-balance simulation library")
set(CPACK_PACKAGE_CONTACT "vireo-awbsim maintainers <vireo-awbsim@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The data generator reads the camera profiles of rawtherapee-data when asked.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "rawtherapee-data, bash-completion")
include(CPack)

# Installation layout and the Debian package (cpack -G DEB in the build folder).
#
# The window looks for its factory camera configurations in "config/" beside its executable, so
# QuorvelView lives in lib/quorvelview with config/ next to it, and bin/QuorvelView is a relative
# symbolic link to it (the program resolves its own path through the link). The command-line
# tools go to bin/, the quorvel Python module (python/CMakeLists.txt) to Debian's
# lib/python3/dist-packages, where python3-numpy lives. A desktop entry, the icon and a MIME type for .raw recordings let a file
# manager open recordings with QuorvelView. Dependencies come from dpkg-shlibdeps.
include(GNUInstallDirs)

set(QV_APP_DIR ${CMAKE_INSTALL_LIBDIR}/quorvelview)
install(TARGETS quorvel quorvel-camd RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(QV_BUILD_GUI)
  install(TARGETS QuorvelView RUNTIME DESTINATION ${QV_APP_DIR})
  install(FILES ${CMAKE_SOURCE_DIR}/resources/config/dvs_default_config.json
                ${CMAKE_SOURCE_DIR}/resources/config/fusion_cmaera_default_config.json
          DESTINATION ${QV_APP_DIR}/config)
  file(RELATIVE_PATH QV_APP_LINK /${CMAKE_INSTALL_BINDIR} /${QV_APP_DIR}/QuorvelView)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
  file(CREATE_LINK ${QV_APP_LINK} ${CMAKE_BINARY_DIR}/package/QuorvelView SYMBOLIC)
  install(FILES ${CMAKE_BINARY_DIR}/package/QuorvelView DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${CMAKE_SOURCE_DIR}/resources/desktop/quorvelview.desktop
          DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
  install(FILES ${CMAKE_SOURCE_DIR}/resources/desktop/quorvelview-mime.xml
          DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages RENAME quorvelview.xml)
  install(FILES "${CMAKE_SOURCE_DIR}/resources/img/assets/Quorvel logo.svg"
          DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps RENAME quorvelview.svg)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quorvelview)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Quorvel")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Viewer and recorder for event cameras and fusion cameras")
set(CPACK_PACKAGE_DESCRIPTION
    "QuorvelView lists event cameras (USB and Ethernet), streams them live, changes their settings, "
    "records .raw files and plays recordings back with cutting and MP4 export; fusion recordings play "
    "with APS frames and events aligned. Includes the quorvel command-line tool, the quorvel-camd "
    "camera daemon and the quorvel Python module (recordings and cameras as NumPy arrays).")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "QuorvelView developers <quorvelview@localhost>")
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded as plugins, so dpkg-shlibdeps cannot see it: the SVG icons of the whole interface.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6svg6")
if(TARGET qv_python)
  # The module is for Debian's Python 3 and hands out NumPy arrays.
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "shared-mime-info, desktop-file-utils, python3, python3-numpy")
else()
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "shared-mime-info, desktop-file-utils")
endif()
include(CPack)

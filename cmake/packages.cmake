# Debian packages, a package a group of components: `cpack --config build/release/CPackConfig.cmake`.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kep-rg)
set(CPACK_PACKAGE_VENDOR "The kep_rg authors")
set(KEP_RG_PACKAGE_CONTACT "The kep_rg authors <kep-rg@example.com>" CACHE STRING "Who answers for the packages")
set(CPACK_PACKAGE_CONTACT "${KEP_RG_PACKAGE_CONTACT}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
                                                WORLD_EXECUTE)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
# The libraries of one package are looked for by those of the others.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)

set(kep_debian ${PROJECT_BINARY_DIR}/debian)
string(TIMESTAMP kep_release_date "%a, %d %b %Y %H:%M:%S +0000" UTC) # or that of SOURCE_DATE_EPOCH
configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/changelog.in ${kep_debian}/changelog.Debian @ONLY)
execute_process(COMMAND ${KEP_RG_GZIP} -9nf changelog.Debian WORKING_DIRECTORY ${kep_debian} COMMAND_ERROR_IS_FATAL ANY)

# The package `name` of the component: what Debian wants of each stands beside it, not in an installed tree.
macro(kep_add_package component name section description)
  string(TOUPPER ${component} kep_group)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright ${kep_debian}/changelog.Debian.gz DESTINATION share/doc/${name}
          COMPONENT ${component}-debian EXCLUDE_FROM_ALL)
  list(APPEND CPACK_COMPONENTS_ALL ${component} ${component}-debian)
  string(TOUPPER ${component}-debian kep_extra)
  set(CPACK_COMPONENT_${kep_group}_GROUP ${component})
  set(CPACK_COMPONENT_${kep_extra}_GROUP ${component})
  set(CPACK_DEBIAN_${kep_group}_DESCRIPTION "${description}")
  set(CPACK_DEBIAN_${kep_group}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${kep_group}_PACKAGE_SECTION ${section})
endmacro()

set(CPACK_COMPONENTS_ALL)
set(kep_same_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
kep_add_package(lib libkep-rg${KEP_RG_SOVERSION} libs
                "Libraries that unfold a hierarchical device model and build its graph\nof nodes and edges, for routers, timers and bitstream tools.")
set(CPACK_DEBIAN_LIB_PACKAGE_SHLIBDEPS ON)
set(shlibs)
foreach(library IN LISTS kep_libraries)
  string(APPEND shlibs "lib${library} ${KEP_RG_SOVERSION} libkep-rg${KEP_RG_SOVERSION} (>= ${PROJECT_VERSION})\n")
endforeach()
file(WRITE ${kep_debian}/shlibs "${shlibs}")
file(WRITE ${kep_debian}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIB_PACKAGE_CONTROL_EXTRA ${kep_debian}/shlibs ${kep_debian}/triggers)
set(kep_needs_libraries "libkep-rg${KEP_RG_SOVERSION} ${kep_same_version}")
kep_add_package(dev libkep-rg-dev libdevel
                "Headers and files for CMake and pkg-config of the libraries that build\nthe routing graph of a device. Pages and examples come with the tool.")
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${kep_needs_libraries}, libtbb-dev, libboost-dev")
if(KEP_RG_BUILD_TOOL)
  kep_add_package(tool kep-rg electronics
                  "kep-rg imports and builds the routing graph of a device, checks and\nproves it, traces edges and keeps the graph in a device database. Pages\nand examples of tool, libraries and Python module are here, too.")
  set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${kep_needs_libraries}")
  set(CPACK_DEBIAN_DEV_PACKAGE_RECOMMENDS kep-rg) # for the pages and examples
endif()
if(KEP_RG_BUILD_PYTHON)
  kep_add_package(python python3-kep-rg python
                  "The module kep_rg opens, builds and describes devices and gives the\nedges of their graphs as numpy arrays.")
  list(REMOVE_ITEM CPACK_COMPONENTS_ALL python) # python-debian has the module where packages put it
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
  math(EXPR kep_next_minor "${Python3_VERSION_MINOR} + 1") # a module is compiled for one minor version
  set(kep_python "python3 (>= 3.${Python3_VERSION_MINOR}), python3 (<< 3.${kep_next_minor})")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "${kep_needs_libraries}, ${kep_python}, python3-numpy")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-scipy")
  set(kep_scripts ${PROJECT_SOURCE_DIR}/cmake/debian/python3-kep-rg)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${kep_scripts}/postinst ${kep_scripts}/prerm)
endif()
include(CPack)

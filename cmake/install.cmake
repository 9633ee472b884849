# What `cmake --install` puts where, in the components of which packages are made: lib, dev, tool, python (its rules stand
# beside its sources).
include(CMakePackageConfigHelpers)

foreach(dir BINDIR LIBDIR INCLUDEDIR DATADIR DOCDIR MANDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    message(FATAL_ERROR "CMAKE_INSTALL_${dir} must be a folder below the prefix: installed trees can be moved")
  endif()
endforeach()

set(kep_libraries kep_report kep kep_rg kep_io)
# The tool finds the libraries wherever both were put together.
file(RELATIVE_PATH kep_from_bin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set_target_properties(${kep_libraries} PROPERTIES INSTALL_RPATH $ORIGIN)
if(TARGET kep-rg)
  set_target_properties(kep-rg PROPERTIES INSTALL_RPATH $ORIGIN/${kep_from_bin})
  install(TARGETS kep-rg COMPONENT tool)
endif()

install(
  TARGETS ${kep_libraries}
  EXPORT kep_rg-targets
  LIBRARY COMPONENT lib NAMELINK_COMPONENT dev
  ARCHIVE COMPONENT dev
  INCLUDES
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(library IN LISTS kep_libraries)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/h/${library} ${PROJECT_BINARY_DIR}/h/${library}
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev
          FILES_MATCHING PATTERN "*.h")
endforeach()

# What stands below /usr is found without a path in the file, and packages must not have one.
set(kep_drop_path "
  if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
    file(GLOB files \"\$ENV{DESTDIR}/usr/@where@\")
    foreach(file IN LISTS files)
      file(RPATH_REMOVE FILE \"\${file}\")
    endforeach()
  endif()")
function(kep_drop_path component where)
  string(CONFIGURE "${kep_drop_path}" code @ONLY)
  install(CODE "${code}" COMPONENT ${component})
endfunction()
kep_drop_path(lib ${CMAKE_INSTALL_LIBDIR}/libkep*.so.${PROJECT_VERSION})
kep_drop_path(tool ${CMAKE_INSTALL_BINDIR}/kep-rg)
if(KEP_RG_BUILD_PYTHON)
  kep_drop_path(python ${KEP_RG_PYTHON_DIR}/kep_rg/*.so)
  kep_drop_path(python-debian ${KEP_RG_PACKAGED_PYTHON_DIR}/kep_rg/*.so)
endif()

# CMake: find_package(kep_rg)
set(kep_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kep_rg)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kep_rg-config.cmake.in ${PROJECT_BINARY_DIR}/kep_rg-config.cmake
                              INSTALL_DESTINATION ${kep_cmake_dir} NO_SET_AND_CHECK_MACRO)
# Until 1.0 a minor version may change what programs rely on.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kep_rg-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kep_rg-config.cmake ${PROJECT_BINARY_DIR}/kep_rg-config-version.cmake
        DESTINATION ${kep_cmake_dir} COMPONENT dev)
install(EXPORT kep_rg-targets NAMESPACE kep:: DESTINATION ${kep_cmake_dir} COMPONENT dev)

# pkg-config, a file a library. They name their place by where they lie, so that a whole tree can be moved.
file(RELATIVE_PATH kep_pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
function(kep_install_pc library description requires private_requires private_links)
  set(name ${library})
  if(NOT BUILD_SHARED_LIBS) # then whoever links it links all that it needs
    string(APPEND requires " ${private_requires}")
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endfunction()
kep_install_pc(kep_report "Streams, rules, profiler and assertions of kep_rg" "" "" "-pthread")
kep_install_pc(kep "Hierarchical device models, unfolded positions and graphs" "kep_report = ${PROJECT_VERSION} tbb" fmt "")
kep_install_pc(kep_rg "${PROJECT_DESCRIPTION}" "kep = ${PROJECT_VERSION}" fmt "")
kep_install_pc(kep_io "Files of device models, descriptions and device databases" "kep_rg = ${PROJECT_VERSION}"
               "simdjson fmt capnp libxxhash" "")

# What there is to read, and the examples: beside the tool, whose man pages name them, or else beside the headers.
if(TARGET kep-rg)
  set(kep_doc_component tool)
else()
  set(kep_doc_component dev)
endif()
set(kep_doc_files README.md CHANGELOG.md CONTRIBUTING.md LICENSE NOTICE)
list(TRANSFORM kep_doc_files PREPEND ${PROJECT_SOURCE_DIR}/)
install(FILES ${kep_doc_files} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT ${kep_doc_component})
foreach(folder docs h/kep_report h/kep h/kep_rg h/kep_io)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder}/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/${folder} COMPONENT ${kep_doc_component}
          FILES_MATCHING PATTERN "*.md" PATTERN __pycache__ EXCLUDE PATTERN detail EXCLUDE)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT ${kep_doc_component}
        PATTERN .gitignore EXCLUDE PATTERN __pycache__ EXCLUDE)
install(FILES ${PROJECT_SOURCE_DIR}/kep_io/database/kep_database.capnp DESTINATION ${CMAKE_INSTALL_DATADIR}/kep_rg
        COMPONENT ${kep_doc_component})
# Headers and the schema lie elsewhere now than where pages link to.
file(RELATIVE_PATH kep_headers /${CMAKE_INSTALL_DOCDIR} /${CMAKE_INSTALL_INCLUDEDIR})
file(RELATIVE_PATH kep_schema /${CMAKE_INSTALL_DOCDIR}/docs /${CMAKE_INSTALL_DATADIR}/kep_rg)
set(kep_turn_links [[
  foreach(page README.md docs/file-format.md)
    set(page "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/@CMAKE_INSTALL_DOCDIR@/${page}")
    file(READ "${page}" text)
    string(REGEX REPLACE "\\]\\(h/([a-z_/]+\\.h)\\)" "](@kep_headers@/\\1)" text "${text}")
    string(REPLACE "](../kep_io/database/" "](@kep_schema@/" text "${text}")
    file(WRITE "${page}" "${text}")
  endforeach()]])
string(CONFIGURE "${kep_turn_links}" kep_turn_links @ONLY)
install(CODE "${kep_turn_links}" COMPONENT ${kep_doc_component})

find_program(KEP_RG_GZIP gzip)
if(PROJECT_IS_TOP_LEVEL AND BUILD_SHARED_LIBS AND KEP_RG_GZIP)
  include(${PROJECT_SOURCE_DIR}/cmake/packages.cmake)
endif()

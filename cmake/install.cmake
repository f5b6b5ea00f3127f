# What is installed, and how it is taken away again. Included when the programs are defined.

# The changelog's newest entry says which version this is and of when: it has to be the project's.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
file(STRINGS CHANGELOG.md keyloft_entries REGEX "^## ")
list(GET keyloft_entries 0 keyloft_entry)
if(NOT keyloft_entry MATCHES "^## ([0-9.]+) - ([0-9]+-[0-9]+-[0-9]+)$"
   OR NOT CMAKE_MATCH_1 VERSION_EQUAL PROJECT_VERSION)
  message(FATAL_ERROR "CHANGELOG.md opens with \"${keyloft_entry}\", not with ${PROJECT_VERSION}")
endif()
set(KEYLOFT_RELEASE_DATE ${CMAKE_MATCH_2})

# keyloft_install_page(PROGRAM): its manual pages, in each language.
function(keyloft_install_page program)
  foreach(folder IN ITEMS man1 zh_CN/man1)
    string(REPLACE man1 ${program}.1 page man/${folder})
    configure_file(packaging/${page}.in packaging/${page} @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/packaging/${page}
      DESTINATION ${CMAKE_INSTALL_MANDIR}/${folder})
  endforeach()
endfunction()

foreach(program IN ITEMS keyloft keyloft-demo keyloft-machine keyloftctl)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    keyloft_install_page(${program})
  endif()
endforeach()

if(TARGET keyloftctl)
  install(FILES packaging/completion/keyloftctl
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  # Not CMAKE_INSTALL_LIBDIR: systemd looks below lib on every system.
  install(FILES packaging/keyloft-keep@.service DESTINATION lib/systemd/user)
endif()

# The menu's entry is for the program that needs both.
if(TARGET keyloft)
  set(id org.keyloft.Keyloft)
  configure_file(packaging/${id}.metainfo.xml.in packaging/${id}.metainfo.xml @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/packaging/${id}.metainfo.xml
    DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
  install(FILES packaging/${id}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
  set(icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
  install(FILES packaging/icons/${id}.svg DESTINATION ${icons}/scalable/apps)
  foreach(size IN ITEMS 16 22 24 32 48 64 128 256 512)
    install(FILES packaging/icons/${size}x${size}/${id}.png
      DESTINATION ${icons}/${size}x${size}/apps)
  endforeach()
endif()

# What users read: the guides with their pictures, and what they link to.
foreach(document IN ITEMS user-guide.md user-guide.zh_CN.md layouts.md layouts.zh_CN.md protocol.md
    keyloftctl.schema.json keyloft-layout.schema.json)
  install(FILES docs/${document} DESTINATION ${CMAKE_INSTALL_DOCDIR})
endforeach()
foreach(picture IN ITEMS start filled-in applied)
  install(FILES docs/images/${picture}.png DESTINATION ${CMAKE_INSTALL_DOCDIR}/images)
endforeach()

add_custom_target(uninstall
  COMMAND ${CMAKE_COMMAND} -P ${CMAKE_CURRENT_SOURCE_DIR}/cmake/uninstall.cmake
  WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}
  VERBATIM)

# Removes the files of the last installation, also of one below DESTDIR.
if(NOT EXISTS install_manifest.txt)
  message(FATAL_ERROR "nothing was installed from here")
endif()
file(STRINGS install_manifest.txt files)
foreach(file IN LISTS files)
  file(REMOVE "$ENV{DESTDIR}${file}")
endforeach()

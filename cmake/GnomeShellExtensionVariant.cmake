# One variant of a GNOME Shell extension (see GnomeShellExtension.cmake), run with cmake -P.
# FORMAT script|module, DIR, UUID, VERSION, SHELLS, CORE, EXPORTS, ENTRY, METADATA, FILES
# (lists joined with commas).
string(REPLACE "," ";" shells "${SHELLS}")
string(REPLACE "," ";" exports "${EXPORTS}")
string(REPLACE "," ";" files "${FILES}")

file(REMOVE_RECURSE "${DIR}")
file(MAKE_DIRECTORY "${DIR}")
file(COPY_FILE "${ENTRY}" "${DIR}/extension.js")

get_filename_component(core_name "${CORE}" NAME)
file(READ "${CORE}" core)
if(FORMAT STREQUAL "module")
  list(JOIN exports ", " names)
  string(APPEND core "\nexport {${names}};\n")
endif()
file(WRITE "${DIR}/${core_name}" "${core}")

list(TRANSFORM shells PREPEND "\"")
list(TRANSFORM shells APPEND "\"")
list(JOIN shells ", " SHELL_VERSIONS)
configure_file("${METADATA}" "${DIR}/metadata.json" @ONLY)

foreach(file IN LISTS files)
  get_filename_component(name "${file}" NAME)
  file(COPY_FILE "${file}" "${DIR}/${name}")
endforeach()

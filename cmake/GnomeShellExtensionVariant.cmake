# One variant of a GNOME Shell extension (see GnomeShellExtension.cmake), run with cmake -P.
# FORMAT script|module, DIR, UUID, VERSION, SHELLS, CORE, CLASS, ENTRY, METADATA, FILES (lists
# joined with commas).
cmake_minimum_required(VERSION 3.25)
string(REPLACE "," ";" shells "${SHELLS}")
string(REPLACE "," ";" files "${FILES}")

file(REMOVE_RECURSE "${DIR}")
file(MAKE_DIRECTORY "${DIR}")

get_filename_component(CORE_NAME "${CORE}" NAME)
get_filename_component(CORE_MODULE "${CORE}" NAME_WE)
file(READ "${ENTRY}" entry)
string(REPLACE "@CORE@" "${CORE_MODULE}" entry "${entry}")
string(REPLACE "@CLASS@" "${CLASS}" entry "${entry}")
file(WRITE "${DIR}/extension.js" "${entry}")

file(READ "${CORE}" core)
if(FORMAT STREQUAL "module")
  string(APPEND core "\nexport {${CLASS}};\n")
endif()
file(WRITE "${DIR}/${CORE_NAME}" "${core}")

list(TRANSFORM shells PREPEND "\"")
list(TRANSFORM shells APPEND "\"")
list(JOIN shells ", " SHELL_VERSIONS)
configure_file("${METADATA}" "${DIR}/metadata.json" @ONLY)

foreach(file IN LISTS files)
  get_filename_component(name "${file}" NAME)
  file(COPY_FILE "${file}" "${DIR}/${name}")
endforeach()

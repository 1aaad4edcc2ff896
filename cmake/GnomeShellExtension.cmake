# GNOME Shell extensions built from one source into the two formats the Shell loads: GNOME 43
# and 44 take scripts, 45 and later ES modules, and each refuses the other. The logic lives in one
# file ("the core") that imports nothing; each format gets its own small entry file, and the
# module variant's core gains an export line. The variants land in <OUTPUT>/script/<uuid>/ and
# <OUTPUT>/module/<uuid>/, ready to be copied into an extensions folder.

set(MOSARO_GNOME_SCRIPT_SHELLS "43;44")
set(MOSARO_GNOME_MODULE_SHELLS "45;46;47;48")

# mosaro_gnome_shell_extension(<target> UUID <uuid> OUTPUT <dir> CORE <file> EXPORTS <names...>
#   SCRIPT_ENTRY <file> MODULE_ENTRY <file> METADATA <file.in> [FILES <files...>])
function(mosaro_gnome_shell_extension target)
  cmake_parse_arguments(ARG "" "UUID;OUTPUT;CORE;SCRIPT_ENTRY;MODULE_ENTRY;METADATA" "EXPORTS;FILES" ${ARGN})
  set(outputs "")
  foreach(format script module)
    string(TOUPPER "${format}" upper)
    set(dir "${ARG_OUTPUT}/${format}/${ARG_UUID}")
    get_filename_component(core_name "${ARG_CORE}" NAME)
    set(files_out "${dir}/extension.js" "${dir}/metadata.json" "${dir}/${core_name}")
    foreach(file IN LISTS ARG_FILES)
      get_filename_component(name "${file}" NAME)
      list(APPEND files_out "${dir}/${name}")
    endforeach()
    string(REPLACE ";" "," versions "${MOSARO_GNOME_${upper}_SHELLS}")
    string(REPLACE ";" "," exports "${ARG_EXPORTS}")
    string(REPLACE ";" "," extra "${ARG_FILES}")
    add_custom_command(OUTPUT ${files_out}
      COMMAND ${CMAKE_COMMAND} -DFORMAT=${format} -DDIR=${dir} -DUUID=${ARG_UUID} -DVERSION=${PROJECT_VERSION}
              -DSHELLS=${versions} -DCORE=${ARG_CORE} -DEXPORTS=${exports} -DENTRY=${ARG_${upper}_ENTRY}
              -DMETADATA=${ARG_METADATA} -DFILES=${extra}
              -P ${PROJECT_SOURCE_DIR}/cmake/GnomeShellExtensionVariant.cmake
      DEPENDS ${ARG_CORE} ${ARG_${upper}_ENTRY} ${ARG_METADATA} ${ARG_FILES}
              ${PROJECT_SOURCE_DIR}/cmake/GnomeShellExtensionVariant.cmake
      COMMENT "GNOME Shell extension ${ARG_UUID} (${format}s)" VERBATIM)
    list(APPEND outputs ${files_out})
  endforeach()
  add_custom_target(${target} ALL DEPENDS ${outputs})
endfunction()

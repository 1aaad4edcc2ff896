# GNOME Shell extensions built from one source into the two formats the Shell loads: GNOME 43
# and 44 take scripts, 45 and later ES modules, and each refuses the other. The logic lives in one
# file (the core) that imports nothing and defines one class taking the Shell's libraries; the
# entry files of src/Platform/Wayland/Gnome/extension/ create it in either format, and the module
# variant's core gains an export line. The variants land in <OUTPUT>/script/<uuid>/ and
# <OUTPUT>/module/<uuid>/, ready to be copied into an extensions folder.

set(MOSARO_GNOME_SCRIPT_SHELLS "43;44")
set(MOSARO_GNOME_MODULE_SHELLS "45;46;47;48")
set(MOSARO_GNOME_ENTRIES ${PROJECT_SOURCE_DIR}/src/Platform/Wayland/Gnome/extension)

# mosaro_gnome_shell_extension(<target> UUID <uuid> OUTPUT <dir> CORE <file.js> CLASS <name>
#   METADATA <metadata.json.in> [FILES <files...>])
function(mosaro_gnome_shell_extension target)
  cmake_parse_arguments(ARG "" "UUID;OUTPUT;CORE;CLASS;METADATA" "FILES" ${ARGN})
  get_filename_component(core_name "${ARG_CORE}" NAME)
  set(outputs "")
  foreach(format script module)
    string(TOUPPER "${format}" upper)
    set(dir "${ARG_OUTPUT}/${format}/${ARG_UUID}")
    set(files_out "${dir}/extension.js" "${dir}/metadata.json" "${dir}/${core_name}")
    foreach(file IN LISTS ARG_FILES)
      get_filename_component(name "${file}" NAME)
      list(APPEND files_out "${dir}/${name}")
    endforeach()
    string(REPLACE ";" "," versions "${MOSARO_GNOME_${upper}_SHELLS}")
    string(REPLACE ";" "," extra "${ARG_FILES}")
    set(entry ${MOSARO_GNOME_ENTRIES}/extension-${format}.js.in)
    add_custom_command(OUTPUT ${files_out}
      COMMAND ${CMAKE_COMMAND} -DFORMAT=${format} -DDIR=${dir} -DUUID=${ARG_UUID} -DVERSION=${PROJECT_VERSION}
              -DSHELLS=${versions} -DCORE=${ARG_CORE} -DCLASS=${ARG_CLASS} -DENTRY=${entry}
              -DMETADATA=${ARG_METADATA} -DFILES=${extra}
              -P ${PROJECT_SOURCE_DIR}/cmake/GnomeShellExtensionVariant.cmake
      DEPENDS ${ARG_CORE} ${entry} ${ARG_METADATA} ${ARG_FILES}
              ${PROJECT_SOURCE_DIR}/cmake/GnomeShellExtensionVariant.cmake
      COMMENT "GNOME Shell extension ${ARG_UUID} (${format}s)" VERBATIM)
    list(APPEND outputs ${files_out})
  endforeach()
  add_custom_target(${target} ALL DEPENDS ${outputs})
endfunction()

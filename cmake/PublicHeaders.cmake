# Writes the headers that C++ clients include to TARGET: the classes of the domain folders, what is named below of the
# platform, and whatever these include. Between installed headers the includes are relative, so that neither a
# client's own folders nor the include path it chose can come between. A script: cmake -D SOURCE=... -D TARGET=... -P

cmake_minimum_required(VERSION 3.25)

set(platform_headers
    platform/automation/class_registry.h
    platform/automation/describe.h
    platform/data/connection.h
    platform/data/field.h
    platform/data/recordset.h
    platform/data/stream.h
    platform/desktop/clock.h
    platform/desktop/file_chooser.h
    platform/desktop/message_box.h
    platform/desktop/message_pump.h
    platform/desktop/picture.h
    platform/desktop/program_folder.h)
# What the classes themselves are written with.
set(internal_headers
    contacts/contact_columns.h
    scheduling/day_column.h
    scheduling/roll_up.h
    services/check_rules.h
    services/dump_line.h
    services/row_dump.h
    services/row_load.h
    services/schema_text.h
    services/table_walk.h
    session/columns.h
    session/failure.h
    session/linked_items.h
    session/statements.h)

file(GLOB domain_headers RELATIVE ${SOURCE} ${SOURCE}/*/*.h)
list(FILTER domain_headers EXCLUDE REGEX "^(platform|server|typelib)/")
list(REMOVE_ITEM domain_headers ${internal_headers})

file(REMOVE_RECURSE ${TARGET})
set(pending ${domain_headers} ${platform_headers})
set(written "")
while(pending)
  list(POP_FRONT pending header)
  if(header IN_LIST written)
    continue()
  endif()
  list(APPEND written ${header})
  file(READ ${SOURCE}/${header} text)
  get_filename_component(folder ${header} DIRECTORY)
  file(STRINGS ${SOURCE}/${header} includes REGEX "^#include \"")
  foreach(line IN LISTS includes)
    string(REGEX REPLACE "^#include \"(.*)\".*" "\\1" included "${line}")
    list(APPEND pending ${included})
    file(RELATIVE_PATH relative ${SOURCE}/${folder} ${SOURCE}/${included})
    string(REPLACE "#include \"${included}\"" "#include \"${relative}\"" text "${text}")
  endforeach()
  file(WRITE ${TARGET}/${header} "${text}")
endwhile()

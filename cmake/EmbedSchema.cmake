# corveth_embed_schema(TARGET FILE...): the texts of the .sql files as data in TARGET, so that nothing has to be
# found at run time. They are read by services/schema.cpp.
function(corveth_embed_schema target)
  set(entries "")
  foreach(file IN LISTS ARGN)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    file(READ ${file} text)
    get_filename_component(name ${file} NAME)
    string(APPEND entries "    {\"${name}\", R\"schema(${text})schema\"},\n")
  endforeach()
  set(SCHEMA_ENTRIES "${entries}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/schema_text.cpp.in ${CMAKE_CURRENT_BINARY_DIR}/schema_text.cpp @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/schema_text.cpp)
endfunction()

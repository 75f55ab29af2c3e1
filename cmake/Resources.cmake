# The embedded database's schema, demo data and procedure catalog, compiled into whichever
# target holds the sqlite backend: the program needs no file of the checkout at run time.
set(PAYACC_DB_SQLITE_DIR "${CMAKE_CURRENT_LIST_DIR}/../db/sqlite")
get_filename_component(PAYACC_DB_SQLITE_DIR "${PAYACC_DB_SQLITE_DIR}" ABSOLUTE)
set(PAYACC_EMBED_SCRIPT "${CMAKE_CURRENT_LIST_DIR}/EmbedFiles.cmake")

function(payacc_embed_database target)
  file(GLOB_RECURSE files CONFIGURE_DEPENDS RELATIVE "${PAYACC_DB_SQLITE_DIR}" "${PAYACC_DB_SQLITE_DIR}/*.sql")
  list(SORT files)
  set(absolute "")
  foreach(f IN LISTS files)
    list(APPEND absolute "${PAYACC_DB_SQLITE_DIR}/${f}")
  endforeach()
  set(out "${CMAKE_CURRENT_BINARY_DIR}/${target}_db_resources.cpp")
  # "|" between the names: a ";" list does not survive the command line intact.
  string(REPLACE ";" "|" joined "${files}")
  add_custom_command(
    OUTPUT "${out}"
    COMMAND ${CMAKE_COMMAND} -DOUTPUT=${out} -DBASE=${PAYACC_DB_SQLITE_DIR} "-DFILES=${joined}"
            -P "${PAYACC_EMBED_SCRIPT}"
    DEPENDS ${absolute} "${PAYACC_EMBED_SCRIPT}"
    COMMENT "Embedding db/sqlite into ${target}"
    VERBATIM)
  target_sources(${target} PRIVATE "${out}")
endfunction()

# Run as a script at build time: writes OUTPUT, a C++ source that holds the text of each
# file of FILES ("|"-separated paths relative to BASE) as a raw string literal, so the program carries
# its embedded database's schema, demo data and procedures instead of reading them from
# the source tree.
cmake_minimum_required(VERSION 3.25)
set(delimiter "payacc_embedded")
set(body "")
set(count 0)
string(REPLACE "|" ";" FILES "${FILES}")
foreach(rel IN LISTS FILES)
  file(READ "${BASE}/${rel}" text)
  string(FIND "${text}" ")${delimiter}\"" clash)
  if(NOT clash EQUAL -1)
    message(FATAL_ERROR "${rel} contains the literal's delimiter )${delimiter}\"")
  endif()
  string(APPEND body "    {\"${rel}\", R\"${delimiter}(${text})${delimiter}\"},\n")
  math(EXPR count "${count} + 1")
endforeach()
set(source "// Generated from db/ by cmake/EmbedFiles.cmake; edit the .sql files, not this.
#include \"data/sqlite/Resources.h\"

namespace data::sqlite {

namespace {
const EmbeddedFile kFiles[] = {
${body}};
}  // namespace

std::span<const EmbeddedFile> embeddedFiles() { return kFiles; }

}  // namespace data::sqlite
")
file(WRITE "${OUTPUT}" "${source}")

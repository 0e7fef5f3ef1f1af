# Writes the header OUTPUT with the two halves of PAGE.html, between which the data goes. A name between two @ in
# the page stands for a file of SOURCE_DIR or of DYGRAPHS_DIR, and @licence@ for DYGRAPHS_LICENCE. These are put in.
cmake_policy(VERSION 3.25)

# Sets `result` to the pieces of a C++ array of literals; a compiler need not take a literal of any length.
function(to_literals text result)
  set(literals "")
  string(LENGTH "${text}" length)
  set(at 0)
  while(at LESS length)
    string(SUBSTRING "${text}" ${at} 16000 piece)
    string(APPEND literals "    R\"page(${piece})page\",\n")
    math(EXPR at "${at} + 16000")
  endwhile()
  set(${result} "${literals}" PARENT_SCOPE)
endfunction()

file(READ ${SOURCE_DIR}/${PAGE}.html page)
string(REGEX MATCHALL "@[a-z.]+@" parts "${page}")
list(REMOVE_ITEM parts @data@)
foreach(part ${parts})
  string(REPLACE "@" "" name ${part})
  set(file ${SOURCE_DIR}/${name})
  foreach(folder ${DYGRAPHS_DIR} ${DYGRAPHS_DIR}/src/extras)
    if(EXISTS ${folder}/${name})
      set(file ${folder}/${name})
    endif()
  endforeach()
  if(name STREQUAL licence)
    set(file ${DYGRAPHS_LICENCE})
  endif()
  file(READ ${file} text)
  # A browser would ask for the source map, and the page is to ask for nothing.
  string(REGEX REPLACE "//# sourceMappingURL=[^\n]*" "" text "${text}")
  string(REGEX REPLACE "/\\*# sourceMappingURL=[^*]*\\*/" "" text "${text}")
  if(name STREQUAL licence)
    # It has addresses in angle brackets, and is text in the page.
    string(REPLACE "&" "&amp;" text "${text}")
    string(REPLACE "<" "&lt;" text "${text}")
  endif()
  string(REPLACE ${part} "${text}" page "${page}")
endforeach()

string(FIND "${page}" "@data@" middle)
string(SUBSTRING "${page}" 0 ${middle} head)
math(EXPR behind "${middle} + 6")
string(SUBSTRING "${page}" ${behind} -1 tail)
to_literals("${head}" head)
to_literals("${tail}" tail)
string(TOUPPER ${PAGE} prefix)
file(WRITE ${OUTPUT} "#pragma once

namespace logtool::pages {

/// The page in front of its data and behind it, in pieces.
constexpr const char* ${prefix}_HEAD[] = {
${head}};
constexpr const char* ${prefix}_TAIL[] = {
${tail}};

}  // namespace logtool::pages
")

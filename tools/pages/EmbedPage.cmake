# Writes the header OUTPUT with the two halves of plot.html, between which the data of a flight goes. The page's
# style and program, dygraphs and its licence are put in where the page names them.
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

file(READ ${SOURCE_DIR}/plot.html page)
set(plot.css ${SOURCE_DIR}/plot.css)
set(plot.js ${SOURCE_DIR}/plot.js)
set(dygraph.min.css ${DYGRAPHS_DIR}/dygraph.min.css)
set(dygraph.min.js ${DYGRAPHS_DIR}/dygraph.min.js)
set(synchronizer.js ${DYGRAPHS_DIR}/src/extras/synchronizer.js)
set(licence ${DYGRAPHS_LICENCE})
foreach(part plot.css plot.js dygraph.min.css dygraph.min.js synchronizer.js licence)
  file(READ ${${part}} text)
  # A browser would ask for the source map, and the page is to ask for nothing.
  string(REGEX REPLACE "//# sourceMappingURL=[^\n]*" "" text "${text}")
  string(REGEX REPLACE "/\\*# sourceMappingURL=[^*]*\\*/" "" text "${text}")
  if(part STREQUAL "licence")
    # It has addresses in angle brackets, and is text in the page.
    string(REPLACE "&" "&amp;" text "${text}")
    string(REPLACE "<" "&lt;" text "${text}")
  endif()
  string(REPLACE "@${part}@" "${text}" page "${page}")
endforeach()

string(FIND "${page}" "@data@" middle)
string(SUBSTRING "${page}" 0 ${middle} head)
math(EXPR behind "${middle} + 6")
string(SUBSTRING "${page}" ${behind} -1 tail)
to_literals("${head}" head)
to_literals("${tail}" tail)
file(WRITE ${OUTPUT} "#pragma once

namespace logtool::pages {

/// The page in front of its data and behind it, in pieces.
constexpr const char* PLOT_PAGE_HEAD[] = {
${head}};
constexpr const char* PLOT_PAGE_TAIL[] = {
${tail}};

}  // namespace logtool::pages
")

# Writes the header OUTPUT with the version that `ostrelLog --version` prints: the RELEASE, with the commit of
# the source tree SOURCE_DIR where that is a git repository of its own. Runs in every build, since a commit
# changes no source file; the header is only touched when the version has changed.
set(VERSION ${RELEASE})
# Without this check, an unpacked release inside another repository would name that one's commit.
if(EXISTS ${SOURCE_DIR}/.git)
  execute_process(COMMAND git -C ${SOURCE_DIR} rev-parse --verify --short=12 HEAD
    OUTPUT_VARIABLE commit RESULT_VARIABLE result OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(result EQUAL 0)
    string(APPEND VERSION " (commit ${commit})")
  endif()
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/Version.hpp.in ${OUTPUT} @ONLY)

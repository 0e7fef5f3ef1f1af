#pragma once

#include "LogTool.hpp"

/// A log, and what `recover` or `cut` makes of it.
struct CopyRow : Row {
  std::string log, newLog;
  std::string kept;  ///< the records of the first row
  std::string more;  ///< rows behind it
  int exitStatus = 0;
};

class CopiedLog : public LogTool, public testing::WithParamInterface<CopyRow> {
 protected:
  /// Runs the verb on the row's log. `lastRow` follows those of the table.
  void expectCopy(const std::string& arguments, const std::string& lastRow) const {
    const CopyRow& row = GetParam();
    const std::size_t added = row.more.find("end block") < row.more.size() ? 20 : 0;
    folder.write("log", row.log);
    expectRun(arguments, {row.exitStatus,
                          "new: from log\n  kept       " + row.kept + ", " +
                              std::to_string(row.newLog.size() - added) + " of " +
                              std::to_string(row.log.size()) + " bytes\n" + row.more + lastRow,
                          ""});
    EXPECT_EQ(readFile(folder.path("new")), row.newLog);
  }
};

/// The calls that a replay of NAME.cont and NAME.events makes, as the library logs them.
inline std::string replayedCalls(const TestFolder& folder, const std::string& name) {
  folder.makeDirectory("root/etc/ostrel");
  const std::string script = "\"$0\" -i $1.cont -e $1.events 2>&1 | grep 'ostrel: call '";
  return runProgram("/bin/sh", {"-c", script, OSTREL_REPLAY, folder.path(name)},
                    {{"OSTREL_ROOT_DIR", folder.path("root")}, {"LOG_LEVEL", "7"}})
      .out;
}

/// The offset behind a part of a log, as text.
inline std::string behind(const std::string& part) {
  return std::to_string(part.size());
}

inline std::string nav(short index) {
  return packed(0.5F, index);
}
/// A blackbox log of a section with an index, and one without.
inline BlackboxBuilder sections() {
  return BlackboxBuilder()
      .addSection(0, "nav", {{"x", TLM_VAR_FLOAT, 1, 4}, {"index", TLM_VAR_INT16, 1, 2}})
      .addSection(1, "slow", {{"t", TLM_VAR_UINT8, 3, 1}});
}

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "ostrelLog/Output.hpp"
#include "ostrelLog/compare/CompareOptions.hpp"
#include "ostrelLog/compare/DiffResult.hpp"
#include "ostrelLog/compare/LogPair.hpp"
#include "ostrelLog/plot/Panels.hpp"
#include "ostrelLog/plot/Reduction.hpp"

namespace logtool {

/// What is to be plotted.
struct PlotOptions {
  LogPair<std::string> files;  ///< B is empty for a page of one log
  std::string events;          ///< event log with the calls of the flight; may be empty
  CompareOptions comparison;
  std::optional<std::int64_t> from, to;  ///< steps to look at first, and to keep one by one
  std::string title;                     ///< of the page; empty for the names of the files
};

/// A call as a mark: its step, and its text with the arguments.
struct PlottedCall {
  std::int64_t index;
  std::string text;
};

/// All that a page shows.
struct PlotData {
  std::string title;
  std::vector<std::string> names;  ///< of the variables; each element of an array is one of its own
  /// The values of a row, one after the other for each variable: one, or with two logs those of A and B and
  /// the difference B - A.
  std::size_t valuesOfEach = 1;
  std::vector<LogPair<bool>> floats;  ///< of each variable: its values in A and in B are 32-bit floats
  std::vector<bool> undrawn;  ///< of each variable: some values can't be drawn: nan, infinite or very large
  /// With two logs: the variables that differ by the rule of the comparison, in the order in which they do
  /// so for the first time.
  std::vector<std::size_t> differing;
  std::vector<ReducedRow> rows;
  std::int64_t outsideWidth = 1;     ///< steps in a row, see Reduction
  std::int64_t insideWidth = 1;      ///< within the ranges of interest
  std::vector<IndexRange> interest;  ///< the ranges of interest
  std::optional<IndexRange> view;    ///< shown at first; the whole recording when unset
  VisibleGaps gaps;
  std::vector<PlottedCall> calls;
  std::vector<Panel> panels;
  std::string info;                ///< the text of `info` on the log, or what there is to say on both
  std::optional<DiffResult> diff;  ///< with two logs
  std::size_t drawnPart = 0;       ///< of `diff`: its values are plotted
  std::vector<std::string> notes;  ///< what the page leaves out
  std::vector<Fault> incomplete;   ///< logs that are cut or damaged: the page holds what could be read
};

/// Reads the logs; a fault when there is nothing to plot. Memory does not grow with the length of the logs,
/// apart from what the options ask to keep step by step, which has a limit of its own.
std::variant<PlotData, Fault> readPlot(const PlotOptions& options);

}  // namespace logtool

#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <utility>
#include <vector>

#include "ostrelLog/summary/LogSummary.hpp"

namespace logtool {

/// Whether a 32-bit float holds the number, or what is no finite number.
bool fitsFloat(double number);

/// The lowest and the highest of some values; both NaN when none of them is a number.
struct Extent {
  void add(const Extent& other);

  double low = std::numeric_limits<double>::quiet_NaN();
  double high = std::numeric_limits<double>::quiet_NaN();
};

/// Step indices from one to another; both belong to the range.
struct IndexRange {
  std::int64_t from;
  std::int64_t to;
};

/// The values of one record to be drawn.
struct Sample {
  std::int64_t index;
  double seconds;
  std::vector<double> values;
};

/// One record, or several neighbours drawn together.
struct ReducedRow {
  std::int64_t first;  ///< index of its first record
  std::int64_t last;
  std::uint64_t records;
  double seconds;  ///< time of the record with the index `first`
  std::vector<Extent> values;
};

/// The missing steps of a recording, as far as they can be seen in a picture: when there are too many gaps,
/// the small ones are dropped.
struct VisibleGaps {
  /// Takes in the index of the next record. One that goes back is no gap.
  void add(std::int64_t index);

  std::vector<Gap> gaps;
  std::uint64_t smallest = 1;  ///< gaps of fewer steps are dropped

 private:
  bool begun = false;
  std::int64_t highest = 0;
};

/// Thins out a recording of any length, in one pass and in bounded memory: as many neighbouring steps as
/// needed become one row with the lowest and the highest of each value, so that no peak gets lost. Steps
/// within the ranges of interest stay one by one.
class Reduction {
 public:
  /// The ranges are in order and do not overlap.
  explicit Reduction(std::vector<IndexRange> rangesOfInterest) : ranges(std::move(rangesOfInterest)) {}

  /// Takes in a record. A later one may have more values than those before, never fewer. Records may come
  /// in any order; those with the same index become one row.
  void add(const Sample& sample);

  /// Thins out further, down to what one page should hold, and returns the rows in the order of their
  /// indices. Values that never change count as nothing, for the page needs no room for them.
  std::vector<ReducedRow> finish();

  /// After finish(): which of the values vary.
  const std::vector<bool>& varying() const { return varies; }

  /// Steps in one row outside of the ranges of interest and within; 1 where nothing was thinned out.
  std::int64_t outsideWidth() const { return outside.width; }
  std::int64_t insideWidth() const { return inside.width; }

 private:
  /// Rows of the same width, by the part of the recording (the ranges and what lies between them) and by
  /// their number: a row never reaches across the border of a range.
  struct Rows {
    using Key = std::pair<std::size_t, std::int64_t>;

    void add(std::size_t part, const Sample& sample);
    void widen(std::int64_t factor);
    void shrinkTo(std::size_t limit);

    std::int64_t width = 1;
    std::map<Key, ReducedRow> byKey;
    std::map<Key, ReducedRow>::iterator current = byKey.end();  ///< the row of the last record
  };

  void findVarying();

  const std::vector<IndexRange> ranges;
  Rows outside, inside;
  std::vector<bool> varies;
  std::vector<bool> areFloats;  ///< of each value: a 32-bit float holds it in all rows
};

}  // namespace logtool

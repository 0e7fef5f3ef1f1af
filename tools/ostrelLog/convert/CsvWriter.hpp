#pragma once

#include <vector>

#include "ostrelLog/convert/FlightWriter.hpp"

namespace logtool {

/// Writes samples, or calls, as comma-separated values (RFC 4180): lines end with CR LF, the first one has
/// the names, and a name with a comma or a quote stands in quotes.
///
/// The first column is the index. Rows of calls go on with the name of the API and have a column for each
/// argument of every API, named API.ARGUMENT; those of other APIs are empty. Numbers have the shortest form
/// that reads back to the same bits.
class CsvWriter final : public FlightWriter {
 public:
  explicit CsvWriter(Sink target) : sink(std::move(target)) {}

  int begin(const std::vector<Table>& tables) override;
  int add(std::size_t table, const Record& record, std::uint64_t time) override;
  int end() override;

 private:
  /// Writes a value as text to `out`, at most MOST_CHARACTERS, and returns the end of the text.
  using Print = char* (*)(char* out, const unsigned char* value);

  struct Cell {
    std::size_t offset;
    Print print;
  };

  /// The rows of one table.
  struct Rows {
    std::string api;          ///< behind the index, with the commas around it; empty for samples
    std::size_t emptyBefore;  ///< columns of other tables
    std::size_t emptyBehind;
    std::vector<Cell> cells;
  };

  static Print printOf(const Column& column);
  int flush();

  const Sink sink;
  std::vector<Rows> rows;
  std::vector<char> buffer;  ///< has room for one more row at any time
  std::size_t used = 0;
};

}  // namespace logtool

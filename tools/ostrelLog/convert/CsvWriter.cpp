#include "ostrelLog/convert/CsvWriter.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "ostrelLog/Output.hpp"

namespace logtool {

namespace {

// Large enough that the calls of the sink cost nothing.
constexpr std::size_t FLUSH_BYTES = 0x40000;
// The longest number is a double of 24 characters.
constexpr std::size_t MOST_CHARACTERS = 32;

char* append(char* out, const char* text, std::size_t length) {
  std::memcpy(out, text, length);
  return out + length;
}

template <class T>
char* print(char* out, const unsigned char* bytes) {
  if constexpr (std::is_same_v<T, bool>) {
    *out = *bytes != 0 ? '1' : '0';  // a damaged log's byte may be no bool
    return out + 1;
  } else {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    if constexpr (std::is_floating_point_v<T>) {
      // The sign of a NaN means nothing, and few programs read "-nan".
      if (std::isnan(value)) return append(out, "nan", 3);
      // Programs that guess the type of a column take "-0" for an integer, which has no such value.
      if (value == 0 && std::signbit(value)) return append(out, "-0.0", 4);
    }
    return std::to_chars(out, out + MOST_CHARACTERS, value).ptr;
  }
}

/// A name as a field of a row.
std::string field(const std::string& name) {
  const std::string text = printable(name);
  if (text.find_first_of(",\"") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
  return quoted + '"';
}

}  // namespace

CsvWriter::Print CsvWriter::printOf(const Column& column) {
  switch (column.type->type) {
    case TLM_VAR_BOOL: return print<bool>;
    case TLM_VAR_UINT8: return print<std::uint8_t>;
    case TLM_VAR_INT8: return print<std::int8_t>;
    case TLM_VAR_UINT16: return print<std::uint16_t>;
    case TLM_VAR_INT16: return print<std::int16_t>;
    case TLM_VAR_UINT32: return print<std::uint32_t>;
    case TLM_VAR_INT32: return print<std::int32_t>;
    case TLM_VAR_UINT64: return print<std::uint64_t>;
    case TLM_VAR_INT64: return print<std::int64_t>;
    case TLM_VAR_FLOAT: return print<float>;
    default: return print<double>;
  }
}

int CsvWriter::begin(const std::vector<Table>& tables) {
  std::string head = "index";
  if (tables.front().ofCalls) head += ",api";
  std::size_t columns = 0;
  std::size_t longestApi = 0;
  for (const Table& table : tables) {
    const std::string api = table.ofCalls ? "," + field(table.name) : "";
    rows.push_back({api, columns, 0, {}});
    for (const Column& column : table.columns) {
      head += "," + field(table.ofCalls ? table.name + "." + column.name : column.name);
      rows.back().cells.push_back({column.offset, printOf(column)});
    }
    columns += table.columns.size();
    longestApi = std::max(longestApi, api.size());
  }
  for (Rows& each : rows) each.emptyBehind = columns - each.emptyBefore - each.cells.size();
  head += "\r\n";
  // A comma goes with each value, and the index and the line end with each row.
  const std::size_t longestRow = (columns + 2) * (MOST_CHARACTERS + 1) + longestApi;
  buffer.resize(std::max(head.size(), FLUSH_BYTES) + longestRow);
  append(buffer.data(), head.data(), head.size());
  used = head.size();
  return 0;
}

int CsvWriter::add(std::size_t table, const Record& record, std::uint64_t /*time*/) {
  if (used >= FLUSH_BYTES) {
    if (const int result = flush(); result < 0) return result;
  }
  const Rows& row = rows[table];
  char* out = buffer.data() + used;
  out = std::to_chars(out, out + MOST_CHARACTERS, record.index).ptr;
  out = append(out, row.api.data(), row.api.size());
  out = std::fill_n(out, row.emptyBefore, ',');
  for (const Cell& cell : row.cells) {
    *out++ = ',';
    out = cell.print(out, record.values + cell.offset);
  }
  out = std::fill_n(out, row.emptyBehind, ',');
  out = append(out, "\r\n", 2);
  used = static_cast<std::size_t>(out - buffer.data());
  return 0;
}

int CsvWriter::end() {
  return flush();
}

int CsvWriter::flush() {
  const int result = sink(buffer.data(), used);
  used = 0;
  return result;
}

}  // namespace logtool

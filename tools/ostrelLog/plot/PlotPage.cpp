#include "ostrelLog/plot/PlotPage.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>
#include <type_traits>

#include "ostrelLog/pages/plot.hpp"
#include "ostrelLog/render/DiffJson.hpp"
#include "ostrelLog/render/Page.hpp"

namespace logtool {

namespace {

using Numbers = std::vector<double>;

constexpr double LARGEST_FLOAT = std::numeric_limits<float>::max();
/// Neighbours that count from the same base: so many that the bases take little room.
constexpr std::size_t NUMBERS_OF_BASE = 256;

std::string base64(const std::string& bytes) {
  static constexpr const char* DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    unsigned int group = 0;
    for (std::size_t j = i; j < i + 3; ++j) {
      group = group << 8U | (j < bytes.size() ? static_cast<unsigned char>(bytes[j]) : 0U);
    }
    for (unsigned int shift = 24; shift > 0;) text += DIGITS[group >> (shift -= 6U) & 63U];
  }
  for (std::size_t rest = bytes.size() % 3; rest % 3 != 0; ++rest) text[text.size() - (3 - rest)] = '=';
  return text;
}

/// Whether a T holds the number exactly, the sign of a zero included.
template <class T>
bool holds(double number) {
  if constexpr (std::is_floating_point_v<T>) {
    return std::is_same_v<T, double> || fitsFloat(number);
  } else {
    return number >= std::numeric_limits<T>::min() && number <= std::numeric_limits<T>::max() &&
           std::trunc(number) == number && !(number == 0.0 && std::signbit(number));
  }
}

/// Packs the numbers as little-endian bytes of type T, unless one of them would change.
template <class T>
bool packAs(const char* type, const Numbers& numbers, Json& packed) {
  if (!std::all_of(numbers.begin(), numbers.end(), holds<T>)) return false;
  std::string bytes(numbers.size() * sizeof(T), '\0');
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const T number = static_cast<T>(numbers[i]);
    std::memcpy(&bytes[i * sizeof number], &number, sizeof number);
  }
  packed = {{"type", type}, {"bytes", base64(bytes)}};
  return true;
}

/// The number in the middle when all finite ones are in order; 0 when there is none.
double medianOf(Numbers numbers) {
  const auto isFinite = [](double number) { return std::isfinite(number); };
  const auto end = std::partition(numbers.begin(), numbers.end(), isFinite);
  if (end == numbers.begin()) return 0;
  const auto middle = numbers.begin() + (end - numbers.begin()) / 2;
  std::nth_element(numbers.begin(), middle, end);
  return *middle;
}

/// As 32-bit floats, which count from a base of their stretch of numbers: the curve of a clock would
/// otherwise have steps. The base is the median, since a stray number must not make those around it coarse.
/// What floats do not hold exactly moves outwards, up to the last digit of a double: down, or up.
bool packRounded(const Numbers& numbers, bool down, Json& packed) {
  Numbers rounded, bases;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i % NUMBERS_OF_BASE == 0) {
      const std::size_t end = std::min(i + NUMBERS_OF_BASE, numbers.size());
      const auto at = [&](std::size_t place) {
        return numbers.begin() + static_cast<std::ptrdiff_t>(place);
      };
      bases.push_back(medianOf(Numbers(at(i), at(end))));
    }
    const double distance = numbers[i] - bases.back();
    if (std::isfinite(numbers[i]) && !(std::fabs(distance) < LARGEST_FLOAT)) return false;
    auto nearest = static_cast<float>(distance);
    if (down ? nearest > distance : nearest < distance) {
      nearest = std::nextafterf(nearest, down ? -HUGE_VALF : HUGE_VALF);
    }
    rounded.push_back(nearest);
  }
  packAs<float>("f4", rounded, packed);
  Json packedBases;
  packAs<double>("f8", bases, packedBases);
  packed["bases"] = {{"each", NUMBERS_OF_BASE}, {"packed", packedBases}};
  return true;
}

/// How numbers may be changed: not at all, or by rounding them down or up.
enum class Rounding { NONE, DOWN, UP };

/// The numbers in the smallest type that holds all of them exactly, or just the number where they are all
/// the same.
Json pack(const Numbers& numbers, Rounding rounding = Rounding::NONE) {
  const auto isFirst = [&numbers](double number) {
    return number == numbers.front() && std::signbit(number) == std::signbit(numbers.front());
  };
  if (!numbers.empty() && std::isfinite(numbers.front()) &&
      std::all_of(numbers.begin(), numbers.end(), isFirst)) {
    return {{"constant", numbers.front()}, {"length", numbers.size()}};
  }
  Json packed;
  if (packAs<std::uint8_t>("u1", numbers, packed) || packAs<std::int16_t>("i2", numbers, packed) ||
      packAs<float>("f4", numbers, packed)) {
    return packed;
  }
  if (rounding != Rounding::NONE && packRounded(numbers, rounding == Rounding::DOWN, packed)) return packed;
  packAs<double>("f8", numbers, packed);
  return packed;
}

/// One value of all rows: of those with one record the number itself, of the others the lowest and the
/// highest.
Json seriesJson(const std::vector<ReducedRow>& rows, std::size_t value, bool isFloat) {
  Numbers single, low, high;
  for (const ReducedRow& row : rows) {
    if (row.records == 1) single.push_back(row.values[value].low);
    if (row.records > 1) low.push_back(row.values[value].low);
    if (row.records > 1) high.push_back(row.values[value].high);
  }
  return {{"float", isFloat},
          {"single", pack(single)},
          {"low", pack(low, Rounding::DOWN)},
          {"high", pack(high, Rounding::UP)}};
}

Json rowsJson(const std::vector<ReducedRow>& rows) {
  Numbers first, steps, records, seconds;
  for (const ReducedRow& row : rows) {
    first.push_back(static_cast<double>(row.first));
    steps.push_back(static_cast<double>(row.last - row.first));
    records.push_back(static_cast<double>(row.records));
    seconds.push_back(row.seconds - rows.front().seconds);
  }
  return {{"first", pack(first)},
          {"steps", pack(steps)},
          {"records", pack(records)},
          {"seconds", pack(seconds)}};
}

Json rangeJson(const IndexRange& range) {
  return {range.from, range.to};
}

Json variablesJson(const PlotData& data) {
  Json list = Json::array();
  for (std::size_t i = 0; i < data.names.size(); ++i) {
    Json series = Json::array();
    for (std::size_t j = 0; j < data.valuesOfEach; ++j) {
      const bool isFloat = j == 0 ? data.floats[i].a : j == 1 && data.floats[i].b;
      series.push_back(seriesJson(data.rows, i * data.valuesOfEach + j, isFloat));
    }
    list.push_back({{"name", data.names[i]},
                    {"unit", unitOf(data.names[i])},
                    {"undrawn", static_cast<bool>(data.undrawn[i])},
                    {"series", series}});
  }
  return list;
}

Json diffJson(const PlotData& data) {
  if (!data.diff) return nullptr;
  std::ostringstream text;
  writeJson(text, *data.diff);
  return Json::parse(text.str());
}

Json dataJson(const PlotData& data) {
  Json object = {{"title", data.title},
                 {"info", data.info},
                 {"notes", data.notes},
                 {"rows", rowsJson(data.rows)},
                 {"outsideWidth", data.outsideWidth},
                 {"insideWidth", data.insideWidth},
                 {"view", data.view ? rangeJson(*data.view) : Json(nullptr)},
                 {"smallestGap", data.gaps.smallest},
                 {"drawnPart", data.drawnPart},
                 {"differing", data.differing},
                 {"diff", diffJson(data)},
                 {"variables", variablesJson(data)}};
  for (const char* list : {"interest", "gaps", "calls", "panels", "incomplete"})
    object[list] = Json::array();
  for (const IndexRange& range : data.interest) object["interest"].push_back(rangeJson(range));
  for (const Gap& gap : data.gaps.gaps) object["gaps"].push_back({gap.after, gap.missing});
  for (const PlottedCall& call : data.calls)
    object["calls"].push_back({{"index", call.index}, {"text", call.text}});
  for (const Panel& panel : data.panels) {
    object["panels"].push_back({{"title", panel.title}, {"variables", panel.variables}});
  }
  for (const Fault& fault : data.incomplete)
    object["incomplete"].push_back(fault.where + ": " + fault.reason);
  return object;
}

}  // namespace

std::string plotPage(const PlotData& data) {
  std::string page;
  for (const char* piece : pages::PLOT_HEAD) page += piece;
  page += pageData(dataJson(data));
  for (const char* piece : pages::PLOT_TAIL) page += piece;
  return page;
}

}  // namespace logtool

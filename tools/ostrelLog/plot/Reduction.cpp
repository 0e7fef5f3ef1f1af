#include "ostrelLog/plot/Reduction.hpp"

#include <algorithm>
#include <cmath>

namespace logtool {

namespace {

/// Values that are kept while reading, which bounds the memory: an Extent has 16 bytes.
constexpr std::size_t VALUES_OUTSIDE = 2'000'000;
constexpr std::size_t VALUES_INSIDE = 4'000'000;
/// Of all values in a page. As text they take a third more: together with all else in the page less than
/// 3 MB, unless the options ask for more steps one by one.
constexpr std::size_t BYTES_IN_PAGE = 1'800'000;
/// Of the index, the time and the number of records of a row.
constexpr std::size_t BYTES_OF_ROW = 20;
/// So many rows show the shape of a flight, even where the steps one by one leave no room.
constexpr std::size_t FEWEST_ROWS = 100;
/// More rows would be narrower than a pixel of any screen, and slow to draw.
constexpr std::size_t MOST_ROWS = 8'192;
constexpr std::size_t MOST_GAPS = 1'000;

std::size_t most(std::size_t values, std::size_t columns) {
  return std::max<std::size_t>(values / std::max<std::size_t>(columns, 1), 16);
}

/// The quotient rounded down, also for negative indices.
std::int64_t floorOf(std::int64_t dividend, std::int64_t divisor) {
  const std::int64_t quotient = dividend / divisor;
  return dividend % divisor < 0 ? quotient - 1 : quotient;
}

void merge(ReducedRow& row, const ReducedRow& other) {
  if (other.first < row.first) {
    row.first = other.first;
    row.seconds = other.seconds;
  }
  row.last = std::max(row.last, other.last);
  row.records += other.records;
  row.values.resize(std::max(row.values.size(), other.values.size()));
  for (std::size_t i = 0; i < other.values.size(); ++i) row.values[i].add(other.values[i]);
}

}  // namespace

bool fitsFloat(double number) {
  if (!std::isfinite(number)) return true;
  // Beyond the range of float, the conversion would be undefined.
  return std::fabs(number) <= std::numeric_limits<float>::max() && static_cast<float>(number) == number;
}

void Extent::add(const Extent& other) {
  // Negated, so that a number takes the place of NaN; a comparison with NaN is always false.
  if (!std::isnan(other.low) && !(low <= other.low)) low = other.low;
  if (!std::isnan(other.high) && !(high >= other.high)) high = other.high;
}

void VisibleGaps::add(std::int64_t index) {
  if (begun && index - highest > 1) {
    const Gap gap{highest, static_cast<std::uint64_t>(index - highest - 1)};
    if (gap.missing >= smallest) gaps.push_back(gap);
  }
  while (gaps.size() > MOST_GAPS) {
    smallest *= 2;
    const auto tooSmall = [this](const Gap& gap) { return gap.missing < smallest; };
    gaps.erase(std::remove_if(gaps.begin(), gaps.end(), tooSmall), gaps.end());
  }
  highest = begun ? std::max(highest, index) : index;
  begun = true;
}

void Reduction::Rows::add(std::size_t part, const Sample& sample) {
  const Key key(part, floorOf(sample.index, width));
  // Most samples belong to the row of the one before.
  if (current == byKey.end() || current->first != key) {
    current = byKey.try_emplace(key, ReducedRow{sample.index, sample.index, 0, sample.seconds, {}}).first;
  }
  ReducedRow& row = current->second;
  if (sample.index < row.first) {
    row.first = sample.index;
    row.seconds = sample.seconds;
  }
  row.last = std::max(row.last, sample.index);
  ++row.records;
  if (row.values.size() < sample.values.size()) row.values.resize(sample.values.size());
  for (std::size_t i = 0; i < sample.values.size(); ++i)
    row.values[i].add({sample.values[i], sample.values[i]});
}

void Reduction::Rows::widen(std::int64_t factor) {
  std::map<Key, ReducedRow> wider;
  for (auto& [key, row] : byKey) {
    const auto [place, isNew] =
        wider.try_emplace(Key(key.first, floorOf(key.second, factor)), std::move(row));
    if (!isNew) merge(place->second, row);  // NOLINT(bugprone-use-after-move): as above
  }
  byKey = std::move(wider);
  current = byKey.end();
  width *= factor;
}

void Reduction::Rows::shrinkTo(std::size_t limit) {
  // More than once where gaps keep rows apart.
  while (byKey.size() > limit) widen(static_cast<std::int64_t>((byKey.size() + limit - 1) / limit));
}

void Reduction::add(const Sample& sample) {
  std::size_t part = 0;
  bool isInside = false;
  for (const IndexRange& range : ranges) {
    if (sample.index < range.from) break;
    ++part;
    isInside = sample.index <= range.to;
    if (isInside) break;
    ++part;
  }
  Rows& rows = isInside ? inside : outside;
  rows.add(part, sample);
  const std::size_t limit = most(isInside ? VALUES_INSIDE : VALUES_OUTSIDE, sample.values.size());
  while (rows.byKey.size() > limit) rows.widen(2);
}

void Reduction::findVarying() {
  const ReducedRow* first = nullptr;
  for (const Rows* rows : {&outside, &inside}) {
    for (const auto& [key, row] : rows->byKey) {
      if (first == nullptr) first = &row;
      varies.resize(std::max(varies.size(), row.values.size()));
      areFloats.resize(varies.size(), true);
      for (std::size_t i = 0; i < row.values.size(); ++i) {
        // NaN differs from itself, so that a value that is no number counts as one that varies.
        varies[i] = varies[i] || i >= first->values.size() || row.values[i].low != first->values[i].low ||
                    row.values[i].high != row.values[i].low;
        areFloats[i] = areFloats[i] && fitsFloat(row.values[i].low) && fitsFloat(row.values[i].high);
      }
    }
  }
}

std::vector<ReducedRow> Reduction::finish() {
  findVarying();
  std::size_t single = BYTES_OF_ROW, thinned = BYTES_OF_ROW;
  for (std::size_t i = 0; i < varies.size(); ++i) {
    if (!varies[i]) continue;
    single += areFloats[i] ? sizeof(float) : sizeof(double);
    thinned += 2 * sizeof(float);  // the lowest and the highest
  }
  const std::size_t taken = inside.byKey.size() * (inside.width > 1 ? thinned : single);
  const std::size_t left = BYTES_IN_PAGE - std::min(taken, BYTES_IN_PAGE);
  if (outside.width > 1 || outside.byKey.size() > std::min(left / single, 2 * MOST_ROWS)) {
    outside.shrinkTo(std::clamp(left / thinned, FEWEST_ROWS, MOST_ROWS));
  }
  std::vector<ReducedRow> rows;
  for (Rows* part : {&outside, &inside}) {
    for (auto& [key, row] : part->byKey) rows.push_back(std::move(row));
  }
  std::sort(rows.begin(), rows.end(),
            [](const ReducedRow& a, const ReducedRow& b) { return a.first < b.first; });
  return rows;
}

}  // namespace logtool

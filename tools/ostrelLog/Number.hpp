#pragma once

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>

namespace logtool {

/// Reads a decimal number that takes up the whole text, with an optional sign in front. Returns false and
/// leaves `value` alone for anything else: other bases, blanks, text behind the digits, a number that T
/// cannot hold. "010" is ten. Floating-point types also read "inf" and "nan"; a range check refuses these.
template <class T>
bool parseNumber(const std::string& text, T& value) {
  const char* begin = text.data();
  const char* const end = begin + text.size();
  // std::from_chars reads a minus sign but no plus sign.
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') ++begin;
  T number{};
  const auto [rest, error] = std::from_chars(begin, end, number);
  if (error != std::errc() || rest != end) return false;
  value = number;
  return true;
}

/// Declares an option that takes a number; one that parseNumber() refuses is wrong usage. The library's own
/// conversion would take "010" for eight and "0x10" for sixteen.
template <class T>
CLI::Option* addNumber(CLI::App& command, const std::string& name, std::optional<T>& value,
                       const std::string& description) {
  const auto convert = [&value](const CLI::results_t& texts) {
    T number{};
    if (!parseNumber(texts.back(), number)) return false;
    value = number;
    return true;
  };
  return command.add_option(name, convert, description);
}

/// The same for a number that has a default, which the help text shows.
template <class T>
CLI::Option* addNumber(CLI::App& command, const std::string& name, T& value,
                       const std::string& description) {
  const auto convert = [&value](const CLI::results_t& texts) { return parseNumber(texts.back(), value); };
  return command.add_option(name, convert, description)->default_str(CLI::detail::to_string(value));
}

/// Refuses a range of steps that ends before it begins, as wrong usage.
inline void checkRange(std::int64_t from, std::int64_t to) {
  if (from > to) throw CLI::ValidationError("--from: is higher than --to");
}

}  // namespace logtool

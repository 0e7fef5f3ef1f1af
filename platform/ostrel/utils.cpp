#include "ostrel/utils.hpp"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Ostrel::Utils {

std::vector<std::string> splitString(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  for (std::size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + 1) {
    pieces.push_back(text.substr(start, end - start));
  }
  // What stands behind the last separator, which may be nothing: n separators give n + 1 pieces.
  pieces.push_back(text.substr(start));
  return pieces;
}

void removeSpaces(std::string& text) {
  constexpr std::string_view whiteSpace = " \t\n\v\f\r";  // std::isspace() would depend on the locale
  const auto isSpace = [&](char c) { return whiteSpace.find(c) != std::string_view::npos; };
  text.erase(std::remove_if(text.begin(), text.end(), isSpace), text.end());
}

}  // namespace Ostrel::Utils

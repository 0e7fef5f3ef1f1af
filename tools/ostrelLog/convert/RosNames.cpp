#include "ostrelLog/convert/RosNames.hpp"

#include <cstddef>

namespace logtool {

namespace {

constexpr std::size_t MOST_TOPIC_PARTS = 3;

bool isLetter(char c) {
  return c >= 'a' && c <= 'z';
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// The functions of the standard library would go by the locale.
char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

char upper(char c) {
  return isLetter(c) ? static_cast<char>(c - 'a' + 'A') : c;
}

/// The text in the characters that are allowed; everything between them becomes one underscore.
std::string allowed(const std::string& text) {
  std::string name;
  bool apart = false;
  for (const char given : text) {
    const char c = lower(given);
    if (!isLetter(c) && !isDigit(c)) {
      apart = !name.empty();
      continue;
    }
    // A name begins with a letter.
    if (name.empty() && isDigit(c)) name = "v";
    if (apart) name += '_';
    apart = false;
    name += c;
  }
  return name.empty() ? "v" : name;
}

}  // namespace

RosName::RosName(const std::string& name) {
  std::size_t start = 0;
  for (std::size_t parts = 0; parts < MOST_TOPIC_PARTS; ++parts) {
    const std::size_t dot = name.find('.', start);
    if (dot == std::string::npos) break;
    topic += "/" + allowed(name.substr(start, dot - start));
    start = dot + 1;
  }
  if (topic.empty()) topic = "/samples";
  field = allowed(name.substr(start));
}

std::string rosType(const std::string& topic) {
  std::string type = "ostrel/msg/";
  bool first = false;
  for (const char c : topic) {
    const bool separates = c == '/' || c == '_';
    if (!separates) type += first ? upper(c) : c;
    first = separates;
  }
  return type;
}

std::string UniqueNames::claim(const std::string& name, const std::string& separator) {
  std::string given = name;
  for (int number = 2; !taken.insert(given).second; ++number) {
    given = name + separator + std::to_string(number);
  }
  return given;
}

}  // namespace logtool

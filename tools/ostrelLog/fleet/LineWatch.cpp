#include "ostrelLog/fleet/LineWatch.hpp"

#include <cerrno>
#include <cstring>

namespace logtool {

namespace {

constexpr std::size_t LONGEST_LINE = 2000;  // bytes; the rest of a line is dropped

/// Whether the line is "<P>tag: text" with a priority from 0 to 4, or has none at all: then it comes from
/// the dynamic loader or a library that gives up, and is no less important.
bool isComplaint(const std::string& line) {
  const bool hasPriority = line.size() > 3 && line[0] == '<' && line[2] == '>';
  return hasPriority ? line[1] >= '0' && line[1] <= '4' : !line.empty();
}

/// Whether the line only says which variant was chosen, which every replay does at error priority.
bool isVariantChoice(const std::string& line) {
  return line.find(": Using droneVariant given in args : ") != std::string::npos ||
         line.find(": droneVariant found ") != std::string::npos;
}

}  // namespace

void LineWatch::add(std::string_view bytes) {
  for (const char c : bytes) {
    if (c == '\n') {
      endLine();
    } else if (line.size() < LONGEST_LINE) {
      line += c;
    }
  }
}

void LineWatch::endLine() {
  seen = true;
  if (isComplaint(line) && !isVariantChoice(line)) {
    // A process that runs out of memory or of its own descriptors may do so by its flight's or library's
    // fault.
    for (const int number : {ENOSPC, EDQUOT, ENFILE}) {
      if (line.find(std::strerror(number)) != std::string::npos) error = number;
    }
    last = line;
  }
  line.clear();
}

}  // namespace logtool

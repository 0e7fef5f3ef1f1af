#include "ostrelLog/Report.hpp"

#include <algorithm>
#include <iostream>

bool report(const std::string& where, const std::string& reason) {
  std::cerr << "ostrelLog: " << printable(where) << ": " << printable(reason) << std::endl;
  return false;
}

bool finishOutput() {
  std::cout.flush();
  return std::cout.good() || report("standard output", "could not be written");
}

std::string printable(std::string text) {
  const auto isControl = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < ' ' || byte == 0x7F;
  };
  std::replace_if(text.begin(), text.end(), isControl, '?');
  return text;
}

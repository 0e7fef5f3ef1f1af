#pragma once

#include <string>
#include <vector>

namespace Ostrel::Utils {

/// The pieces of `text` between separators, in order, empty ones included: one more piece than there are
/// separators, so text without one (the empty text too) gives one piece.
std::vector<std::string> splitString(const std::string& text, char separator);

/// Removes white space of every kind (blanks, tabs, carriage returns, line feeds) from `text`, in place.
void removeSpaces(std::string& text);

}  // namespace Ostrel::Utils

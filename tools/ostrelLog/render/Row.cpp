#include "ostrelLog/render/Row.hpp"

#include <iomanip>
#include <ostream>

std::ostream& logtool::row(std::ostream& out, const char* label) {
  return out << "  " << std::left << std::setw(11) << label << std::right;
}

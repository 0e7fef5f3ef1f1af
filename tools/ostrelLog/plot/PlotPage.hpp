#pragma once

#include <string>

#include "ostrelLog/plot/PlotData.hpp"

namespace logtool {

/// The page as HTML: one file that a browser opens without any other. All texts from the logs are in it as
/// data, never as markup; bytes that are no text become U+FFFD.
std::string plotPage(const PlotData& data);

}  // namespace logtool

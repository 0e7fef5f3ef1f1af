#pragma once

#include <memory>
#include <string>

#include "logfile/scan/LogSource.hpp"

/// Opens a legacy log of either kind, told apart by its header. Null, and the reason in `fault`, when it
/// can't be read or has no header that a replay would take.
std::unique_ptr<LogSource> openLegacy(const std::string& path, std::string& fault);

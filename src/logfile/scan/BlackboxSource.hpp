#pragma once

#include <memory>
#include <string>

#include "logfile/scan/LogSource.hpp"

/// Opens a blackbox log. Null, and the reason in `fault`, when it can't be read or is of another version.
std::unique_ptr<LogSource> openBlackbox(const std::string& path, std::string& fault);

#pragma once

#include <memory>
#include <string>

#include "logfile/scan/LogSource.hpp"

/// Opens the log at `path`, of whichever kind it is. Null, and the reason in `fault`, when it can't be read
/// or is no flight log.
std::unique_ptr<LogSource> openLog(const std::string& path, std::string& fault);

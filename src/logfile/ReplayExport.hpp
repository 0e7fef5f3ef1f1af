#pragma once

#include <memory>

#include "logfile/LogFile.hpp"

/// Holds the replay's export, if one was asked for, and closes it before destroying it.
struct ReplayExport {
  ReplayExport() = default;
  ReplayExport(const ReplayExport&) = delete;
  ReplayExport& operator=(const ReplayExport&) = delete;
  ~ReplayExport();

  std::unique_ptr<LogFile::IExport> exporter;  ///< null: nothing is exported
};

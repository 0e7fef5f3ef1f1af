#pragma once

#include <string>

#include "Support.hpp"
#include "logfile/LegacyFile.hpp"
#include "logfile/LegacyHeader.hpp"

/// Whether the legacy log at `path` has a header that a replay takes.
template <class Format>
bool hasUsableHeader(const std::string& path) {
  LegacyFile file;
  REQUIRE(file.open(path) == 0);
  const HeaderText header = file.readHeader();
  return !header.beyondLimit && Format::parse(LegacyHeader(header.text)).fault() == nullptr;
}

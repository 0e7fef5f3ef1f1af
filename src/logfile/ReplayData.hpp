#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "logfile/LogFile.hpp"
#include "registry/DataRegistry.hpp"

namespace LogFile {

/// Whether the first word of the file at `path` begins with the blackbox format's magic "TLMB". False for a
/// file that can't be read.
bool isTLMB(const std::string& path);

}  // namespace LogFile

/// Ties one continuous log to a registry: adds the entry "index", freezes the registry and opens the reader
/// that fits the file. A log that can't be opened ends the process with exit status 1, after a line at
/// error priority. The registry outlives this object.
class ReplayData {
 public:
  ReplayData(const std::string& path, DataRegistry& registry, LogFile::Contents contents);
  ReplayData(const ReplayData&) = delete;
  ReplayData& operator=(const ReplayData&) = delete;
  /// Closes the reader, then destroys it.
  ~ReplayData();

  /// How far a sample's index is from that of the sample before it, when samples are missing between the
  /// two; otherwise 0.
  static std::int64_t jump(std::int32_t previousIndex, std::int32_t index);

  std::unique_ptr<LogFile::IReader> reader;  ///< never null
  std::int32_t index = 0;                    ///< step index of the sample just read, written by the reader
  std::int32_t previousIndex = 0;  ///< step index of the sample before it; the replay loop's to keep
};

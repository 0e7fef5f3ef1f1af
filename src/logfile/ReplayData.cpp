#include "logfile/ReplayData.hpp"

#include <syslog.h>

#include <cstdlib>
#include <cstring>
#include <fstream>

#include "logfile/ErrorText.hpp"
#include "logfile/LegacyReader.hpp"
#include "logfile/TlmbReader.hpp"
#include "logservice/log.h"
#include "registry/LogTag.hpp"

bool LogFile::isTLMB(const std::string& path) {
  // Only four bytes are read, because the first word of another file may be as long as the file.
  std::ifstream file(path);
  char start[4] = {};
  file >> start[0];  // skips leading white space
  file.read(start + 1, sizeof(start) - 1);
  return file.good() && std::memcmp(start, "TLMB", sizeof(start)) == 0;
}

ReplayData::ReplayData(const std::string& path, DataRegistry& registry, LogFile::Contents contents) {
  // Before the registry is frozen, because a frozen registry takes no more entries.
  registry.reg<int>("index", &index);
  registry.freeze();

  // The kind of file is told by its content, never by its name.
  reader.reset(LogFile::isTLMB(path) ? static_cast<LogFile::IReader*>(TlmbReader::create(&registry))
                                     : LegacyReader::create(registry, contents));
  if (!reader) {
    log_print(LOG_TAG, LOG_ERR, "Reader could not be created");
    std::exit(EXIT_FAILURE);
  }
  const int result = reader->open(path.c_str());
  if (result < 0) {
    log_print(LOG_TAG, LOG_ERR, "Could not open %s : %s", path.c_str(), errorText(result));
    std::exit(EXIT_FAILURE);
  }
}

std::int64_t ReplayData::jump(std::int32_t previousIndex, std::int32_t index) {
  // 64 bits wide, since the difference of two indices from a file may not fit in 32.
  const std::int64_t steps = std::int64_t{index} - previousIndex;
  // Nothing is known of what came before the first sample, for which the previous index is 0.
  return steps >= 2 && previousIndex >= 1 ? steps : 0;
}

ReplayData::~ReplayData() {
  if (reader) reader->close();
}

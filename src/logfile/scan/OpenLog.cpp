#include "logfile/scan/OpenLog.hpp"

#include "logfile/ReplayData.hpp"
#include "logfile/scan/BlackboxSource.hpp"
#include "logfile/scan/LegacySource.hpp"

std::unique_ptr<LogSource> openLog(const std::string& path, std::string& fault) {
  return LogFile::isTLMB(path) ? openBlackbox(path, fault) : openLegacy(path, fault);
}

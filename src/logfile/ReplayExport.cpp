#include "logfile/ReplayExport.hpp"

ReplayExport::~ReplayExport() {
  if (exporter) exporter->close();
}

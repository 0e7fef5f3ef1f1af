#pragma once

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "telemetry/blackbox_reader.hpp"

/// The samples of a blackbox log, each with its values by name. Nothing of the tool's own reader is used.
class BlackboxRecords : public telemetry::BlackboxReaderItfCb {
 public:
  struct Record {
    timespec time;
    std::map<std::string, double> values;
  };

  explicit BlackboxRecords(const std::string& path) {
    const std::unique_ptr<telemetry::BlackboxReaderItf> reader(telemetry::BlackboxReaderItf::create(this));
    if (reader->open(path) == 0) {
      while (reader->step() == 0) {
      }
    }
  }

  void sampleBegin(unsigned int, const timespec* time, const void*, std::size_t) override {
    records.push_back({*time, {}});
  }
  void sample(unsigned int, const timespec*, unsigned int, const telemetry::VarDesc& variable,
              const void* bytes, std::size_t) override {
    records.back().values[variable.name] = number(variable.type, bytes);
  }

  std::vector<Record> records;

 private:
  template <class T>
  static double load(const void* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof(value));
    return static_cast<double>(value);
  }
  static double number(tlm_var_type type, const void* bytes) {
    switch (type) {
      case TLM_VAR_BOOL:
      case TLM_VAR_UINT8: return load<unsigned char>(bytes);
      case TLM_VAR_UINT16: return load<unsigned short>(bytes);
      case TLM_VAR_INT16: return load<short>(bytes);
      case TLM_VAR_UINT32: return load<unsigned int>(bytes);
      case TLM_VAR_INT32: return load<int>(bytes);
      case TLM_VAR_UINT64: return load<unsigned long>(bytes);
      case TLM_VAR_INT64: return load<long>(bytes);
      case TLM_VAR_FLOAT: return load<float>(bytes);
      case TLM_VAR_DOUBLE: return load<double>(bytes);
      default: return 0;
    }
  }
};

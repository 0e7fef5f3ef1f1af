#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "logfile/LogFile.hpp"
#include "registry/DataRegistry.hpp"
#include "telemetry/blackbox_reader.hpp"

/// Reads a continuous log in the telemetry-blackbox format.
class TlmbReader : public LogFile::IReader {
 public:
  /// A new reader, owned by the caller. The registry is borrowed, must be frozen before open(), and
  /// outlives the reader.
  static TlmbReader* create(DataRegistry* registry);
};

/// The callback side of a blackbox log: adopts one section by name, once its variables match every entry of
/// the registry, and copies the bytes of its samples into the entries' fields.
///
/// The section is the one that the environment variable TLMB_SECTION_NAME names, "navdata" when it is
/// unset. The telemetry library calls back from inside open() and popSample(), and perhaps once more
/// while its reader is deleted.
class TlmbReaderImpl : public TlmbReader, public telemetry::BlackboxReaderItfCb {
 public:
  explicit TlmbReaderImpl(DataRegistry* targetRegistry);
  TlmbReaderImpl(const TlmbReaderImpl&) = delete;
  TlmbReaderImpl& operator=(const TlmbReaderImpl&) = delete;
  ~TlmbReaderImpl() override;

  /// The telemetry library's result; a negative one is logged.
  int open(const char* logPath) override;
  int close() override;

  /// Reads on to the end of the next sample of the adopted section.
  ///
  ///   0         one sample stored
  ///   -ENODATA  the log ended; where no section was adopted in it, with a warning that names those it has
  ///   other     the telemetry library's result for a log that can't be read on
  int popSample() override;

  /// -ENOSYS: blackbox logs carry no events. `events` is left alone.
  int popSample(int index, std::vector<int>& events) override;

  void sectionAdded(unsigned int id) override;
  void sectionRemoved(unsigned int id) override;
  void sectionChanged(unsigned int id, const void* description, std::size_t size) override;
  void sampleBegin(unsigned int id, const timespec* time, const void* bytes, std::size_t size) override;
  void sampleEnd(unsigned int id) override;
  void sample(unsigned int id, const timespec* time, unsigned int index,
              const telemetry::VarDesc& descriptor, const void* bytes, std::size_t size) override;
  void fileHeader(const std::map<std::string, std::string>& header) override;

 protected:
  // What a replay is told of the log, each as its lines. The companion tool collects it in their place.
  virtual void tellArray();  ///< the section has an array under the name of an entry: it can't be mapped
  virtual void tellOtherType(const telemetry::VarDesc& variable, Types entryType);  ///< it fills nothing
  /// Entries that no variable of the section fills, so that the section was not adopted.
  virtual void tellUnfilled(const std::set<DataEntryBase*>& unfilled);
  virtual void tellMissingSection();  ///< the log ended, and no section was adopted

  /// Whether the samples of this section are replayed.
  bool isReplayed(unsigned int id) const { return adopted && id == sectionId; }

 private:
  /// One pair of `copyPlan`, with the width of the field: no sample may write beyond it.
  struct PlannedCopy {
    void* address = nullptr;
    std::size_t width = 0;
  };

  int doMapping(unsigned int section);
  int planVariable(std::uint32_t index, const telemetry::VarDesc& variable,
                   std::set<DataEntryBase*>& unfilled);
  static bool typesMatch(Types type, tlm_var_type tlmType);
  static void* getDataEntryPtr(DataEntryBase* entry);
  static std::size_t fieldWidth(Types type);

  DataRegistry* registry;

 protected:
  std::unique_ptr<telemetry::BlackboxReaderItf> blackbox;

 private:
  std::uint32_t sectionId = 0xFFFFFFFF;  ///< meaningful once `adopted`: a log may use any id

 protected:
  std::string sectionName;

 private:
  std::map<std::uint32_t, void*>
      copyPlan;  ///< variable index to field; never cleared, the first of an index stays
  bool sampleDone = false;
  bool adopted = false;
  std::vector<PlannedCopy> copies;  ///< `copyPlan` by variable index; no address where nothing is planned
  std::string path;

 protected:
  std::set<std::string> sectionNames;  ///< those seen, for the warning

 private:
  bool warned = false;
};

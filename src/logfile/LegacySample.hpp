#pragma once

#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

#include "logfile/LegacyFormat.hpp"
#include "registry/DataRegistry.hpp"

/// The current record of a legacy log, and the binding of its values to registry entries.
///
/// A record is a run of little-endian doubles without padding. Continuous: one value per column. Events:
///
///   value 0   size of the whole record in bytes, 8 * (3 + argument count)
///   value 1   step index at which the call was made
///   value 2   event id: position of the API in the header's "titles"
///   from 3    the argument values, in the order of the API's names in "argList"
///
/// The sample is the list of the values read so far, header values first; the reader fills it. Entries are
/// borrowed from registries that are frozen and outlive the sample; the format is borrowed from the reader.
class LegacySample : public std::vector<double> {
 public:
  explicit LegacySample(const LegacyFormat& logFormat);
  LegacySample(const LegacySample&) = delete;
  LegacySample& operator=(const LegacySample&) = delete;
  virtual ~LegacySample() = default;

  /// Number of values in front of a record's body.
  virtual std::uint64_t getHeaderSize() const { return 0; }
  /// Number of values in a record's body; for events, valid after readHeader().
  virtual std::uint64_t getSampleSize() const { return size; }
  /// Decodes the header values, which the sample holds, and nothing else.
  virtual void readHeader() {}
  /// The replay step of the record.
  virtual std::int32_t getIndex() { return 0; }
  /// Writes the record's values into the bound fields. Returns 0, or the event's registry position.
  virtual std::int32_t updateRegEntries() = 0;
  /// Registry position of the record's API; negative when it has none and the record is to be skipped.
  virtual std::int32_t getEventIndex() const { return 0; }
  /// How many of the body's values the bound fields can take; reading more of them is of no use.
  virtual std::uint64_t getBoundSize() const { return getSampleSize(); }

 protected:
  /// Continuous: values in a record; events: bytes in the current record. Hides the list's own size().
  std::uint64_t size;
  const LegacyFormat* format;  ///< not owned
};

/// A record of a continuous log.
class LegacyContinuousSample : public LegacySample {
 public:
  using LegacySample::LegacySample;

  /// Binds each column to the entry of its name; reports names that only one side has. Always 0.
  std::int32_t buildList(const DataRegistry& registry);

  std::int32_t updateRegEntries() override;

 private:
  template <class T>
  struct BoundColumn {
    T* target;
    std::size_t column;
  };
  template <class T>
  using BoundColumns = std::vector<BoundColumn<T>>;

  void planColumn(std::size_t column, DataEntryBase* entry);
  template <class T>
  static bool planField(BoundColumns<T>& list, std::size_t column, DataEntryBase* entry);

  // A virtual call for each value is most of the time that a record costs. So the columns whose entry is
  // exactly a DataEntry<T> store into its field, and the rest go through their entries. Columns of one
  // entry keep their order, so that the last one's value stays; columns without an entry are in no list.
  std::tuple<BoundColumns<bool>, BoundColumns<float>, BoundColumns<double>, BoundColumns<int>,
             BoundColumns<long>, BoundColumns<unsigned char>, BoundColumns<unsigned short>,
             BoundColumns<unsigned int>, BoundColumns<unsigned long>>
      fields;
  BoundColumns<DataEntryBase> columnEntries;
};

/// A record of an event log.
class LegacyEventSample : public LegacySample {
 public:
  using LegacySample::LegacySample;

  /// Binds each API of the log to the entry of its name, and recorded arguments to the library's by
  /// position; reports APIs, argument names and argument counts that differ. Always 0.
  std::int32_t buildList(const DataRegistry& registry);

  std::uint64_t getHeaderSize() const override { return 3; }
  std::uint64_t getSampleSize() const override { return argCount; }
  void readHeader() override;
  std::int32_t getIndex() override { return index; }
  std::int32_t updateRegEntries() override;
  std::int32_t getEventIndex() const override { return eventIndex; }
  std::uint64_t getBoundSize() const override;

 private:
  std::int32_t bindApi(const DataRegistry& registry, const std::string& api) const;
  void reportArguments(const std::string& api, const std::vector<std::string>& fileNames,
                       const std::vector<DataEntryBase*>& libraryEntries) const;

  std::vector<std::vector<DataEntryBase*>> apiArgs;  ///< by registry position: the API's argument entries
  std::uint64_t argCount = 0;                        ///< argument values in the current record
  std::int32_t index = 0;
  std::int32_t eventIndex = -1;
  std::vector<std::int32_t> eventMap;  ///< by event id: registry position, or -1
};

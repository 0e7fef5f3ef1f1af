#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "logfile/Binding.hpp"
#include "logfile/LegacyHeader.hpp"
#include "registry/DataRegistry.hpp"

/// The current record of a legacy log (LegacyLayout.hpp), and what its values are bound to.
///
/// The sample is the list of the values read so far, the values of the record's head first; the reader
/// fills it. Entries are borrowed from registries that are frozen and outlive the sample; the format is
/// borrowed from the reader.
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
  /// Decodes the head values, which the sample holds, and nothing else.
  virtual void readHeader() {}
  /// The replay step of the record.
  virtual std::int32_t getIndex() { return 0; }
  /// Writes the record's values into the bound fields. Returns 0, or the event's registry position.
  virtual std::int32_t updateRegEntries() = 0;
  /// Registry position of the record's API; negative when it has none and the record is to be skipped.
  virtual std::int32_t getEventIndex() const { return 0; }
  /// Number of values of the body that have a field to go to.
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

  /// Binds each column to the entry of its name and logs names that only one side has. Always 0.
  std::int32_t buildList(const DataRegistry& registry);

  std::int32_t updateRegEntries() override;

 private:
  std::vector<DataEntryBase*> columnEntries;  ///< one per column; null where no entry has its name
};

/// A record of an event log.
class LegacyEventSample : public LegacySample {
 public:
  using LegacySample::LegacySample;

  /// Binds each API of the log to the entry of its name, and recorded arguments to the library's by
  /// position; logs APIs, argument names and argument counts that differ. Always 0.
  std::int32_t buildList(const DataRegistry& registry);

  std::uint64_t getHeaderSize() const override;
  std::uint64_t getSampleSize() const override { return argCount; }
  void readHeader() override;
  std::int32_t getIndex() override { return index; }
  std::int32_t updateRegEntries() override;
  std::int32_t getEventIndex() const override { return eventIndex; }
  std::uint64_t getBoundSize() const override;

 private:
  std::vector<std::vector<DataEntryBase*>> apiArgs;  ///< by registry position: the API's argument entries
  std::uint64_t argCount = 0;                        ///< argument values in the current record
  std::int32_t index = 0;
  std::int32_t eventIndex = -1;
  std::vector<std::int32_t> eventMap;  ///< by event id: registry position, or -1
};

#pragma once

#include <string>
#include <utility>

#include "logservice/log.h"
#include "ostrel/follow_me.hpp"
#include "registry/Conversion.hpp"
#include "telemetry/producer.hpp"

/// The value type of an entry. The numbers are shared with the flight-control library and never change;
/// 2 and 5 are reserved and name no type.
enum Types : unsigned int {
  TYPES_INVALID = 0,
  TYPES_BOOL = 1,
  TYPES_FLOAT = 3,
  TYPES_DOUBLE = 4,
  TYPES_INT16 = 6,
  TYPES_INT32 = 7,
  TYPES_INT64 = 8,
  TYPES_UINT8 = 9,
  TYPES_UINT16 = 10,
  TYPES_UINT32 = 11,
  TYPES_UINT64 = 12,
  TYPES_FOLLOW_ME_TRAJECTORY = 13,
};

/// One named field of an in-memory record, seen as the double in which logs carry every number.
///
/// The flight-control library makes entries of its own and calls these operations on ours: the members,
/// their order and the order of the virtual operations are an interface with it.
class DataEntryBase {
 public:
  DataEntryBase(std::string fullName, Types valueType) : name(std::move(fullName)), type(valueType) {}
  DataEntryBase(const DataEntryBase&) = delete;
  DataEntryBase& operator=(const DataEntryBase&) = delete;
  virtual ~DataEntryBase() = default;

  /// Name of the value type, such as "TYPES_FLOAT"; "TYPES_INVALID" where there is none.
  virtual const char* getTypeString() const { return "TYPES_INVALID"; }
  /// The bound field's value; a 64-bit integer gives the nearest double.
  virtual double toRecordFormat() = 0;
  /// Stores the recorded value into the bound field, converted to the field's type (see Conversion.hpp).
  /// `value` is only read.
  virtual void fromRecord(double& value) const = 0;
  /// Registers the bound field with a producer. The result is the producer's: 0, or a negated errno.
  virtual int registerToTlm(telemetry::Producer& producer) = 0;

  std::string name;  ///< full dotted name; never changes
  Types type;        ///< value type of the concrete entry
};

/// The names that one field type has in the registry and in telemetry.
struct EntryTypeNames {
  Types type;
  const char* typeString;
  tlm_var_type tlmType;
};

/// The names of field type T; defined for every type that a registry takes. An enumeration publishes as the
/// integer it is stored in.
template <class T>
constexpr EntryTypeNames entryTypeNames = T::notAFieldType;
template <>
inline constexpr EntryTypeNames entryTypeNames<bool> = {TYPES_BOOL, "TYPES_BOOL", TLM_VAR_BOOL};
template <>
inline constexpr EntryTypeNames entryTypeNames<float> = {TYPES_FLOAT, "TYPES_FLOAT", TLM_VAR_FLOAT};
template <>
inline constexpr EntryTypeNames entryTypeNames<double> = {TYPES_DOUBLE, "TYPES_DOUBLE", TLM_VAR_DOUBLE};
template <>
inline constexpr EntryTypeNames entryTypeNames<short> = {TYPES_INT16, "TYPES_INT16", TLM_VAR_INT16};
template <>
inline constexpr EntryTypeNames entryTypeNames<int> = {TYPES_INT32, "TYPES_INT32", TLM_VAR_INT32};
template <>
inline constexpr EntryTypeNames entryTypeNames<long> = {TYPES_INT64, "TYPES_INT64", TLM_VAR_INT64};
template <>
inline constexpr EntryTypeNames entryTypeNames<unsigned char> = {TYPES_UINT8, "TYPES_UINT8", TLM_VAR_UINT8};
template <>
inline constexpr EntryTypeNames entryTypeNames<unsigned short> = {TYPES_UINT16, "TYPES_UINT16",
                                                                  TLM_VAR_UINT16};
template <>
inline constexpr EntryTypeNames entryTypeNames<unsigned int> = {TYPES_UINT32, "TYPES_UINT32",
                                                                TLM_VAR_UINT32};
template <>
inline constexpr EntryTypeNames entryTypeNames<unsigned long> = {TYPES_UINT64, "TYPES_UINT64",
                                                                 TLM_VAR_UINT64};
template <>
inline constexpr EntryTypeNames entryTypeNames<FOLLOW_ME_TRAJECTORY_TYPE> = {
    TYPES_FOLLOW_ME_TRAJECTORY, "TYPES_FOLLOW_ME_TRAJECTORY", TLM_VAR_INT32};

/// The entry of a field of type T. The field belongs to a record that outlives the entry.
template <class T>
class DataEntry : public DataEntryBase {
 public:
  DataEntry(std::string fullName, T* field)
      : DataEntryBase(std::move(fullName), entryTypeNames<T>.type), ptr(field) {}

  const char* getTypeString() const override { return entryTypeNames<T>.typeString; }
  double toRecordFormat() override { return static_cast<double>(*ptr); }
  void fromRecord(double& value) const override { *ptr = fieldFromRecord<T>(value); }
  int registerToTlm(telemetry::Producer& producer) override;

  T* ptr;  ///< the bound field
};

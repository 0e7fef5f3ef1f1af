#include "logfile/scan/ElementType.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <type_traits>

#include "registry/Conversion.hpp"

static_assert(std::numeric_limits<long double>::digits >= 64, "64-bit integers are compared as such");

namespace {

template <class T>
T load(const unsigned char* bytes) {
  T value;
  // Values are not aligned in a sample, so a cast of the pointer would be undefined.
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

template <class T>
long double readElement(const unsigned char* bytes) {
  if constexpr (std::is_same_v<T, bool>) {
    return *bytes != 0 ? 1 : 0;  // a damaged log's byte may be no bool
  } else {
    return static_cast<long double>(load<T>(bytes));
  }
}

template <class T>
long double readRecordedElement(const unsigned char* bytes) {
  // A recorded double counts as what it becomes in a field of type T.
  return static_cast<long double>(fieldFromRecord<T>(load<double>(bytes)));
}

template <class T>
std::string printElement(long double value) {
  if constexpr (std::is_same_v<T, bool>) {
    return value != 0 ? "true" : "false";
  } else {
    // Enough for the shortest text that reads back as the same double: 24 characters.
    std::array<char, 32> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), static_cast<T>(value)).ptr;
    return {text.data(), end};
  }
}

template <class T>
constexpr ElementType describe(tlm_var_type type, const char* name) {
  return {type, name, sizeof(T), readElement<T>, readRecordedElement<T>, printElement<T>};
}

// The types whose values can be compared and printed; typeName() tells others by their number.
constexpr std::array<ElementType, 11> ELEMENT_TYPES = {
    describe<bool>(TLM_VAR_BOOL, "bool"),           describe<std::uint8_t>(TLM_VAR_UINT8, "uint8"),
    describe<std::int8_t>(TLM_VAR_INT8, "int8"),    describe<std::uint16_t>(TLM_VAR_UINT16, "uint16"),
    describe<std::int16_t>(TLM_VAR_INT16, "int16"), describe<std::uint32_t>(TLM_VAR_UINT32, "uint32"),
    describe<std::int32_t>(TLM_VAR_INT32, "int32"), describe<std::uint64_t>(TLM_VAR_UINT64, "uint64"),
    describe<std::int64_t>(TLM_VAR_INT64, "int64"), describe<float>(TLM_VAR_FLOAT, "float"),
    describe<double>(TLM_VAR_DOUBLE, "double"),
};

}  // namespace

const ElementType* elementType(tlm_var_type type) {
  const auto found = std::find_if(ELEMENT_TYPES.begin(), ELEMENT_TYPES.end(),
                                  [type](const ElementType& known) { return known.type == type; });
  return found == ELEMENT_TYPES.end() ? nullptr : &*found;
}

const ElementType* elementType(const LogVariable& variable) {
  const ElementType* known = elementType(variable.type);
  // A damaged log may give a known type an impossible width.
  return known != nullptr && known->bytes == variable.elementBytes ? known : nullptr;
}

std::string typeName(const LogVariable& variable) {
  const ElementType* known = elementType(variable);
  std::string name = known != nullptr ? known->name : "type " + std::to_string(variable.type);
  if (known == nullptr && variable.elementBytes > 0) {
    name += " of " + std::to_string(variable.elementBytes) + " bytes";
  }
  if (variable.count != 1) name += "[" + std::to_string(variable.count) + "]";
  return name;
}

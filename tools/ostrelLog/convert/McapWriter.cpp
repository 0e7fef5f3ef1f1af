#include "ostrelLog/convert/McapWriter.hpp"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <map>
#include <utility>

#include "ostrelLog/Output.hpp"

namespace logtool {

namespace {

const std::string CALLS_TOPIC = "/calls";
const std::string INDEX_FIELD = "int64 index\n";

/// Appends the fields of one message in cdr, little-endian: each is aligned to its own size, counted from
/// behind the four bytes that name the encoding.
class Cdr {
 public:
  explicit Cdr(std::string& target) : bytes(target) {
    bytes.append("\0\1\0\0", 4);
    start = bytes.size();
  }

  void add(const void* value, std::size_t size) {
    // Sizes are powers of two.
    bytes.append((start - bytes.size()) & (size - 1), '\0');
    bytes.append(static_cast<const char*>(value), size);
  }
  template <class Number>
  void add(Number number) {
    add(&number, sizeof number);
  }
  void add(const std::string& text) {
    // Its end is marked by a zero, so it can't hold one.
    const std::size_t length = std::min(text.size(), text.find('\0'));
    add(static_cast<std::uint32_t>(length + 1));
    bytes.append(text, 0, length);
    bytes += '\0';
  }
  void add(const Column& column, const unsigned char* values) {
    const unsigned char* value = values + column.offset;
    // A damaged log's byte may be no bool.
    if (column.type->type == TLM_VAR_BOOL) return add(static_cast<std::uint8_t>(*value != 0 ? 1 : 0));
    add(value, column.type->bytes);
  }

 private:
  std::string& bytes;
  std::size_t start;
};

std::string rosTypeOf(const ElementType& type) {
  if (type.type == TLM_VAR_FLOAT) return "float32";
  if (type.type == TLM_VAR_DOUBLE) return "float64";
  return type.name;  // the others have the same names
}

}  // namespace

int McapWriter::begin(const std::vector<Table>& exported) {
  tables = &exported;
  if (const int result = file.begin(); result < 0) return result;
  const auto ofCalls = [](const Table& table) { return table.ofCalls; };
  // First, so that a group of variables that has this name gets another one.
  topicNames.claim(CALLS_TOPIC, "_");
  if (std::any_of(exported.begin(), exported.end(), ofCalls)) {
    calls = addChannel(CALLS_TOPIC, INDEX_FIELD + "string api\nstring[] arguments\nfloat64[] values\n");
  }
  for (const Table& table : exported) {
    if (!table.ofCalls) addTopics(table);
  }
  // Channels have numbers of 16 bits, of which 0 is none.
  return topics.size() < std::numeric_limits<std::uint16_t>::max() ? 0 : -EOVERFLOW;
}

std::uint16_t McapWriter::addChannel(const std::string& topic, const std::string& definition) {
  return file.addChannel(topic, typeNames.claim(rosType(topic), ""), definition, {"time", timeMeaning});
}

/// Puts the columns of samples into the topics that their names give.
void McapWriter::addTopics(const Table& table) {
  std::map<std::string, std::size_t> positions;  // in `topics`, by name
  std::vector<std::string> names;
  for (const Column& column : table.columns) {
    const RosName name(column.name);
    const auto [known, isNew] = positions.emplace(name.topic, topics.size());
    if (isNew) {
      topics.push_back({INDEX_FIELD, {}, {}, 0});
      topics.back().fields.claim("index", "_");
      names.push_back(name.topic);
    }
    Topic& topic = topics[known->second];
    topic.columns.push_back(&column);
    topic.definition += rosTypeOf(*column.type) + " " + topic.fields.claim(name.field, "_") + " # " +
                        printable(column.name) + "\n";
  }
  for (std::size_t i = 0; i < topics.size(); ++i) {
    topics[i].channel = addChannel(topicNames.claim(names[i], "_"), topics[i].definition);
  }
}

int McapWriter::add(std::size_t table, const Record& record, std::uint64_t time) {
  const Table& exported = (*tables)[table];
  if (exported.ofCalls) return addCall(exported, record, time);
  for (const Topic& topic : topics) {
    Cdr message(file.beginMessage(topic.channel, time));
    message.add(record.index);
    for (const Column* column : topic.columns) message.add(*column, record.values);
    if (const int result = file.endMessage(); result < 0) return result;
  }
  return 0;
}

int McapWriter::addCall(const Table& table, const Record& record, std::uint64_t time) {
  const auto count = static_cast<std::uint32_t>(table.columns.size());
  Cdr message(file.beginMessage(calls, time));
  message.add(record.index);
  message.add(table.name);
  message.add(count);
  for (const Column& column : table.columns) message.add(column.name);
  message.add(count);
  for (const Column& column : table.columns) message.add(column, record.values);
  return file.endMessage();
}

}  // namespace logtool

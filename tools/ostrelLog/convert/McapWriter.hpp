#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ostrelLog/convert/McapFile.hpp"
#include "ostrelLog/convert/RosNames.hpp"

namespace logtool {

/// Writes samples and calls as messages that flight and robot viewers know how to show: one topic for each
/// group of variables (RosNames.hpp), one topic `/calls` for all calls. Messages are described in ros2msg
/// and written in cdr; each has the index first. A comment in the description gives the name that the log
/// has for a field.
class McapWriter final : public FlightWriter {
 public:
  /// `timeText` says what the times of the messages are, for the people who look at the file.
  McapWriter(Sink target, bool compressChunks, std::string timeText)
      : file(std::move(target), compressChunks), timeMeaning(std::move(timeText)) {}

  int begin(const std::vector<Table>& exported) override;
  int add(std::size_t table, const Record& record, std::uint64_t time) override;
  int end() override { return file.end(); }

 private:
  struct Topic {
    std::string definition;  ///< a line for each field
    UniqueNames fields;
    std::vector<const Column*> columns;
    std::uint16_t channel;
  };

  std::uint16_t addChannel(const std::string& topic, const std::string& definition);
  void addTopics(const Table& table);
  int addCall(const Table& table, const Record& record, std::uint64_t time);

  McapFile file;
  const std::string timeMeaning;
  const std::vector<Table>* tables = nullptr;
  UniqueNames topicNames;
  UniqueNames typeNames;
  std::vector<Topic> topics;  ///< of the samples
  std::uint16_t calls = 0;    ///< the channel of the calls, when there is one
};

}  // namespace logtool

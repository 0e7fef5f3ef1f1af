#include "logfile/LegacyWriter.hpp"

#include <algorithm>
#include <cerrno>

#include "logfile/ApiArguments.hpp"
#include "logfile/LegacyLayout.hpp"

using namespace LegacyLayout;

namespace {

/// A line of the header, its line feed included.
std::string headerLine(const std::string& key, const std::vector<std::string>& values) {
  std::string line = key;
  const char* separator = " : ";
  for (const std::string& value : values) {
    line += separator + value;
    separator = ", ";
  }
  return line + "\n";
}

/// Writes what all headers share around the lines of one kind of log.
int writeHeader(OutputFile& file, const LogOrigin& origin, const std::string& keyLines) {
  // The description is the preamble, which readers ignore.
  const std::string header = origin.description + "\n" + headerLine(HEADER_START, {}) +
                             headerLine(TOOL, {"ostrelLog"}) + headerLine(NAVDATA_SECTION, {}) + keyLines +
                             headerLine(DATA_START, {});
  return file.write(header.data(), header.size());
}

int writeRecord(OutputFile& file, const std::vector<double>& record) {
  return file.write(record.data(), record.size() * sizeof(double));
}

}  // namespace

LegacyContinuousWriter::LegacyContinuousWriter(const DataRegistry& source) : columns(source.entryList) {
  // "index" first, since people look for the step there; the others keep their name order.
  std::stable_partition(columns.begin(), columns.end(),
                        [](const DataEntryBase* entry) { return entry->name == "index"; });
  // Once, so that writing a record allocates nothing.
  record.resize(columns.size());
}

int LegacyContinuousWriter::begin(OutputFile& target, const LogOrigin& origin) {
  file = &target;
  std::vector<std::string> titles;
  for (const DataEntryBase* column : columns) titles.push_back(column->name);
  return writeHeader(target, origin,
                     headerLine(TYPE, {CONTINUOUS}) +
                         headerLine(NENTRIES, {std::to_string(titles.size())}) +
                         headerLine(TITLES, titles) + headerLine(RATE, {std::to_string(origin.rate)}) +
                         headerLine(HARDWARE, {origin.variant}));
}

int LegacyContinuousWriter::write() {
  std::transform(columns.begin(), columns.end(), record.begin(),
                 [](DataEntryBase* column) { return column->toRecordFormat(); });
  return writeRecord(*file, record);
}

LegacyEventWriter::LegacyEventWriter() : inputs(false) {
  for (::Api::InputBase* input : inputs) input->registerArgs(registry);
  // Freezing lists the APIs in name order, and their positions in that list become the event ids.
  registry.freeze();
  for (const DataEntryBase* entry : registry.entryList) apis.push_back({entry, argumentEntries(*entry)});
}

int LegacyEventWriter::begin(OutputFile& target, const LogOrigin& origin) {
  file = &target;
  std::vector<std::string> titles;
  std::vector<std::string> types;
  std::vector<std::string> counts;
  std::vector<std::string> names;
  for (const Api& api : apis) {
    titles.push_back(api.entry->name);
    counts.push_back(std::to_string(api.arguments.size()));
    for (const DataEntryBase* argument : api.arguments) {
      types.emplace_back(argument->getTypeString());
      names.push_back(argument->name);
    }
    // An API without arguments still takes one slot of both lists.
    if (api.arguments.empty()) {
      types.emplace_back("void");
      names.emplace_back("none");
    }
  }
  return writeHeader(target, origin,
                     headerLine(TYPE, {EVENTS}) + headerLine(TITLES, titles) + headerLine(TYPES, types) +
                         headerLine(NENTRIES, {std::to_string(titles.size())}) +
                         headerLine(ARG_NB, counts) + headerLine(ARG_LIST, names) +
                         headerLine(PRODUCT, {origin.variant}));
}

int LegacyEventWriter::write(const ApiCall& call) {
  const auto api = std::find_if(apis.begin(), apis.end(),
                                [&call](const Api& known) { return known.entry->name == call.api; });
  if (api == apis.end() || api->arguments.size() != call.arguments.size()) return -ENOSYS;
  // The size is filled in at the end, when the number of arguments is known.
  record.assign(EVENT_HEAD_VALUES, 0.0);
  record[STEP] = call.step;
  record[EVENT_ID] = static_cast<double>(api - apis.begin());
  // In the library's order, whatever the order in which the call names its arguments.
  for (DataEntryBase* entry : api->arguments) {
    const auto argument =
        std::find_if(call.arguments.begin(), call.arguments.end(),
                     [entry](const CallArgument& given) { return given.name == entry->name; });
    if (argument == call.arguments.end()) return -ENOSYS;
    double value = argument->value;
    // Through the entry and back, so that the log holds what a replay of it will pass on.
    entry->fromRecord(value);
    record.push_back(entry->toRecordFormat());
  }
  record[RECORD_BYTES] = static_cast<double>(record.size() * sizeof(double));
  return writeRecord(*file, record);
}

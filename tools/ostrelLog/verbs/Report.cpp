#include "ostrelLog/verbs/Report.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

#include "logfile/ErrorText.hpp"
#include "ostrelLog/Output.hpp"
#include "ostrelLog/render/ReportJson.hpp"
#include "ostrelLog/render/ReportText.hpp"
#include "ostrelLog/report/FleetPage.hpp"

namespace logtool {

namespace {

/// What is wrong with the name of a page; empty when nothing is. A folder is made beside the page.
std::string pageFault(const std::string& path) {
  std::error_code isNone;
  const auto type = std::filesystem::status(path, isNone).type();
  if (path.empty()) return "must name a file";
  if (std::filesystem::path(path).extension() == ".flights")
    return "must not end in .flights, as the folder of the flights does";
  if (type == std::filesystem::file_type::regular || type == std::filesystem::file_type::not_found)
    return "";
  return "is no regular file";
}

/// Reports the first faults in full and the others by their number: a file of another kind has a fault on
/// every line.
class FaultCounter {
 public:
  void operator()(const Fault& fault) {
    if (++count <= 10) report(fault);
  }
  bool any() {
    if (count > 10) report({"rows", counted(count - 10, "more fault")});
    return count > 0;
  }

 private:
  std::uint64_t count = 0;
};

/// Names of flights, as their hashes: 8 bytes for each.
class NameSet {
 public:
  void add(const std::string& name) { hashes.push_back(std::hash<std::string>()(name)); }
  void close() { std::sort(hashes.begin(), hashes.end()); }
  bool holds(const std::string& name) const {
    return std::binary_search(hashes.begin(), hashes.end(), std::hash<std::string>()(name));
  }

 private:
  std::vector<std::size_t> hashes;
};

std::vector<std::string> namesOutside(std::istream& list, const NameSet& names) {
  std::vector<std::string> missing;
  for (std::string name; std::getline(list, name);) {
    if (!name.empty() && !names.holds(name)) missing.push_back(name);
  }
  return missing;
}

}  // namespace

CLI::App* Report::addTo(CLI::App& program) {
  CLI::App* command = program.add_subcommand(
      "report",
      "Say what the rows of `regress` mean together: the verdicts, flights with the same first "
      "difference or failure counted together, the flights to look at first, the slowest. Of several "
      "rows with one key the last counts.");
  endHelp(*command,
          "0 all flights are the same, 1 at least one is not or has no row, 2 trouble: rows that can't be "
          "read, none at all, or wrong usage.",
          "ostrelLog report night.jsonl");
  command->add_option("ROWS", options.rows, "Files of rows, and folders of files that end in .jsonl")
      ->required();
  command
      ->add_option("--expect", options.expect,
                   "File with the names of all flights, one a line: name those without a row")
      ->type_name("FILE");
  std::vector<std::string> verdicts(FleetSummary::verdicts().begin(), FleetSummary::verdicts().end());
  CLI::Option* list = command
                          ->add_option("--list", options.list,
                                       "Print only the names of the flights with this verdict, one a line")
                          ->type_name("VERDICT")
                          ->check(CLI::IsMember(verdicts));
  command->add_flag("--json", options.json, "Print one object, for programs")->excludes(list);
  command
      ->add_option("--html", options.html, "Also write a page for a browser, and pages of changed flights")
      ->type_name("FILE")
      ->check(CLI::Validator(pageFault, ""));
  return command;
}

ExitStatus Report::run() const {
  FaultCounter faults;
  const RowFiles rows(options.rows, std::ref(faults));
  std::vector<std::string> inputs = rows.paths();
  inputs.push_back(options.expect);
  if (const auto fault = refuseOwnInput(options.html, inputs)) {
    report(*fault);
    return ExitStatus::TROUBLE;
  }
  FleetSummary fleet;
  NameSet names;
  rows.forEach([&](const std::string& line, const RowFiles::Place& place) {
    const auto row = FlightRow::parse(line);
    if (!row || !fleet.add(*row)) return faults({place.text(), "no row"});
    if (!options.expect.empty()) names.add(row->flight);
    if (row->verdict == options.list) std::cout << row->flight << "\n";
  });
  if (!options.expect.empty()) {
    names.close();
    std::ifstream list(options.expect);
    if (!list) faults({options.expect, errorText(-errno)});
    fleet.withoutRow = namesOutside(list, names);
  }

  if (fleet.flights() == 0) faults({options.rows.front(), "holds no row"});
  const bool trouble = faults.any();
  // Before the text: whoever reads only the beginning of that ends this program.
  const bool pageWritten = fleet.flights() == 0 || writePage(fleet, rows, trouble);

  if (options.json) writeJson(std::cout, fleet);
  if (!options.json && options.list.empty()) writeText(std::cout, fleet);
  if (!finishOutput() || !pageWritten || trouble) return ExitStatus::TROUBLE;
  const bool complete = !fleet.withoutRow || fleet.withoutRow->empty();
  return complete && fleet.flightsOf("same") == fleet.flights() ? ExitStatus::SAME : ExitStatus::DIFFERENT;
}

bool Report::writePage(const FleetSummary& fleet, const RowFiles& rows, bool trouble) const {
  if (options.html.empty()) return true;
  std::vector<std::string> notes = {"Rows:"};
  for (const std::string& file : options.rows) notes.front() += " " + file;
  if (trouble)
    notes.emplace_back("Not everything could be read: the report named the faults when it was made.");
  const std::optional<Fault> fault = writeFleetPage(options.html, notes, fleet, rows);
  if (fault) report(*fault);
  return !fault;
}

}  // namespace logtool

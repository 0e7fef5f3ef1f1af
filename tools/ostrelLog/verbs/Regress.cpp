#include "ostrelLog/verbs/Regress.hpp"

#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <utility>

#include "ostrelLog/Number.hpp"
#include "ostrelLog/Output.hpp"
#include "ostrelLog/fleet/Regression.hpp"
#include "ostrelLog/fleet/RowFile.hpp"
#include "ostrelLog/fleet/Signals.hpp"
#include "ostrelLog/fleet/WorkFolder.hpp"

namespace logtool {

namespace {

/// What the fault of a run means for its status.
ExitStatus troubled(const Fault& fault) {
  report(fault);
  return ExitStatus::TROUBLE;
}

}  // namespace

CLI::App* Regress::addTo(CLI::App& program) {
  CLI::App* command = program.add_subcommand(
      "regress", "Replay many flights with two sets of libraries, and say which differ.");
  endHelp(*command, "0 all the same, 1 any other verdict, 2 trouble or wrong usage.",
          "ostrelLog regress --a before --b after --rows night.jsonl flights");
  addInputs(*command);
  addReplays(*command);
  options.comparison.addTo(*command);
  command->callback([this] { check(); });
  return command;
}

void Regress::addInputs(CLI::App& command) {
  command.add_option("FLIGHT", options.flights, "Path without .cont, .tlmb or .events, or a folder");
  command.add_option("--list", options.list, "File with one FLIGHT a line; - for standard input")
      ->type_name("FILE");
  command.add_option("--a", options.folders.a, "Folder of the libraries A")->type_name("DIR");
  command.add_option("--b", options.folders.b, "Folder of the libraries B; otherwise A against itself")
      ->type_name("DIR");
  command.add_option("--rows", options.rows, "Append rows; flights that have one are not replayed")
      ->type_name("FILE");
  command.add_option("--baseline", options.baseline, "Rows of an earlier run, which spare replays of A")
      ->type_name("FILE");
  command.add_option("--shard", shard, "Take only part I of N of the flights, I from 1")->type_name("I/N");
  command.add_option("--keep", options.keep, "Keep the exports of up to 20 flights of each difference")
      ->type_name("DIR");
  command.add_flag("--keep-all", options.keepAll, "With --keep: keep those of all changed flights");
}

void Regress::addReplays(CLI::App& command) {
  addNumber(command, "-j,--jobs", options.jobs, "Flights at the same time")->type_name("K");
  addNumber(command, "--timeout", options.timeout, "Seconds after which a replay is killed")
      ->type_name("S");
  command.add_option("--pace", options.pace, "Between two steps of a replay: sleep or yield")
      ->type_name("PACE")
      ->check(CLI::IsMember({"sleep", "yield"}))
      ->capture_default_str();
  command.add_option("--isolate", options.isolate, "A /dev/shm for each replay: auto, require or off")
      ->type_name("HOW")
      ->check(CLI::IsMember({"auto", "require", "off"}))
      ->capture_default_str();
  command.add_option("--replay", options.replay, "ostrelReplay; otherwise the one beside this program")
      ->type_name("PROGRAM");
  command.add_flag("--bisect", bisect, "Exit with 125 in place of 2, for git bisect run");
}

void Regress::check() {
  if (options.flights.empty() && options.list.empty()) throw CLI::RequiredError("FLIGHT or --list");
  if (!(options.timeout > 0)) throw CLI::ValidationError("--timeout: must be more than 0");
  if (options.jobs && *options.jobs == 0) throw CLI::ValidationError("--jobs: must be 1 or more");
  std::vector<std::string>& only = options.comparison.selection.only;
  if (only.empty()) only = {"outputs.*"};
  if (!shard) return;
  const std::size_t slash = shard->find('/');
  Shard& part = options.shard;
  if (slash == std::string::npos || !parseNumber(shard->substr(0, slash), part.number) ||
      !parseNumber(shard->substr(slash + 1), part.count) || part.number < 1 || part.number > part.count) {
    throw CLI::ValidationError("--shard: must be I/N, with I from 1 to N");
  }
}

ExitStatus Regress::run() const {
  const ExitStatus status = compareFlights();
  if (!finishOutput() || status == ExitStatus::TROUBLE) return failure();
  return status;
}

ExitStatus Regress::compareFlights() const {
  std::vector<std::string> words = options.flights;
  std::vector<Flight> flights;
  if (!options.list.empty()) {
    if (const auto fault = readList(options.list, words)) return troubled(*fault);
  }
  if (const auto fault = findFlights(words, flights)) return troubled(*fault);
  const auto hasNoLog = [](const Flight& f) { return f.continuous.empty() && f.events.empty(); };
  if (std::all_of(flights.begin(), flights.end(), hasNoLog)) return troubled({"flights", "none found"});
  const std::size_t found = flights.size();
  keepShard(options.shard, flights);
  if (flights.empty()) {
    // An engine that starts all shards is not to take this one for a failure.
    std::cout << "none of the " << found << " flights is in this shard\n";
    return ExitStatus::SAME;
  }
  rlimit fileSize{};
  getrlimit(RLIMIT_FSIZE, &fileSize);
  if (fileSize.rlim_cur != RLIM_INFINITY) {
    return troubled(
        {"ulimit -f", "limits the size of exports, which would look like a fault of the flights"});
  }

  FleetPlan plan;
  plan.tool = version;
  if (const auto fault = preparePlan(options, plan)) return troubled(*fault);
  RowFile rows;
  if (!options.rows.empty()) {
    if (const auto fault = rows.open(options.rows, plan.known)) return troubled(*fault);
  }
  if (!options.baseline.empty()) {
    std::uint64_t ignored = 0;
    const auto add = [&plan](const Json& row) { plan.baseline.add(row); };
    if (const auto fault = readRows(options.baseline, add, ignored)) return troubled(*fault);
  }
  noteSignals();
  ExitStatus status = ExitStatus::TROUBLE;
  {
    const WorkFolder folder;
    if (const auto fault = settleIsolation(options, flights, folder.path + "/probe", plan)) {
      return troubled(*fault);
    }
    Regression regression(options, plan, rows, flights, folder.path);
    regression.run();
    if (notedSignal() == 0) status = regression.conclude();
  }
  // Everything is stopped and removed.
  obeySignals();
  return status;
}

}  // namespace logtool

#include "ostrelLog/fleet/Regression.hpp"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include "ostrelLog/Output.hpp"
#include "ostrelLog/fleet/Signals.hpp"

namespace logtool {

namespace {

namespace fs = std::filesystem;

constexpr int KEPT_EACH = 20;
constexpr std::size_t LONGEST_NAME = 200;  // bytes of a kept file's name that come from its flight
constexpr double WANTED_LOAD = 0.97;       // of the processors' time, so that nothing piles up
// In which a signal that a scheduler sends to all processes of a job has reached each of them.
constexpr std::chrono::seconds LONGEST_DELIVERY(2);

/// What a worker sends: a row, and what the parent needs beside it.
std::string message(const FlightJob& job) {
  const Json text = {{"row", job.row},
                     {"exports", {job.exports.a, job.exports.b}},
                     {"names", job.names},
                     {"disturbed", job.disturbed}};
  return text.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

/// The last message that a worker has sent as a whole; null when there is none.
Json lastMessage(const std::string& text) {
  Json last;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line) && !lines.eof();) last = Json::parse(line);
  return last;
}

/// Whether a signal has ended the worker or one of its replays.
bool isDisturbed(const Pool::Finished& finished) {
  if (finished.byASignal) return true;
  const Json last = lastMessage(finished.text);
  return last.is_object() && last["disturbed"];
}

}  // namespace

Regression::Regression(const FleetOptions& fleetOptions, const FleetPlan& fleetPlan, RowFile& rowFile,
                       const std::vector<Flight>& allFlights, std::string workFolder)
    : options(fleetOptions),
      plan(fleetPlan),
      rows(rowFile),
      flights(allFlights),
      folder(std::move(workFolder)),
      jobs(plan.replays.isolation == Isolation::ONE_BY_ONE ? 1 : options.jobs.value_or(defaultJobs())),
      kept(plan.known.keptByVariable),
      progress(flights.size()) {}

std::string Regression::folderOf(std::size_t id) const {
  return folder + "/" + std::to_string(id);
}

void Regression::run() {
  for (startWhatFits();
       (next < flights.size() || pool.running() > 0 || !held.empty()) && notedSignal() == 0;
       startWhatFits()) {
    // The next start may be due earlier than anything ends.
    const bool more = next < flights.size() && pool.running() < jobs;
    for (Pool::Finished& finished :
         pool.wait(more ? std::chrono::milliseconds(5) : std::chrono::milliseconds(500))) {
      if (isDisturbed(finished)) {
        held.push_back({Clock::now() + LONGEST_DELIVERY, std::move(finished)});
      } else {
        take(std::move(finished));
      }
    }
    while (!held.empty() && held.front().due <= Clock::now() && notedSignal() == 0) {
      take(std::move(held.front().finished));
      held.pop_front();
    }
    rows.synchroniseWhenDue();
    progress.show();
  }
  progress.finish();
  rows.synchronise();
}

/// Whether the processors have time for one more flight.
///
/// Replays that are at their steps at the same time cost each other more than their time, since with each
/// step they offer the processor. So the starts are as far apart as the processors need for a flight, and
/// the replays do not wake up in bunches.
bool Regression::hasTime() const {
  const double processors = std::max(1U, std::thread::hardware_concurrency());
  const std::chrono::duration<double> pause(processorSeconds / (processors * WANTED_LOAD));
  return Clock::now() - lastStart >= pause;
}

void Regression::startWhatFits() {
  while (next < flights.size() && pool.running() < jobs && notedSignal() == 0) {
    if (isDone(flights[next])) {
      ++next;
      continue;
    }
    if (!hasTime()) return;
    lastStart = Clock::now();
    startNext();
  }
}

/// Counts a flight whose key has a row. Only where no file needs to be read for that: the digests of files
/// that have changed are the workers' business.
bool Regression::isDone(const Flight& flight) {
  FlightJob job(plan, flight, "");
  if (!job.filesAreKnown()) return false;
  job.identify();
  const auto found = plan.known.verdicts.find(job.row["key"]);
  if (found == plan.known.verdicts.end()) return false;
  progress.count(found->second, true);
  return true;
}

void Regression::startNext() {
  const std::size_t id = next++;
  pool.start(id, [this, id](const Pool::Send& send) {
    FlightJob job(plan, flights[id], folderOf(id));
    job.identify();
    job.beforeReplays = [&] { send(message(job)); };
    // For the case that the process does not live to the end.
    send(message(job));
    if (plan.known.verdicts.count(job.row["key"]) != 0) return;
    job.judge();
    send(message(job));
  });
}

void Regression::take(Pool::Finished finished) {
  // The process has told the reason itself.
  if (finished.failure == "exit status 1") throw std::runtime_error("stopped: trouble of the machine");
  Json last = lastMessage(finished.text);
  if (last.is_null()) throw std::runtime_error("a process ended without an answer: " + finished.failure);
  Json& row = last["row"];
  const auto known = plan.known.verdicts.find(row["key"]);
  if (known != plan.known.verdicts.end()) return progress.count(known->second, true);
  if (row["verdict"].is_null()) {
    row["verdict"] = "bad-input";
    row["reason"] = "the comparison ended by " + finished.failure;
  }
  for (const Json& name : last["names"]) variables.insert(name);
  if (row["verdict"] == "changed") keepExports(row, last["exports"]);
  if (!options.rows.empty()) rows.append(row);
  fs::remove_all(folderOf(finished.id));
  processorSeconds += (finished.processorSeconds - processorSeconds) / 8;
  progress.count(row["verdict"], false);
  tell(row);
}

/// Moves the exports of a changed flight to where they are kept, if they are to be.
void Regression::keepExports(Json& row, const Json& exports) {
  if (options.keep.empty()) return;
  int& number = kept[firstVariable(row)];
  if (number >= KEPT_EACH && !options.keepAll) return;
  ++number;
  std::string name = row["flight"];
  std::replace(name.begin(), name.end(), '/', '_');
  // Two names may become one; the key tells them apart.
  if (name.size() > LONGEST_NAME) name.erase(0, name.size() - LONGEST_NAME);
  name += "-" + row["key"].get<std::string>().substr(0, 8);
  fs::create_directories(options.keep);
  for (const Side side : SIDES) {
    const fs::path target = fs::path(options.keep) / (name + "." + keyOf(side) + ".tlmb");
    const fs::path source = exports[side == Side::A ? 0 : 1].get<std::string>();
    std::error_code elsewhere;
    fs::rename(source, target, elsewhere);
    if (elsewhere) fs::copy_file(source, target, fs::copy_options::overwrite_existing);
    row["kept"][keyOf(side)] = target.string();
  }
}

void Regression::tell(const Json& row) const {
  if (row["verdict"] == "same") return;
  progress.finish();
  std::string line = row["verdict"].get<std::string>() + ": " + row["flight"].get<std::string>();
  if (!row["first"].is_null() && !row["first"]["step"].is_null())
    line += ", step " + row["first"]["step"].dump();
  if (!row["reason"].is_null()) line += ": " + row["reason"].get<std::string>();
  std::cout << printable(line) << std::endl;
}

ExitStatus Regression::conclude() const {
  std::cout << progress.headline() << "\n";
  if (progress.with("nothing-compared") == flights.size()) {
    std::string names;
    for (const std::string& name : variables) names += "\n  " + printable(name);
    if (!names.empty()) std::cerr << "ostrelLog: nothing was compared; the exports hold:" << names << "\n";
    return ExitStatus::TROUBLE;
  }
  return progress.with("same") == flights.size() ? ExitStatus::SAME : ExitStatus::DIFFERENT;
}

}  // namespace logtool

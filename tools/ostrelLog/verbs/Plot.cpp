#include "ostrelLog/verbs/Plot.hpp"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <variant>

#include "ostrelLog/Number.hpp"
#include "ostrelLog/Output.hpp"
#include "ostrelLog/plot/PlotPage.hpp"
#include "ostrelLog/render/Page.hpp"

namespace logtool {

CLI::App* Plot::addTo(CLI::App& program) {
  CLI::App* command = program.add_subcommand(
      "plot",
      "Draw a log of samples as one HTML page that needs no other file and no network. Of two logs, it "
      "draws what differs: A and B, and below them B - A. Of a long flight, each pixel has the lowest and "
      "the highest value.");
  endHelp(*command, "0 drawn, 3 a log is cut or damaged, 1 not drawn, 2 wrong usage.",
          "ostrelLog plot flight.cont --events flight.events -o flight.html");
  PlotOptions& plot = options.plot;
  command->add_option("LOG", plot.files.a, "Legacy continuous or blackbox log")->required();
  command->add_option("LOG_B", plot.files.b, "Second log, to be compared with the first one");
  command->add_option("--events", plot.events, "Event log: its calls become marks")->type_name("EVENTS");
  plot.comparison.addTo(*command);
  plot.comparison.addByRecord(*command);
  addNumber(*command, "--from", plot.from, "First step to show, and to keep step by step")
      ->type_name("INDEX");
  addNumber(*command, "--to", plot.to, "Last step to show, and to keep step by step")->type_name("INDEX");
  command->add_option("--title", plot.title, "Title of the page, in place of the names of the files")
      ->type_name("TEXT");
  command->add_option("-o", options.output, "File to write, in place of standard output")
      ->type_name("FILE");
  command->callback([&plot] {
    if (plot.from && plot.to) checkRange(*plot.from, *plot.to);
    const CompareOptions& comparison = plot.comparison;
    if (comparison.byRecord && !plot.events.empty()) {
      throw CLI::ValidationError("--events: calls have steps, which --by-record does not show");
    }
    if (!plot.files.b.empty()) return;
    if (comparison.tolerance || comparison.byRecord || comparison.sections.a != comparison.sections.b) {
      throw CLI::ValidationError("LOG_B: is missing for --tolerance, --by-record or --section A=B");
    }
  });
  return command;
}

ExitStatus Plot::run() const {
  if (options.output.empty() && isatty(STDOUT_FILENO) != 0) {
    report({"-o", "is needed, since standard output is a terminal"});
    return ExitStatus::NOT_PLOTTED;
  }
  const PlotOptions& plot = options.plot;
  if (const auto fault = refuseOwnInput(options.output, {plot.files.a, plot.files.b, plot.events})) {
    report(*fault);
    return ExitStatus::NOT_PLOTTED;
  }
  const auto result = readPlot(plot);
  if (const auto* fault = std::get_if<Fault>(&result)) {
    report(*fault);
    return ExitStatus::NOT_PLOTTED;
  }
  const auto& data = std::get<PlotData>(result);
  for (const Fault& fault : data.incomplete) report(fault);
  if (!write(plotPage(data))) return ExitStatus::NOT_PLOTTED;
  return data.incomplete.empty() ? ExitStatus::PLOTTED : ExitStatus::PLOTTED_IN_PART;
}

bool Plot::write(const std::string& page) const {
  if (options.output.empty()) {
    std::cout << page;
    return finishOutput();
  }
  PageFile file(options.output);
  file.add(page);
  const std::optional<Fault> fault = file.finish();
  if (fault) report(*fault);
  return !fault;
}

}  // namespace logtool

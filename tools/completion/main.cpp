#include <CLI/CLI.hpp>
#include <functional>
#include <iostream>
#include <map>
#include <regex>

#include "completion/Shells.hpp"
#include "ostrelLog/CommandLine.hpp"

namespace {

/// What the name of an option's value in the help says of it: FILE, or the one that a verb has for its
/// files.
Value valueOf(const std::string& type) {
  static const std::map<std::string, Value> VALUES = {
      {"", Value::NONE},    {"DIR", Value::FOLDER},   {"FILE", Value::PATH},        {"EVENTS", Value::PATH},
      {"NEW", Value::PATH}, {"PROGRAM", Value::PATH}, {"PATTERN", Value::VARIABLE},
  };
  const auto known = VALUES.find(type);
  return known == VALUES.end() ? Value::WORD : known->second;
}

/// The words of a set that a validator has: {sleep,yield}.
std::vector<std::string> wordsOf(const std::string& type) {
  std::vector<std::string> words;
  const std::size_t begin = type.find('{'), end = type.find('}');
  if (begin == std::string::npos || end == std::string::npos) return words;
  return CLI::detail::split(type.substr(begin + 1, end - begin - 1), ',');
}

CompletedCommand completed(const CLI::App& app) {
  CompletedCommand command{app.get_name(), logtool::headline(app), {}};
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_positional() || option->get_group().empty()) continue;
    const std::string type = option->get_type_size() == 0 ? "" : option->get_type_name();
    for (const std::string& name : CLI::detail::split(option->get_name(false, true), ',')) {
      command.options.push_back(
          {name, option->get_description(), valueOf(type.substr(0, type.find(':'))), wordsOf(type)});
    }
  }
  return command;
}

/// Reads the options of ostrelReplay from its usage text, which has one a line with what they take.
CompletedCommand replayFrom(std::istream& usage) {
  CompletedCommand command{"ostrelReplay", "", {}};
  const std::regex row(R"( +(-[a-z]) (<string>|\| --[a-z]+) +(.*))");
  std::smatch parts;
  for (std::string line; std::getline(usage, line);) {
    if (!std::regex_match(line, parts, row)) continue;
    const std::string description = parts[3];
    Value value = Value::WORD;
    if (parts[2] != "<string>") value = Value::NONE;
    if (description.compare(0, 4, "Path") == 0) value = Value::PATH;
    command.options.push_back({parts[1], description, value, {}});
  }
  return command;
}

}  // namespace

/// Writes the completions of both programs for one shell: completions SHELL, with the usage text of
/// ostrelReplay on standard input.
int main(int argc, char** argv) {
  const std::map<std::string, std::function<void(std::ostream&, const CompletedPrograms&)>> shells = {
      {"bash", writeBash}, {"zsh", writeZsh}, {"fish", writeFish}};
  const auto shell = shells.find(argc == 2 ? argv[1] : "");
  if (shell == shells.end()) return 1;
  const logtool::CommandLine commandLine("", "");
  CompletedPrograms programs;
  programs.log = completed(commandLine.program);
  const auto all = [](const CLI::App*) { return true; };
  for (const CLI::App* verb : commandLine.program.get_subcommands(all))
    programs.verbs.push_back(completed(*verb));
  programs.replay = replayFrom(std::cin);
  if (programs.replay.options.empty()) return 1;
  shell->second(std::cout, programs);
  return std::cout.flush() ? 0 : 1;
}

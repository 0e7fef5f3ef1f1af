#include "ostrelLog/HelpText.hpp"

#include <sstream>
#include <utility>

#include "ostrelLog/CommandLine.hpp"

namespace logtool {

namespace {

constexpr std::size_t LINE = 80;
constexpr std::size_t OPTION_COLUMN = 22;  ///< where the descriptions of the options begin

/// The words of a text in lines of at most `width` columns, whatever lines they were in.
std::string wrapped(const std::string& text, std::size_t width) {
  std::istringstream words(text);
  std::string result, line;
  for (std::string word; words >> word;) {
    if (!line.empty() && line.size() + 1 + word.size() > width) {
      result += line + "\n";
      line.clear();
    }
    line += (line.empty() ? "" : " ") + word;
  }
  return result + line;
}

}  // namespace

HelpText::HelpText() {
  column_width(OPTION_COLUMN);
  label("SUBCOMMAND", "VERB");
}

std::string HelpText::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const {
  // The library puts an empty line behind options even if those that follow are hidden.
  return CLI::detail::find_and_replace(Formatter::make_help(app, std::move(name), mode), "\n\n\n", "\n\n");
}

std::string HelpText::make_description(const CLI::App* app) const {
  return wrapped(app->get_description(), LINE) + "\n\n";
}

std::string HelpText::make_positionals(const CLI::App* app) const {
  std::string result;
  // Directly below the usage, which names them: a heading would take two lines of the screen.
  for (const CLI::Option* option :
       app->get_options([](const CLI::Option* each) { return each->get_positional(); }))
    result += make_option(option, true);
  return result;
}

std::string HelpText::make_option_opts(const CLI::Option* option) const {
  if (option->get_positional() || option->get_type_size() == 0) return "";
  // The names of validators follow a colon, such as the set of all values.
  const std::string type = option->get_type_name();
  const std::string standard = option->get_default_str();
  return " " + type.substr(0, type.find(':')) + (standard.empty() ? "" : "=" + standard);
}

std::string HelpText::make_option_desc(const CLI::Option* option) const {
  const bool needed = option->nonpositional() && option->get_required();
  return wrapped(option->get_description() + (needed ? "; needed" : ""), LINE - OPTION_COLUMN);
}

std::string HelpText::make_subcommand(const CLI::App* verb) const {
  std::ostringstream out;
  CLI::detail::format_help(out, verb->get_name(), wrapped(headline(*verb), LINE - OPTION_COLUMN),
                           OPTION_COLUMN);
  return out.str();
}

std::string HelpText::make_footer(const CLI::App* app) const {
  std::string result;
  std::istringstream lines(app->get_footer());
  // An example is indented, and is to be copied as it stands.
  for (std::string line; std::getline(lines, line);)
    result += (line[0] == ' ' ? line : wrapped(line, LINE)) + "\n";
  return result;
}

}  // namespace logtool

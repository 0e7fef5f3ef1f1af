#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace logtool {

/// Prints the help of a verb for a screen of 24 lines and 80 columns. The library breaks no lines itself,
/// and prints more of each option than a screen has room for.
class HelpText : public CLI::Formatter {
 public:
  HelpText();
  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
  std::string make_description(const CLI::App* app) const override;
  std::string make_positionals(const CLI::App* app) const override;
  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_option_desc(const CLI::Option* option) const override;
  std::string make_subcommand(const CLI::App* verb) const override;
  std::string make_footer(const CLI::App* app) const override;
};

}  // namespace logtool

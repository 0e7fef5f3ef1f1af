#include "ostrelLog/Verb.hpp"

#include <CLI/CLI.hpp>

namespace logtool {

void Verb::endHelp(CLI::App& command, const std::string& statuses, const std::string& example) {
  command.footer("Exit status: " + statuses + "\nExample:\n  " + example);
}

}  // namespace logtool

#include "support/RunProgram.hpp"

#include <sys/wait.h>

#include <boost/process.hpp>
#include <iterator>

#include "support/TestFolder.hpp"

namespace process = boost::process;

ProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& variables) {
  process::environment environment = boost::this_process::environment();
  for (const auto& [name, value] : variables) {
    if (value.empty()) {
      environment.erase(name);
    } else {
      environment[name] = value;
    }
  }
  const TestFolder folder;
  const std::string out = folder.path("out");
  const std::string err = folder.path("err");
  process::child child(program, process::args(arguments), environment,
                       process::std_in<process::null, process::std_out> out, process::std_err > err);
  child.wait();
  const int status = child.native_exit_code();
  return {WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status), readFile(out), readFile(err)};
}

#include "support/RunProgram.hpp"

#include <sys/wait.h>

#include <boost/process.hpp>
#include <iterator>

#include "support/TestFolder.hpp"

namespace process = boost::process;

namespace {

/// The word as the shell takes it without looking into it.
std::string quoted(std::string word) {
  for (std::size_t at = 0; (at = word.find('\'', at)) != std::string::npos; at += 4)
    word.replace(at, 1, "'\\''");
  return "'" + word + "'";
}

}  // namespace

ProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& variables) {
  // By env(1): Boost's own environment reads beyond its strings when one variable's name begins another's.
  // A sanitizer's report must not pass for a failure of the program's own, and a probe may be loaded before
  // the sanitizer's library.
  std::vector<std::string> command = {"ASAN_OPTIONS=exitcode=99:verify_asan_link_order=0",
                                      "UBSAN_OPTIONS=exitcode=99"};
  for (const auto& [name, value] : variables) {
    if (value.empty()) command.insert(command.begin(), {"-u", name});
    if (!value.empty()) command.push_back(name + "=" + value);
  }
  command.push_back(program);
  command.insert(command.end(), arguments.begin(), arguments.end());

  const TestFolder folder;
  const std::string out = folder.path("out");
  const std::string err = folder.path("err");
  // By the shell: Boost looks at the first character of each argument, which an empty one does not have.
  std::string script = "exec /usr/bin/env";
  for (const std::string& word : command) script += " " + quoted(word);
  process::child child("/bin/sh", process::args({"-c", script}),
                       process::std_in<process::null, process::std_out> out, process::std_err > err);
  child.wait();
  const int status = child.native_exit_code();
  return {WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status), readFile(out), readFile(err)};
}

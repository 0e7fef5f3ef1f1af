#include "ostrelLog/preflight/Library.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "logfile/ErrorText.hpp"
#include "ostrelLog/WaitForEnd.hpp"
#include "ostrelLog/preflight/LibraryAnswer.hpp"

namespace logtool {

namespace {

using std::chrono::steady_clock;
namespace filesystem = std::filesystem;

/// The program that asks; it lies at the same place beside this one in the build and when installed.
std::string askingProgram() {
  std::error_code ignored;
  const filesystem::path self = filesystem::read_symlink("/proc/self/exe", ignored);
  return (self.parent_path() / LIBRARY_PROGRAM).lexically_normal().string();
}

/// What the program left.
struct Ending {
  std::string answer;
  std::string message;  ///< the first line that it printed
  bool inTime = false;
  int status = 0;  ///< as waitpid() has it
};

/// Becomes the program. Only in the child process.
[[noreturn]] void become(const std::string& program, const std::string& directory, int descriptor,
                         int messages) {
  // Of its own group, so that whatever the library starts is ended with it.
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // What the library prints must not stand beside the verdict.
  dup2(messages, STDOUT_FILENO);
  dup2(messages, STDERR_FILENO);
  fcntl(descriptor, F_SETFD, 0);
  if (!directory.empty()) {
    const char* const path = std::getenv("LD_LIBRARY_PATH");
    const std::string rest = path == nullptr || *path == '\0' ? "" : std::string(":") + path;
    setenv("LD_LIBRARY_PATH", (directory + rest).c_str(), 1);
  }
  execl(program.c_str(), program.c_str(), std::to_string(descriptor).c_str(), nullptr);
  _exit(127);
}

/// Reads until the answer is complete, the other side has ended, or the time is over; false for the latter.
bool readAnswer(int descriptor, steady_clock::time_point deadline, std::string& answer) {
  const std::string last = std::string(LibraryAnswer::END) + ' ' + '\0';
  std::array<char, 4096> part;
  while (answer.size() < last.size() ||
         answer.compare(answer.size() - last.size(), last.size(), last) != 0) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now()).count();
    pollfd waiting = {descriptor, POLLIN, 0};
    const int ready = poll(&waiting, 1, static_cast<int>(std::max<long>(left, 0)));
    if (ready == 0) return false;
    if (ready < 0 && errno == EINTR) continue;
    const ssize_t count = read(descriptor, part.data(), part.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return true;
    answer.append(part.data(), static_cast<std::size_t>(count));
  }
  return true;
}

/// The first line of a file, or as much of it as a message may have.
std::string firstLine(int descriptor) {
  std::array<char, 1000> text;
  const ssize_t count = pread(descriptor, text.data(), text.size(), 0);
  const auto end = text.begin() + std::max<ssize_t>(count, 0);
  return {text.begin(), std::find(text.begin(), end, '\n')};
}

/// Runs the program to its end. A negated errno when it can't be started.
int run(const std::string& program, const std::string& directory, std::chrono::milliseconds patience,
        Ending& ending) {
  std::array<int, 2> pipe;
  if (pipe2(pipe.data(), O_CLOEXEC) < 0) return -errno;
  const int messages = memfd_create("messages", MFD_CLOEXEC);
  const pid_t child = fork();
  if (child == 0) become(program, directory, pipe[1], messages);
  const int error = errno;
  close(pipe[1]);
  if (child > 0) {
    ending.inTime = readAnswer(pipe[0], steady_clock::now() + patience, ending.answer);
    // Nothing of the library may go on. The status of a process that is ending already stays as it is.
    kill(-child, SIGKILL);
    ending.status = waitForEnd(child);
    ending.message = firstLine(messages);
  }
  close(messages);
  close(pipe[0]);
  return child > 0 ? 0 : -error;
}

/// Why the answer is not complete.
std::string failureText(const Ending& ending, std::chrono::milliseconds patience) {
  if (!ending.inTime) {
    return "the flight-control library did not answer within " + std::to_string(patience.count()) + " ms";
  }
  const std::string how = WIFSIGNALED(ending.status)
                              ? "by signal " + std::to_string(WTERMSIG(ending.status))
                              : "with status " + std::to_string(WEXITSTATUS(ending.status));
  return "the process that loads the flight-control library ended " + how + " before it answered" +
         (ending.message.empty() ? "" : ": " + ending.message);
}

/// Takes the answer in; false when it is not complete.
bool parse(const std::string& answer, Library& library) {
  std::istringstream entries(answer);
  for (std::string entry; std::getline(entries, entry, '\0');) {
    const std::size_t blank = entry.find(' ');
    const std::string word = entry.substr(0, blank);
    const std::string text = blank == std::string::npos ? "" : entry.substr(blank + 1);
    if (word == LibraryAnswer::PATH) library.file = text;
    if (word == LibraryAnswer::API) library.apis.push_back({text, {}});
    if (word == LibraryAnswer::ARGUMENT) library.apis.back().arguments.push_back(text);
    if (word == LibraryAnswer::HARDWARE) library.hardware = text;
    if (word == LibraryAnswer::NO_MODE) {
      library.obstacles.push_back({"persist.running-mode", "the property can't be read"});
    }
    if (word == LibraryAnswer::NO_CONFIGURATION) {
      library.obstacles.push_back({text, "no such directory, which has the library's configuration"});
    }
    if (word == LibraryAnswer::END) return true;
  }
  return false;
}

/// Whether the loader found a file by way of this directory.
bool isOf(const std::string& directory, const std::string& file) {
  std::error_code ignored;
  const filesystem::path place = filesystem::path(file).parent_path();
  return filesystem::equivalent(place, directory, ignored) ||
         // Where the loader looks first: libraries for some processors only.
         place.string().find("/glibc-hwcaps/") != std::string::npos;
}

}  // namespace

std::variant<Library, Fault> askLibrary(const std::string& directory, std::chrono::milliseconds patience) {
  std::error_code ignored;
  if (!directory.empty() && !filesystem::is_directory(directory, ignored)) {
    return Fault{directory, "is no directory"};
  }
  const std::string program = askingProgram();
  if (access(program.c_str(), X_OK) < 0) return Fault{program, errorText(-errno)};
  Ending ending;
  if (const int result = run(program, directory, patience, ending); result < 0) {
    return Fault{program, errorText(result)};
  }
  Library library;
  const std::string& where = directory.empty() ? program : directory;
  if (!parse(ending.answer, library)) return Fault{where, failureText(ending, patience)};
  if (library.file.empty()) return Fault{where, "the loader takes no flight-control library"};
  if (!directory.empty() && !isOf(directory, library.file)) {
    return Fault{directory,
                 "has no flight-control library that the loader takes; it takes " + library.file};
  }
  return library;
}

}  // namespace logtool

#include "ostrelLog/fleet/Libraries.hpp"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <sstream>
#include <system_error>

#include "ostrelLog/WaitForEnd.hpp"
#include "ostrelLog/fleet/Digest.hpp"
#include "ostrelLog/fleet/SystemError.hpp"

namespace logtool {

namespace {

namespace fs = std::filesystem;

/// What the dynamic loader prints in place of running the program: a line for each object.
std::string askLoader(const std::string& program, const std::string& searchPath) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) fail(errno, "pipe");
  const pid_t child = fork();
  if (child < 0) fail(errno, "fork");
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    setenv("LD_TRACE_LOADED_OBJECTS", "1", 1);
    if (!searchPath.empty()) setenv("LD_LIBRARY_PATH", searchPath.c_str(), 1);
    execl(program.c_str(), program.c_str(), nullptr);
    _exit(127);
  }
  close(ends[1]);
  std::string text;
  std::array<char, 4096> block{};
  for (ssize_t count = 0; (count = read(ends[0], block.data(), block.size())) > 0;) {
    text.append(block.data(), static_cast<std::size_t>(count));
  }
  close(ends[0]);
  const int status = waitForEnd(child);
  if (WIFSIGNALED(status)) fail(EINTR, program);  // then the list may end anywhere
  if (WIFEXITED(status) && WEXITSTATUS(status) == 127) fail(ENOEXEC, program);
  return text;
}

/// Whether the object belongs to the system, so that nobody expects it in a folder of libraries to test.
bool isSystems(const fs::path& path) {
  const std::string text = path.string();
  return text.rfind("/usr/lib", 0) == 0 || text.rfind("/lib", 0) == 0;
}

bool isSharedObject(const std::string& name) {
  return name.size() > 3 &&
         (name.find(".so.") != std::string::npos || name.rfind(".so") == name.size() - 3);
}

void findUnused(const fs::path& folder, const std::set<fs::path>& loaded, Libraries& result) {
  for (const auto& entry : fs::directory_iterator(folder)) {
    std::error_code failure;
    const fs::path real = fs::canonical(entry.path(), failure);
    // Of several names of one file, the loader needs only one.
    if (failure || !isSharedObject(entry.path().filename()) || loaded.count(real) != 0) continue;
    result.unused.push_back(entry.path().string());
  }
  std::sort(result.unused.begin(), result.unused.end());
}

}  // namespace

Libraries loadedLibraries(const std::string& program, const std::string& folder) {
  Libraries result;
  fs::path inFront;
  if (!folder.empty()) {
    inFront = fs::canonical(folder);
    result.searchPath = inFront.string();
  }
  // Absolute, since every replay has a working folder of its own.
  const char* const before = std::getenv("LD_LIBRARY_PATH");
  std::istringstream others(before == nullptr ? "" : before);
  for (std::string other; std::getline(others, other, ':');) {
    const fs::path path = fs::absolute(other.empty() ? "." : other);
    result.searchPath += (result.searchPath.empty() ? "" : ":") + path.string();
  }
  std::vector<std::string> direct;
  std::set<fs::path> loaded = {fs::canonical(program)}, named;
  std::istringstream lines(askLoader(program, result.searchPath));
  for (std::string line; std::getline(lines, line);) {
    // "NAME => PATH (ADDRESS)", "NAME => not found", or "PATH (ADDRESS)" of the loader itself.
    std::istringstream words(line);
    std::string name, arrow, path;
    words >> name >> arrow >> path;
    if (arrow != "=>") continue;
    direct.push_back(name);
    if (path == "not") {
      result.missing.push_back(name);
      continue;
    }
    const fs::path real = fs::canonical(path);
    loaded.insert(real);
    if (!folder.empty() && fs::path(path).parent_path() == inFront) {
      result.inFolder.push_back(path);
      named.insert(real);
    } else if (!isSystems(real)) {
      result.needed.push_back(name);
      if (folder.empty()) named.insert(real);
    }
  }
  // Where all are installed in the system's folders.
  if (result.needed.empty()) result.needed = direct;
  if (!folder.empty()) findUnused(inFront, loaded, result);
  // In an order that does not depend on where they lie.
  std::set<std::pair<std::string, std::string>> digests;
  for (const fs::path& file : loaded) {
    std::string hex;
    if (const int failure = digestOfFile(file.string(), hex); failure < 0) fail(-failure, file.string());
    digests.emplace(file.filename().string(), hex);
    if (named.count(file) != 0) result.digests[file.filename().string()] = hex;
    result.files.push_back(file.string());
  }
  Digest digest;
  for (const auto& [name, hex] : digests) {
    digest.add(name);
    digest.add(hex);
  }
  result.digest = digest.hex();
  return result;
}

}  // namespace logtool

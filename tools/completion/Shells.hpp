#pragma once

#include <ostream>
#include <string>
#include <vector>

/// What stands behind an option, and so what can be offered there.
enum class Value { NONE, PATH, FOLDER, VARIABLE, WORD };

struct CompletedOption {
  std::string name;  ///< with its dashes
  std::string description;
  Value value;
  std::vector<std::string> words;  ///< all that a WORD can be; empty where any text will do
};

/// A verb of ostrelLog, or a program as a whole.
struct CompletedCommand {
  std::string name;
  std::string description;
  std::vector<CompletedOption> options;
};

struct CompletedPrograms {
  CompletedCommand log;  ///< ostrelLog without a verb
  std::vector<CompletedCommand> verbs;
  CompletedCommand replay;
};

/// Each writes the whole script of a shell for both programs.
void writeBash(std::ostream& out, const CompletedPrograms& programs);
void writeZsh(std::ostream& out, const CompletedPrograms& programs);
void writeFish(std::ostream& out, const CompletedPrograms& programs);

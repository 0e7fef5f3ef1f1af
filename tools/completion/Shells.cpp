#include "completion/Shells.hpp"

#include <numeric>

namespace {

/// A text with a backslash before each of the characters `special`.
std::string escaped(const std::string& text, const std::string& special) {
  std::string result;
  for (const char c : text) {
    if (special.find(c) != std::string::npos) result += '\\';
    result += c;
  }
  return result;
}

/// A text in single quotes. One inside leaves the quotes and enters them again.
std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

std::string joined(const std::vector<std::string>& words) {
  return std::accumulate(words.begin(), words.end(), std::string(),
                         [](const std::string& all, const std::string& word) {
                           return all.empty() ? word : all + " " + word;
                         });
}

std::vector<std::string> namesOf(const std::vector<CompletedOption>& options) {
  std::vector<std::string> names;
  for (const CompletedOption& option : options) names.push_back(option.name);
  return names;
}

constexpr const char* BASH_HEAD = R"END(# bash completion of ostrelLog and ostrelReplay

# The variables or calls of the log that was named last.
_ostrelLog_variables() {
  local i
  for ((i = cword - 1; i > 1; i--)); do
    [ -f "${words[i]}" ] || continue
    # Behind an opening quote, the names are offered without it.
    COMPREPLY=($(compgen -W "$(ostrelLog info --names "${words[i]}" 2>/dev/null)" -- "${cur#[\"\']}"))
    return
  done
}

_ostrelLog() {
  local cur prev words cword split program=${1##*/} command
  _init_completion -s || return
  command=$program
  if [ "$program" = ostrelLog ]; then
    command=${words[1]}
    if [ "$cword" -eq 1 ]; then
)END";

void writeBashValues(std::ostream& out, const CompletedCommand& command) {
  for (const CompletedOption& option : command.options) {
    if (option.value == Value::NONE) continue;
    out << "    " << quoted(command.name + " " + option.name) << ") ";
    switch (option.value) {
      case Value::PATH: out << "_filedir; "; break;
      case Value::FOLDER: out << "_filedir -d; "; break;
      case Value::VARIABLE: out << "_ostrelLog_variables; "; break;
      default:
        if (!option.words.empty()) {
          out << "COMPREPLY=($(compgen -W " << quoted(joined(option.words)) << " -- \"$cur\")); ";
        }
    }
    out << "return ;;\n";
  }
}

constexpr const char* ZSH_HEAD = R"END(#compdef ostrelLog ostrelReplay

# The variables or calls of the log that was named last.
_ostrelLog_variables() {
  local i
  for ((i = CURRENT - 1; i > 1; i--)); do
    [[ -f ${(Q)words[i]} ]] || continue
    compadd -- ${(f)"$(ostrelLog info --names ${(Q)words[i]} 2>/dev/null)"}
    return
  done
}

_ostrelLog() {
  local command=$service
  if [[ $command == ostrelLog ]]; then
    if ((CURRENT == 2)); then
      local -a verbs=(
)END";

void writeZshOption(std::ostream& out, const CompletedOption& option) {
  const bool isLong = option.name.compare(0, 2, "--") == 0;
  const std::string name = option.name + (isLong && option.value != Value::NONE ? "=" : "");
  out << " \\\n      '*'" << name << quoted("[" + escaped(option.description, "[]:\\") + "]");
  switch (option.value) {
    case Value::NONE: break;
    case Value::PATH: out << ":file:_files"; break;
    case Value::FOLDER: out << ":folder:'_files -/'"; break;
    case Value::VARIABLE: out << ":variable:_ostrelLog_variables"; break;
    case Value::WORD: out << ":value:'(" << joined(option.words) << ")'"; break;
  }
}

constexpr const char* FISH_HEAD = R"END(# fish completion of ostrelLog and ostrelReplay

# The variables or calls of the log that was named last.
function __ostrelLog_variables
  for word in (commandline -opc)[-1..1]
    test -f "$word"; or continue
    ostrelLog info --names "$word" 2>/dev/null
    return
  end
end

)END";

void writeFishOption(std::ostream& out, const std::string& start, const CompletedOption& option) {
  const bool isLong = option.name.compare(0, 2, "--") == 0;
  out << start << (isLong ? " -l " + option.name.substr(2) : " -s " + option.name.substr(1)) << " -d "
      << quoted(option.description);
  switch (option.value) {
    case Value::NONE: break;
    case Value::PATH: out << " -rF"; break;
    case Value::FOLDER: out << " -x -a '(__fish_complete_directories)'"; break;
    case Value::VARIABLE: out << " -x -a '(__ostrelLog_variables)'"; break;
    case Value::WORD: out << " -x -a " << quoted(joined(option.words)); break;
  }
  out << "\n";
}

}  // namespace

void writeBash(std::ostream& out, const CompletedPrograms& programs) {
  std::vector<std::string> verbs;
  for (const CompletedCommand& verb : programs.verbs) verbs.push_back(verb.name);
  out << BASH_HEAD << "      COMPREPLY=($(compgen -W " << quoted(joined(verbs) + " --help --version")
      << " -- \"$cur\"))\n      return\n    fi\n  fi\n  case \"$command $prev\" in\n";
  for (const CompletedCommand& verb : programs.verbs) writeBashValues(out, verb);
  writeBashValues(out, programs.replay);
  out << "  esac\n  if [[ $cur != -* ]]; then\n    _filedir\n    return\n  fi\n  case $command in\n";
  const auto writeNames = [&out](const CompletedCommand& command) {
    out << "    " << command.name << ") COMPREPLY=($(compgen -W "
        << quoted(joined(namesOf(command.options))) << " -- \"$cur\")) ;;\n";
  };
  for (const CompletedCommand& verb : programs.verbs) writeNames(verb);
  writeNames(programs.replay);
  out << "  esac\n}\ncomplete -F _ostrelLog ostrelLog ostrelReplay\n";
}

void writeZsh(std::ostream& out, const CompletedPrograms& programs) {
  out << ZSH_HEAD;
  for (const CompletedCommand& verb : programs.verbs) {
    out << "        " << quoted(verb.name + ":" + verb.description) << "\n";
  }
  out << "      )\n      _describe verb verbs\n      return\n    fi\n    command=$words[2]\n    shift "
         "words\n"
         "    ((CURRENT--))\n  fi\n  case $command in\n";
  const auto writeCommand = [&out](const CompletedCommand& command) {
    out << "    " << command.name << ") _arguments";
    for (const CompletedOption& option : command.options) writeZshOption(out, option);
    out << " '*:file:_files' ;;\n";
  };
  for (const CompletedCommand& verb : programs.verbs) writeCommand(verb);
  writeCommand(programs.replay);
  out << "  esac\n}\n\n_ostrelLog \"$@\"\n";
}

void writeFish(std::ostream& out, const CompletedPrograms& programs) {
  out << FISH_HEAD;
  for (const CompletedCommand& verb : programs.verbs) {
    out << "complete -c ostrelLog -n __fish_use_subcommand -f -a " << verb.name << " -d "
        << quoted(verb.description) << "\n";
    const std::string start = "complete -c ostrelLog -n '__fish_seen_subcommand_from " + verb.name + "'";
    for (const CompletedOption& option : verb.options) writeFishOption(out, start, option);
  }
  for (const CompletedOption& option : programs.replay.options) {
    writeFishOption(out, "complete -c ostrelReplay", option);
  }
}

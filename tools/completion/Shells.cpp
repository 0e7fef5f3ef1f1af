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

# What a word of the line is without its quotes. Nothing in it is run.
_ostrelLog_unquoted() {
  local word=$1
  [[ $word != '~/'* ]] || { printf %s "$HOME"; word=${word:1}; }
  xargs printf %s <<<"$word" 2>/dev/null
}

# The variables or calls of the logs named before. A log may come from anywhere: the shell must never expand its
# names, neither here (as compgen -W would) nor later in the line.
_ostrelLog_variables() {
  local word name prefix quote=
  case $cur in
    [\"\']*) quote=${cur:0:1} prefix=${cur:1} ;;
    *) prefix=$(_ostrelLog_unquoted "$cur") ;;
  esac
  for word in "${words[@]:2:cword-2}"; do
    word=$(_ostrelLog_unquoted "$word")
    [ -f "$word" ] || continue
    while IFS= read -r name; do
      [[ -n $name && $name == "$prefix"* ]] || continue
      if [ -z "$quote" ]; then
        printf -v name %q "$name"
      elif [[ $name == *[\"\'\\\$\`!]* ]]; then
        continue  # means something else inside one kind of quotes
      fi
      COMPREPLY+=("$name")
    done <<<"$(ostrelLog info --names "$word" 2>/dev/null)"
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

# The variables or calls of the logs named before.
_ostrelLog_variables() {
  local word
  local -a names
  for word in ${(Q)words[2,CURRENT-1]}; do
    [[ $word != '~/'* ]] || word=$HOME${word#\~}
    [[ ! -f $word ]] || names+=(${(f)"$(ostrelLog info --names $word 2>/dev/null)"})
  done
  compadd -a names
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

# The variables or calls of the logs named before.
function __ostrelLog_variables
  for word in (commandline -opc)[2..-1]
    string match -q '~/*' -- $word; and set word $HOME(string sub -s 2 -- $word)
    test -f "$word"; and ostrelLog info --names "$word" 2>/dev/null
  end
end

# Whether the second word of the line is this; empty while it is being typed.
function __ostrelLog_second
  set -l words (commandline -opc)
  test "$words[2]" = "$argv"
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
  std::vector<std::string> first = namesOf(programs.log.options);
  for (const CompletedCommand& verb : programs.verbs) first.push_back(verb.name);
  out << BASH_HEAD << "      COMPREPLY=($(compgen -W " << quoted(joined(first))
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
  for (const CompletedOption& option : programs.log.options) {
    out << "        " << quoted(option.name + ":" + option.description) << "\n";
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
  const std::string start = "complete -c ostrelLog -n '__ostrelLog_second ";
  for (const CompletedOption& option : programs.log.options) writeFishOption(out, start + "\"\"'", option);
  for (const CompletedCommand& verb : programs.verbs) {
    out << start << "\"\"' -f -a " << verb.name << " -d " << quoted(verb.description) << "\n";
    for (const CompletedOption& option : verb.options) {
      writeFishOption(out, start + verb.name + "'", option);
    }
  }
  for (const CompletedOption& option : programs.replay.options) {
    writeFishOption(out, "complete -c ostrelReplay", option);
  }
}

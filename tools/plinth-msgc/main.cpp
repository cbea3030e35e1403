// plinth-msgc: reads a catalogue message file and writes the logical names
// of its messages, comma-separated, one per line, ready to stand in a C++
// enumeration; and, on request, the message logger's file for the same
// messages, so that a product keeps one message file by hand.
//
//   plinth-msgc [-o OUTPUT] [--enum NAME] [--logger LOGGER_FILE | --check-logger LOGGER_FILE
//               [--level N] [--contexts A,B] [--destinations D] [--exit NAME]] MESSAGE_FILE
//
// Without -o (or with -o -) the names go to standard output. With --enum the
// output is a whole header that declares enumeration NAME. Every name whose
// place in the list would not give its message's number is written with an
// explicit value, so a name always equals its number. An output file is
// rewritten only when its text changes, so that a build does not recompile
// what includes it for nothing.
//
// The logger's file takes code, number, severity and format from each
// record; level, contexts, destinations and exit come from the columns that
// a comment line "#@@LOGGER level=N contexts=N destinations=N exit=N" names
// (the catalogue ignores both the comment and the extra columns), or else
// from the options.
//
// --check-logger compares a logger's file kept by hand with the one that
// would be written, record by record, and names each line that differs.
//
// Exit status: 0 done; 1 a message file it refuses (with file, line and
// cause) or an output not written; 2 a bad command line.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <plinth/message.h>

namespace {

constexpr int kMaxLoggerNumber = 99999;

void usage(std::FILE* to) {
  std::fprintf(to,
               "usage: plinth-msgc [-o OUTPUT] [--enum NAME] [--logger LOGGER_FILE [--level N]\n"
               "                   [--contexts A,B] [--destinations D] [--exit NAME]] MESSAGE_FILE\n"
               "  -o OUTPUT        where the logical names go (default: standard output)\n"
               "  --enum NAME      write a header that declares enumeration NAME\n"
               "  --logger FILE    also write the message logger's file for the same messages\n"
               "  --check-logger FILE  check that an existing logger file holds the same records\n"
               "  --level N, --contexts LIST, --destinations LIST, --exit NAME\n"
               "                   the logger's columns for records that don't name their own\n"
               "                   (a comment \"#@@LOGGER level=N contexts=N destinations=N exit=N\"\n"
               "                   names record columns that hold them)\n");
}

bool IsIdentifier(const std::string& name) {
  if (name.empty() || (name[0] >= '0' && name[0] <= '9')) return false;
  for (char c : name)
    if (!(c == '_' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))) return false;
  return true;
}

bool SameText(const std::string& path, const std::string& text) {
  std::ifstream in(path, std::ios::binary);
  if (!in.is_open()) return false;
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str() == text;
}

// Writes text unless the file already holds it.
bool WriteOutput(const std::string& path, const std::string& text) {
  if (path == "-") {
    std::fwrite(text.data(), 1, text.size(), stdout);
    return std::fflush(stdout) == 0;
  }
  if (SameText(path, text)) return true;
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  if (!out) std::fprintf(stderr, "plinth-msgc: cannot write %s\n", path.c_str());
  return static_cast<bool>(out);
}

// A whole decimal number, or nothing.
std::optional<long> WholeNumber(const std::string& text) {
  if (text.empty()) return std::nullopt;
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (*end != '\0') return std::nullopt;
  return value;
}

struct Record {
  unsigned line;
  std::vector<std::string> fields;
  int number;
  std::string name;      // as written, "=value" included
  std::string bareName;  // before any "="
};

// The logger's columns: a record column, or the command line's value.
struct LoggerColumns {
  int level = -1, contexts = -1, destinations = -1, exit = -1;
  std::string defaultLevel, defaultContexts, defaultDestinations, defaultExit = "*";
};

// Reads "#@@LOGGER key=N ..."; false with a cause for a key or number it can't use.
bool ReadLoggerDirective(const std::string& line, LoggerColumns& columns, std::string& cause) {
  std::istringstream words(line.substr(std::strlen("#@@LOGGER")));
  std::string word;
  while (words >> word) {
    const size_t eq = word.find('=');
    const std::optional<long> index = eq == std::string::npos ? std::nullopt : WholeNumber(word.substr(eq + 1));
    const long value = index.value_or(-1);
    const std::string key = word.substr(0, eq);
    int* column = key == "level" ? &columns.level
                  : key == "contexts" ? &columns.contexts
                  : key == "destinations" ? &columns.destinations
                  : key == "exit" ? &columns.exit
                                  : nullptr;
    if (!column) {
      cause = "\"" + key + "\" is no column of the logger's file (level, contexts, destinations, exit)";
      return false;
    }
    if (value < 0 || value > 1000) {
      cause = "\"" + word + "\" gives no column number";
      return false;
    }
    *column = static_cast<int>(value);
  }
  return true;
}

// The description in the logger's format: {1}..{9} become positional %N$s,
// {%s} the next argument, {endl} a blank; the markers ~ ^ $ go (the log
// line shows every part); a literal % is doubled.
std::string LoggerFormat(std::string description) {
  if (!description.empty() && description.back() == '\n') description.pop_back();
  std::string out;
  std::string token;
  auto flush = [&] {
    if (token.size() == 1 && token[0] >= '1' && token[0] <= '9')
      out += std::string("%") + token[0] + "$s";
    else if (token == "%s")
      out += "%s";
    else if (token == "endl")
      out += ' ';
    else
      for (char c : token) out += c == '%' ? std::string("%%") : std::string(1, c);
    token.clear();
  };
  for (char c : description) {
    if (c == '{' || c == '}') {
      flush();
    } else if (c == '~' || c == '^' || c == '$') {
      flush();
    } else {
      token += c;
    }
  }
  flush();
  return out;
}

class Compiler {
public:
  // path is opened, shown names the file in messages.
  Compiler(std::string path, std::string shown) : m_sPath(std::move(path)), m_sShown(std::move(shown)) {}

  // Reads the file by the catalogue's rules; false after printing a cause.
  bool Read() {
    std::ifstream in(m_sPath, std::ios::in | std::ios::binary);
    if (!in.is_open()) return Fail(0, "failed to open message file" + m_sPath);
    unsigned feeds = 0;
    bool expectOrder = true;
    std::map<int, unsigned> numbers;
    std::map<std::string, unsigned> names;
    char buffer[1024];
    while (!in.eof() && !in.bad()) {
      CatalogueSkipSpace(in, feeds);
      const unsigned number = feeds + 1;
      buffer[0] = '\0';
      in.getline(buffer, sizeof buffer);
      if (in.bad()) return Fail(number, "read error");
      if (in.fail() && !in.eof()) {
        in.clear();
        in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        std::fprintf(stderr, "plinth-msgc: %s:%u: warning: line longer than 1023 characters is cut\n",
                     m_sShown.c_str(), number);
      }
      if (!in.eof()) ++feeds;
      size_t len = std::strlen(buffer);
      if (len > 0 && buffer[len - 1] == '\r') --len;
      const std::string line(buffer, len);
      if (line.rfind("#@@LOGGER", 0) == 0) {
        std::string cause;
        if (!ReadLoggerDirective(line, m_Columns, cause)) return Fail(number, cause);
        continue;
      }
      if (line.empty() || line[0] == '-' || line[0] == '#') continue;
      if (expectOrder) {
        const std::string problem = CatalogueOrderProblem(line);
        if (!problem.empty()) return Fail(number, "no valid order line: " + problem);
        std::istringstream words(line);
        std::string word;
        words >> word;
        for (int& index : m_nOrder) words >> index;
        expectOrder = false;
        continue;
      }
      const std::string problem = CatalogueRecordProblem(line, m_nOrder);
      if (!problem.empty()) return Fail(number, problem);
      Record record{number, {}, 0, {}, {}};
      SplitCatalogueRecord(line, record.fields);
      record.number = std::atoi(record.fields[static_cast<size_t>(m_nOrder[1])].c_str());
      record.name = record.fields[static_cast<size_t>(m_nOrder[3])];
      record.bareName = record.name.substr(0, record.name.find('='));
      if (const auto [it, fresh] = numbers.emplace(record.number, number); !fresh)
        return Fail(number, "number " + std::to_string(record.number) + " is already used on line " +
                                std::to_string(it->second));
      if (const auto [it, fresh] = names.emplace(record.bareName, number); !fresh)
        return Fail(number, "logical name " + record.bareName + " is already used on line " +
                                std::to_string(it->second));
      m_vRecords.push_back(std::move(record));
    }
    if (expectOrder)
      return Fail(feeds, "no valid order line: the first line that is no comment must be \"@@ORDER\" and nine "
                         "column numbers");
    return true;
  }

  // The names, each with the value it needs; false after printing a cause.
  bool Names(bool asIdentifiers, std::string& text) {
    long next = 0;
    for (const Record& r : m_vRecords) {
      if (asIdentifiers && !IsIdentifier(r.bareName))
        return Fail(r.line, "logical name " + r.bareName + " is no C++ identifier");
      const size_t eq = r.name.find('=');
      if (eq != std::string::npos) {
        const auto value = WholeNumber(r.name.substr(eq + 1));
        if (!value || *value != r.number)
          return Fail(r.line, "logical name " + r.name + " gives another value than the message's number " +
                                  std::to_string(r.number));
        text += r.name;
      } else if (next != r.number) {
        text += r.name + "=" + std::to_string(r.number);
      } else {
        text += r.name;
      }
      text += ",\n";
      next = static_cast<long>(r.number) + 1;
    }
    // The last comma goes, as the catalogue's own list has it.
    const size_t comma = text.rfind(',');
    if (comma != std::string::npos) text.erase(comma, 1);
    return true;
  }

  // The message logger's file; false after printing a cause.
  bool LoggerFile(const std::string& source, std::string& text) {
    text = "- Generated by plinth-msgc from " + source + "; do not edit.\n";
    for (const Record& r : m_vRecords) {
      const std::string& prefix = r.fields[static_cast<size_t>(m_nOrder[0])];
      if (prefix.size() != 3)
        return Fail(r.line, "the prefix \"" + prefix + "\" is not 3 characters: the logger reads the number after "
                                                         "exactly three");
      if (r.number < 1 || r.number > kMaxLoggerNumber)
        return Fail(r.line, "number " + std::to_string(r.number) + " is not from 1 to 99999, the logger's range");
      auto column = [&](int index, const std::string& fallback, const char* what, std::string& out) {
        out = index >= 0 && static_cast<size_t>(index) < r.fields.size() ? r.fields[static_cast<size_t>(index)]
                                                                          : fallback;
        if (index >= 0 && static_cast<size_t>(index) >= r.fields.size() && fallback.empty())
          return Fail(r.line, std::string("the record has no column ") + std::to_string(index) + " for its " + what);
        if (out.empty())
          return Fail(r.line, std::string("no ") + what + ": give a #@@LOGGER column or --" +
                                  (std::strcmp(what, "level") == 0 ? "level" : what));
        return true;
      };
      std::string level, contexts, destinations, exitName;
      if (!column(m_Columns.level, m_Columns.defaultLevel, "level", level) ||
          !column(m_Columns.contexts, m_Columns.defaultContexts, "contexts", contexts) ||
          !column(m_Columns.destinations, m_Columns.defaultDestinations, "destinations", destinations) ||
          !column(m_Columns.exit, m_Columns.defaultExit, "exit", exitName))
        return false;
      if (level.size() != 1 || level[0] < '0' || level[0] > '7')
        return Fail(r.line, "level \"" + level + "\" is not from 0 to 7");
      const std::string record = prefix + std::to_string(r.number) + " " +
                                 r.fields[static_cast<size_t>(m_nOrder[2])] + " " + level + " " + contexts + " " +
                                 destinations + " " + exitName + " - " +
                                 LoggerFormat(r.fields[static_cast<size_t>(m_nOrder[6])]);
      text += record + "\n";
      m_vLoggerRecords.emplace_back(r.line, record);
    }
    return true;
  }

  // Compares the records of an existing logger's file, in order, with those
  // LoggerFile made; false after printing each difference.
  bool CheckLoggerFile(const std::string& path) {
    std::ifstream in(path, std::ios::in | std::ios::binary);
    if (!in.is_open()) {
      std::fprintf(stderr, "plinth-msgc: %s: can't be opened\n", path.c_str());
      return false;
    }
    bool same = true;
    size_t next = 0;
    unsigned line = 0;
    for (std::string record; std::getline(in, record);) {
      ++line;
      // The logger's reading: white space before a record goes, "#" or "-"
      // first is a comment, a CR before the line feed is dropped.
      record.erase(0, record.find_first_not_of(" \t\v\f\r"));
      if (!record.empty() && record.back() == '\r') record.pop_back();
      if (record.empty() || record[0] == '#' || record[0] == '-') continue;
      if (next >= m_vLoggerRecords.size()) {
        std::fprintf(stderr, "plinth-msgc: %s:%u: no message of %s stands for this record\n", path.c_str(), line,
                     m_sShown.c_str());
        same = false;
        break;
      }
      if (record != m_vLoggerRecords[next].second) {
        std::fprintf(stderr, "plinth-msgc: %s:%u: differs from %s:%u, which gives\n  %s\n", path.c_str(), line,
                     m_sShown.c_str(), m_vLoggerRecords[next].first, m_vLoggerRecords[next].second.c_str());
        same = false;
      }
      ++next;
    }
    for (size_t i = next; same && i < m_vLoggerRecords.size(); ++i) {
      std::fprintf(stderr, "plinth-msgc: %s: has no record for %s:%u\n", path.c_str(), m_sShown.c_str(),
                   m_vLoggerRecords[i].first);
      same = false;
    }
    return same;
  }

  LoggerColumns m_Columns;

private:
  bool Fail(unsigned line, const std::string& cause) {
    if (line)
      std::fprintf(stderr, "plinth-msgc: %s:%u: %s\n", m_sShown.c_str(), line, cause.c_str());
    else
      std::fprintf(stderr, "plinth-msgc: %s: %s\n", m_sShown.c_str(), cause.c_str());
    return false;
  }

  std::string m_sPath;
  std::string m_sShown;
  int m_nOrder[9] = {};
  std::vector<Record> m_vRecords;
  std::vector<std::pair<unsigned, std::string>> m_vLoggerRecords;  // catalogue line, logger record
};

}  // namespace

int main(int argc, char** argv) {
  std::string input, output = "-", enumName, loggerOutput, loggerCheck;
  LoggerColumns defaults;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool hasValue = i + 1 < argc;
    if ((arg == "-o" || arg == "--output") && hasValue) {
      output = argv[++i];
    } else if (arg == "--enum" && hasValue) {
      enumName = argv[++i];
      if (!IsIdentifier(enumName)) {
        std::fprintf(stderr, "plinth-msgc: '%s' is not a C++ identifier\n", enumName.c_str());
        return 2;
      }
    } else if (arg == "--logger" && hasValue) {
      loggerOutput = argv[++i];
    } else if (arg == "--check-logger" && hasValue) {
      loggerCheck = argv[++i];
    } else if (arg == "--level" && hasValue) {
      defaults.defaultLevel = argv[++i];
    } else if (arg == "--contexts" && hasValue) {
      defaults.defaultContexts = argv[++i];
    } else if (arg == "--destinations" && hasValue) {
      defaults.defaultDestinations = argv[++i];
    } else if (arg == "--exit" && hasValue) {
      defaults.defaultExit = argv[++i];
    } else if (arg == "-h" || arg == "--help") {
      usage(stdout);
      return 0;
    } else if (arg.size() > 1 && arg[0] == '-') {
      std::fprintf(stderr, "plinth-msgc: unknown argument '%s'\n", arg.c_str());
      usage(stderr);
      return 2;
    } else if (input.empty()) {
      input = arg;
    } else {
      std::fprintf(stderr, "plinth-msgc: more than one message file given\n");
      usage(stderr);
      return 2;
    }
  }
  if (input.empty()) {
    usage(stderr);
    return 2;
  }

  // The catalogue joins directory and file with "/".
  const size_t slash = input.rfind('/');
  const std::string dir = slash == std::string::npos ? "." : input.substr(0, slash);
  const std::string file = slash == std::string::npos ? input : input.substr(slash + 1);

  Compiler compiler(dir + "/" + file, input);
  compiler.m_Columns = defaults;
  if (!compiler.Read()) return 1;
  // The library's own load has the last word on what the catalogue takes.
  std::string error;
  if (!InitOCMessageMgr(dir, file, OCMessageMgr::DefaultPattern, error)) {
    std::fprintf(stderr, "plinth-msgc: %s: %s\n", input.c_str(), error.empty() ? "cannot load" : error.c_str());
    return 1;
  }
  exit_messagemgr();

  std::string text, loggerText;
  if (!compiler.Names(!enumName.empty(), text)) return 1;
  if ((!loggerOutput.empty() || !loggerCheck.empty()) && !compiler.LoggerFile(file, loggerText)) return 1;
  if (!loggerCheck.empty() && !compiler.CheckLoggerFile(loggerCheck)) return 1;
  if (!enumName.empty())
    text = "// Generated by plinth-msgc from " + file + "; do not edit.\n#pragma once\n\nenum " + enumName +
           " {\n" + text + "};\n";
  if (!WriteOutput(output, text)) return 1;
  if (!loggerOutput.empty() && !WriteOutput(loggerOutput, loggerText)) return 1;
  return 0;
}

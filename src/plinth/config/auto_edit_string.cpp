#include "plinth/config/auto_edit_string.h"

#include <algorithm>
#include <ostream>
#include <vector>

#include "plinth/platform/os/os_regexp.h"
#include "plinth/platform/os/os_time.h"

// Defined in this order so that the two composed constants are built from
// the first two during static initialisation.
const std::string QLNAutoEditString::VariableHeadingPattern = "%%\\$?";
const std::string QLNAutoEditString::VariableNamePattern = "[A-Za-z0-9_#@]";
const std::string QLNAutoEditString::VariablePattern =
    QLNAutoEditString::VariableHeadingPattern + QLNAutoEditString::VariableNamePattern + "+";
const std::string QLNAutoEditString::RecursiveVariablePattern =
    "(" + QLNAutoEditString::VariablePattern + ")(" + QLNAutoEditString::VariablePattern + ")+";

namespace {

// Compiled on first use, after the constants exist; the objects are
// read-only afterwards and may be searched from several threads.
const os_regexp& VariableRegexp() {
  static const os_regexp re(QLNAutoEditString::VariablePattern);
  return re;
}

const os_regexp& SequenceRegexp() {
  static const os_regexp re(QLNAutoEditString::RecursiveVariablePattern);
  return re;
}

// The text with every heading ("%%" and an optional "$") removed, scanning
// from the left as a search for the heading pattern does.
std::string StripHeadings(const std::string& text) {
  std::string bare;
  bare.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%') {
      i += 2;
      if (i < text.size() && text[i] == '$') ++i;
      continue;
    }
    bare += text[i++];
  }
  return bare;
}

size_t StrippedLength(const std::string& text) {
  size_t n = 0;
  for (size_t i = 0; i < text.size();) {
    if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%') {
      i += 2;
      if (i < text.size() && text[i] == '$') ++i;
      continue;
    }
    ++n;
    ++i;
  }
  return n;
}

constexpr char kBuiltInDate[] = "date";

}  // namespace

QLNAutoEditString::QLNAutoEditString(const std::string& pattern)
    : m_sPattern(pattern), m_sDateFormat("%s%m%d") {}

QLNAutoEditString::~QLNAutoEditString() = default;

void QLNAutoEditString::AddVariable(const std::string& name, const std::string& value) {
  m_Variables[OSLNoCaseString(name)] = value;
}

bool QLNAutoEditString::HasUserDefinedVariable(const std::string& name) const {
  return m_Variables.find(OSLNoCaseString(name)) != m_Variables.end();
}

std::string QLNAutoEditString::Resolve() {
  m_sResolved = m_sPattern;
  ResolveSequencedVariables();
  ResolveFlatVariables();
  return m_sResolved;
}

void QLNAutoEditString::ResolveSequencedVariables() {
  std::string out;
  unsigned pos = 0;
  for (;;) {
    const std::pair<unsigned, unsigned> match = SequenceRegexp().search(m_sResolved, pos);
    if (match == os_regexp::not_found()) break;
    out.append(m_sResolved, pos, match.first - pos);
    out += FlattenSequencedVariable(m_sResolved.substr(match.first, match.second - match.first));
    pos = match.second;
  }
  out.append(m_sResolved, pos, std::string::npos);
  m_sResolved.swap(out);
}

std::string QLNAutoEditString::FlattenSequencedVariable(const std::string& sequence) {
  const size_t split = sequence.find('%', 2);
  if (split == std::string::npos) return sequence;
  return sequence.substr(0, split) + RecursiveResolve(sequence.substr(split));
}

std::string QLNAutoEditString::RecursiveResolve(const std::string& text) {
  // Each token runs from a '%' to the next '%' at least two bytes further on.
  // The value of the right part is appended to the token on its left, and
  // that whole name is resolved: a loop from the right end, so that a long
  // sequence costs no stack.
  std::vector<size_t> starts{0};
  for (size_t p = text.find('%', 2); p != std::string::npos; p = text.find('%', p + 2))
    starts.push_back(p);

  std::string value = ResolveVariable(text.substr(starts.back()));
  // Once the right part alone strips to a name longer than any that can
  // resolve, every name built on it fails as well: a prefix takes at most two
  // bytes off what its right part strips to (the pairing of a leading run of
  // '%' and a '$' behind it). The rest of the sequence then stays as written,
  // without rebuilding an ever longer name at each step.
  size_t longest = 0;
  bool knowLongest = false;
  for (size_t k = starts.size() - 1; k-- > 0;) {
    if (value.size() > sizeof kBuiltInDate + 2) {
      if (!knowLongest) {
        longest = sizeof kBuiltInDate - 1;
        for (const auto& entry : m_Variables) longest = std::max(longest, entry.first.size());
        knowLongest = true;
      }
      if (value.size() > longest + 2 && StrippedLength(value) > longest + 2)
        return text.substr(0, starts[k + 1]) + value;
    }
    value = ResolveVariable(text.substr(starts[k], starts[k + 1] - starts[k]) + value);
  }
  return value;
}

std::string QLNAutoEditString::ResolveVariable(const std::string& token) {
  const OSLNoCaseString name(StripHeadings(token));
  const auto it = m_Variables.find(name);
  if (it != m_Variables.end()) return it->second;
  if (IsBuildInVariable(name)) return ResolveBuildInVariable(name);
  return token;
}

void QLNAutoEditString::ResolveFlatVariables() {
  std::string out;
  unsigned pos = 0;
  for (;;) {
    const std::pair<unsigned, unsigned> match = VariableRegexp().search(m_sResolved, pos);
    if (match == os_regexp::not_found()) break;
    out.append(m_sResolved, pos, match.first - pos);
    std::string value = ResolveVariable(m_sResolved.substr(match.first, match.second - match.first));
    // The concatenation mark goes whether or not the variable resolved.
    if (!out.empty() && out.back() == '.') out.pop_back();
    out += value;
    pos = match.second;
  }
  out.append(m_sResolved, pos, std::string::npos);
  m_sResolved.swap(out);
}

bool QLNAutoEditString::IsBuildInVariable(const OSLNoCaseString& name) {
  return static_cast<const std::string&>(name) == kBuiltInDate;
}

std::string QLNAutoEditString::ResolveBuildInVariable(const OSLNoCaseString& name) {
  if (!IsBuildInVariable(name)) return name;
  return os_date::today().to_string(m_sDateFormat.c_str());
}

std::string QLNAutoEditString::ResolveUserDefinedVariable(const OSLNoCaseString& name) {
  const auto it = m_Variables.find(name);
  return it == m_Variables.end() ? std::string() : it->second;
}

void QLNAutoEditString::EliminateConcatinationString() {
  static const os_regexp mark("%%\\.");
  mark.replace(m_sResolved, 0, static_cast<unsigned>(m_sResolved.size()), "", true);
}

bool QLNAutoEditString::PatternHasVariable(const std::string& name) {
  // The name is taken literally, as everywhere else in the resolver.
  const os_regexp re(VariableHeadingPattern + os_regexp::quote(name));
  return re.search(m_sPattern, 0) != os_regexp::not_found();
}

std::ostream& operator<<(std::ostream& out, const QLNAutoEditString& text) {
  out << text.m_sPattern << '\n';
  for (const auto& entry : text.m_Variables) out << entry.first << ' ';
  return out;
}
